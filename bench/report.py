#!/usr/bin/env python3
"""Reads what the benchmark programs wrote, and makes a table, a JSON file and a picture of it.

The machines are noisy, so a time is the least of all repetitions, which ran interleaved.
"""

import argparse
import json

import bars
import picture


def runtime(paths):
    """The release that the programs ran on, with a "t" where it has no lock; "" where none says."""
    for path in paths:
        with open(path, encoding="utf-8") as file:
            version = json.load(file)["context"].get("cpython")
        if version:
            return version.split()[0] + ("t" if "free-threading" in version else "")
    return ""


def least_times(paths):
    """Nanoseconds by name, the least of the repetitions."""
    times = {}
    units = {"ns": 1, "us": 1e3, "ms": 1e6, "s": 1e9}
    for path in paths:
        with open(path, encoding="utf-8") as file:
            runs = json.load(file)["benchmarks"]
        for run in runs:
            if run.get("run_type") == "aggregate":
                continue
            if run.get("error_occurred"):
                raise SystemExit(f"{run['name']}: {run['error_message']}")
            manual = "/manual_time" in run["name"]
            name = "/".join(run["name"].split("/")[:2])
            value = run["real_time" if manual else "cpu_time"] * units[run["time_unit"]]
            times[name] = min(value, times.get(name, value))
    return times


def compare(times, ours, other):
    """The ratio to one other way, or None where one of the two did not run."""
    if not other or ours not in times or other[0] not in times:
        return None
    ratio = times[ours] / times[other[0]]
    bar = other[1]
    return {"way": other[0].split("/")[1], "time": times[other[0]], "ratio": ratio, "bar": bar,
            "met": None if bar is None else ratio <= bar}


def time_rows(times):
    for row in bars.TIMES:
        if row["ours"] not in times:
            continue
        boost = compare(times, row["ours"], (row["ours"].split("/")[0] + "/boost", None))
        yield {"section": row["section"], "label": row["label"], "time": times[row["ours"]],
               "pybind11": compare(times, row["ours"], row["pybind11"]),
               "floor": compare(times, row["ours"], row["floor"]),
               "boost": boost if row["pybind11"] else None}


def curve(times):
    """The cost of one of many texts in turn, over how many there are."""
    pairs = ((count, compare(times, f"turn.{count}/zr", (f"turn.{count}/floor", bar)))
             for count, bar in bars.TURNS.items())
    return [(count, pair) for count, pair in pairs if pair]


def threads(results):
    """What two threads take at once, to one after the other: label, and runtime and ratio of each of
    the results."""
    for work, label in bars.TWO.items():
        pairs = [(result["runtime"], compare(result["least_times"], work + "/zr",
                                             (work + "/in_turn", None))) for result in results]
        if pairs[0][1]:
            yield label, [(name, pair["ratio"]) for name, pair in pairs if pair]


def memory_rows(figures):
    by_name = {figure["name"]: figure for figure in figures}
    for label, kind, bar in bars.GROWTH:
        ours, floor = (by_name["memory.evaluations/" + way][kind] for way in ("zr", "floor"))
        yield {"label": label, "text": f"{ours - floor:+d} bytes ({ours:+d}, floor {floor:+d})",
               "bar": f"{bar:+d}", "met": ours - floor <= bar}
    for label, work, bar in bars.PEAKS:
        ours, floor = (by_name[f"{work}/{way}"] for way in ("zr", "floor"))
        ratio = ours["peak"] / ours["payload"]
        yield {"label": "peak over payload, " + label,
               "text": f"{ratio:.2f} (floor {floor['peak'] / floor['payload']:.2f})",
               "bar": "" if bar is None else f"{bar:.2f}",
               "met": None if bar is None else ratio <= bar}


def scale_rows(figures):
    by_name = {figure["name"]: figure for figure in figures}
    for label, work, ratio_bar, left_bar in bars.SCALE:
        figure = by_name[work]
        ratio = figure["last"] / figure["first"]
        yield {"label": label + ", last over first",
               "text": f"{ratio:.2f} ({time_text(figure['first'])}, {time_text(figure['last'])})",
               "bar": f"{ratio_bar:.2f}", "met": ratio <= ratio_bar}
        yield {"label": label + ", held afterwards",
               "text": f"{figure['left']:+,d} bytes (most {figure['most']:+,d})",
               "bar": f"{left_bar:+,d}", "met": figure["left"] <= left_bar}


def time_text(nanoseconds):
    for limit, unit, scale in ((1e3, "ns", 1), (1e6, "us", 1e3), (1e9, "ms", 1e6)):
        if nanoseconds < limit:
            return f"{nanoseconds / scale:.4g} {unit}"
    return f"{nanoseconds / 1e9:.4g} s"


MARKS = {True: "met", False: "MISSED", None: ""}


def cell(comparison):
    if not comparison:
        return f"{'':25}"
    bar = "" if comparison["bar"] is None else f"<= {comparison['bar']:.2f}"
    return f"{comparison['ratio']:8.3f} {bar:8}{MARKS[comparison['met']]:8}"


def print_table(rows, memory):
    print(f"{'':50}{'time':>10}   {'to pybind11':25}{'to the floor':25}{'floor is':14}to Boost")
    section = None
    for row in rows:
        if row["section"] != section:
            section = row["section"]
            print(section)
        way = row["floor"]["way"] if row["floor"] else ""
        boost = f"{row['boost']['ratio']:.3f}" if row["boost"] else ""
        print(f"  {row['label']:48}{time_text(row['time']):>10} {cell(row['pybind11'])} "
              f"{cell(row['floor'])}   {way:14}{boost}")
    if memory:
        print("memory and scale")
    for row in memory:
        print(f"  {row['label']:48}{row['text']:>40}   bar {row['bar']:10}{MARKS[row['met']]}")


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("times", nargs="*", help="JSON files of the benchmark programs")
    parser.add_argument("--memory", help="JSON file of the memory program")
    parser.add_argument("--scale", help="JSON file of the scale program")
    parser.add_argument("--beside", help="results of another runtime, for the picture's threads")
    parser.add_argument("--json", help="where the results go")
    parser.add_argument("--picture", help="where the picture goes, as SVG")
    arguments = parser.parse_args()

    times = least_times(arguments.times)
    rows = list(time_rows(times))
    memory = []
    if arguments.memory:
        with open(arguments.memory, encoding="utf-8") as file:
            memory = list(memory_rows(json.load(file)))
    if arguments.scale:
        with open(arguments.scale, encoding="utf-8") as file:
            memory += scale_rows(json.load(file))
    print_table(rows, memory)
    judged = [mark["met"] for row in rows for mark in (row["pybind11"], row["floor"])
              if mark and mark["met"] is not None]
    judged += [row["met"] for row in memory if row["met"] is not None]
    print(f"{sum(judged)} of {len(judged)} bars met")
    results = {"runtime": runtime(arguments.times), "least_times": times, "rows": rows,
               "memory": memory}
    if arguments.json:
        with open(arguments.json, "w", encoding="utf-8") as file:
            json.dump(results, file, indent=1)
    if arguments.picture:
        shown = [results]
        if arguments.beside:
            with open(arguments.beside, encoding="utf-8") as file:
                shown.append(json.load(file))
        with open(arguments.picture, "w", encoding="utf-8") as file:
            file.write(picture.draw(rows, curve(times), list(threads(shown))))


if __name__ == "__main__":
    main()
