"""The ratios as a picture: a row for each piece of work, on a logarithmic scale around 1."""

import math
from xml.sax.saxutils import escape

LEFT, WIDTH, RIGHT = 330, 560, 70
ROW, HEAD = 26, 74
LOW, HIGH = 0.01, 4.0
TICKS = (0.01, 0.03, 0.1, 0.3, 1.0, 3.0)
COLOURS = {"pybind11": "#4477aa", "floor": "#228833"}
MISSED = "#cc3311"


def place(ratio):
    inside = min(max(ratio, LOW), HIGH)
    return LEFT + WIDTH * math.log(inside / LOW) / math.log(HIGH / LOW)


def text(x, y, content, size=12, anchor="start", colour="#222"):
    return (f'<text x="{x:.1f}" y="{y:.1f}" font-size="{size}" text-anchor="{anchor}" '
            f'fill="{colour}">{escape(content)}</text>')


def bar(y, comparison, colour):
    """From 1 to the ratio, with the bar to meet as a tick."""
    one, end = place(1.0), place(comparison["ratio"])
    fill = MISSED if comparison["met"] is False else colour
    yield (f'<rect x="{min(one, end):.1f}" y="{y:.1f}" width="{max(abs(end - one), 1):.1f}" '
           f'height="8" fill="{fill}"/>')
    if comparison["bar"] is not None:
        mark = place(comparison["bar"])
        yield (f'<line x1="{mark:.1f}" y1="{y - 2:.1f}" x2="{mark:.1f}" y2="{y + 10:.1f}" '
               f'stroke="#000" stroke-width="1.5"/>')
    beside = (end + 4, "start") if end >= one else (end - 4, "end")
    yield text(beside[0], y + 8, f"{comparison['ratio']:.2f}", 9, beside[1], fill)


def draw_curve(points, top):
    """The ratio to the floor over the number of texts, both on logarithmic scales."""
    height, most = 180, 1e6

    def right(count):
        return LEFT + WIDTH * math.log(count) / math.log(most)

    def down(ratio):
        inside = min(max(ratio, LOW), HIGH)
        return top + height * (1 - math.log(inside / LOW) / math.log(HIGH / LOW))

    yield text(10, top + 14, "One of many small texts in turn,", 12)
    yield text(10, top + 30, "to the floor, over how many there are", 12)
    for tick in TICKS:
        yield (f'<line x1="{LEFT}" y1="{down(tick):.1f}" x2="{LEFT + WIDTH}" '
               f'y2="{down(tick):.1f}" stroke="{"#888" if tick == 1.0 else "#ddd"}"/>')
        yield text(LEFT - 10, down(tick) + 4, f"{tick:g}", 11, "end")
    line = " ".join(f"{right(count):.1f},{down(pair['ratio']):.1f}" for count, pair in points)
    yield f'<polyline points="{line}" fill="none" stroke="{COLOURS["floor"]}" stroke-width="2"/>'
    for count, pair in points:
        colour = MISSED if pair["met"] is False else COLOURS["floor"]
        yield (f'<circle cx="{right(count):.1f}" cy="{down(pair["ratio"]):.1f}" r="4" '
               f'fill="{colour}"/>')
        yield text(right(count), down(pair["ratio"]) - 8, f"{pair['ratio']:.2f}", 9, "middle",
                   colour)
        yield text(right(count), top + height + 18, f"{count:,}", 10, "middle")


def draw_threads(works, top):
    """Two threads at once to one after the other, on each runtime, from 0: a half where they run in
    parallel."""
    yield text(10, top + 14, "Two threads at once,", 12)
    yield text(10, top + 30, "to one after the other", 12)
    unit, y = WIDTH / 1.5, top
    for label, ratios in works:
        for name, ratio in ratios:
            width = unit * min(ratio, 1.5)
            yield text(LEFT - 10, y + 13, f"{label}, CPython {name}", 11, "end")
            yield (f'<rect x="{LEFT}" y="{y + 4}" width="{width:.1f}" height="10" '
                   f'fill="{COLOURS["floor"]}"/>')
            yield text(LEFT + width + 4, y + 13, f"{ratio:.2f}", 9)
            y += 18
    for tick in (0.5, 1.0):
        yield (f'<line x1="{LEFT + unit * tick:.1f}" y1="{top}" x2="{LEFT + unit * tick:.1f}" '
               f'y2="{y}" stroke="#888"/>')
        yield text(LEFT + unit * tick, y + 14, f"{tick:g}", 10, "middle")


def draw(rows, curve, works):
    shown = [row for row in rows if any(
        row[kind] and row[kind]["bar"] is not None for kind in COLOURS)]
    bottom = HEAD + ROW * len(shown)
    below = bottom + 40 + (220 if curve else 0)
    end = below + (30 + 18 * sum(len(ratios) for _, ratios in works) if works else 0)
    parts = [f'<svg xmlns="http://www.w3.org/2000/svg" width="{LEFT + WIDTH + RIGHT}" '
             f'height="{end}" font-family="sans-serif">',
             '<rect width="100%" height="100%" fill="#fff"/>',
             text(10, 22, "Time of the library over the time of other ways to embed Python", 15),
             text(10, 44, "to pybind11", 12, colour=COLOURS["pybind11"]),
             text(100, 44, "to the floor, the bare C interface", 12, colour=COLOURS["floor"]),
             text(310, 44, "left of 1: faster; black tick: the bar to meet", 12),
             text(590, 44, "red: missed", 12, colour=MISSED)]
    for tick in TICKS:
        colour = "#888" if tick == 1.0 else "#ddd"
        parts.append(f'<line x1="{place(tick):.1f}" y1="{HEAD - 8}" x2="{place(tick):.1f}" '
                     f'y2="{bottom}" stroke="{colour}"/>')
        parts.append(text(place(tick), bottom + 18, f"{tick:g}", 11, "middle"))
    for index, row in enumerate(shown):
        y = HEAD + ROW * index
        parts.append(text(LEFT - 10, y + 13, row["label"], 12, "end"))
        for offset, (kind, colour) in zip((1, 12), COLOURS.items()):
            if row[kind] and row[kind]["bar"] is not None:
                parts.extend(bar(y + offset, row[kind], colour))
    if curve:
        parts.extend(draw_curve(curve, bottom + 40))
    if works:
        parts.extend(draw_threads(works, below))
    parts.append("</svg>\n")
    return "\n".join(parts)
