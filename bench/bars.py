"""The work of the benchmark in the order of the report, and the bars that the library has to meet.

Each row: section, label, the library's time, what it is compared with and the bar of the ratio, for
pybind11 and for the floor. A bar of None is shown and not judged.
"""

EVAL = "the same small text evaluated again"
TURN = "many small texts in turn"
AGAIN = "a file that did not change"
FRESH = "a text seen for the first time"
THREADS = "from threads that did not start the runtime"
OUT = "out: values out of the runtime"
IN = "in: values into the runtime"
TRACE = "an event that reaches the observers"
TALK = "scripts that speak to their host"
OTHER = "the rest"


def row(section, label, ours, pybind11=None, floor=None):
    return {"section": section, "label": label, "ours": ours, "pybind11": pybind11, "floor": floor}


def simple(section, label, work, pybind11_bar, floor_bar, floor="floor"):
    return row(section, label, work + "/zr", (work + "/pybind11", pybind11_bar),
               (work + "/" + floor, floor_bar))


# How many texts, and the bar of each evaluation.
TURNS = {1: 0.11, 10: 0.11, 100: 0.11, 1000: 0.11, 5000: 0.11, 10000: 0.11, 20000: 1.05,
         100000: 1.05, 1000000: 1.05}


def turn(count, bar):
    return row(TURN, f"{count:,} in turn", f"turn.{count}/zr", None, (f"turn.{count}/floor", bar))


# What two threads do at once, each in a context of its own.
TWO = {"two.compute": "two that compute", "two.small": "two small texts"}


def trace(depth, pybind11_bar, floor_bar):
    return simple(TRACE, f"one observer, depth {depth}", f"trace.{depth}", pybind11_bar, floor_bar,
                  "minimal")


TIMES = [
    simple(EVAL, "expression, whole number", "eval.number", 0.10, 2.5, "once"),
    row(EVAL, "the same by EvalScript2", "eval.number/zr2", ("eval.number/pybind11", 0.10),
        ("eval.number/once", 2.5)),
    row(EVAL, "a statement by EvalScript2", "eval.statement/zr2", None,
        ("eval.statement/once", 3.5)),
    # The door's own part of an evaluation, and the trace hook that passes it.
    row(EVAL, "in by the door and out, the floor the lock alone", "door.pass/zr", None,
        ("door.pass/floor", 1.3)),
    simple(EVAL, "expression, text", "eval.text", 0.10, 2.5, "once"),
    simple(EVAL, "20 lines in a living namespace", "eval.script", 0.10, 2.5, "once"),
    simple(FRESH, "new expression", "fresh.number", 1.0, 1.05),
    simple(FRESH, "20 new lines", "fresh.script", 1.0, 1.05),
    *(turn(count, bar) for count, bar in TURNS.items()),
    row(TURN, "100 that come again amid 200 that do not", "turn.amid/zr", None,
        ("turn.amid/floor", 0.15)),
    simple(AGAIN, "file of 50 lines", "file.source", 0.12, 0.12),
    # The run alone is 0.57 of what pybind11 takes for all.
    simple(AGAIN, "the same compiled", "file.compiled", 0.6, 0.7),
    simple(THREADS, "one thread", "thread.one", 0.10, 1.5, "kept_once"),
    simple(THREADS, "four threads", "thread.four", 0.10, 1.5, "kept_once"),
    row(THREADS, "one, the floor compiling each time", "thread.one/zr", None,
        ("thread.one/kept", None)),
    row(THREADS, "four, the floor compiling each time", "thread.four/zr", None,
        ("thread.four/kept", None)),
    # About 1; without the runtime's lock, on two cores, about a half.
    *(row(THREADS, label + ", on two threads to in turn", work + "/zr", None,
          (work + "/in_turn", None)) for work, label in TWO.items()),
    # A name runs like any other text, so that signal handlers and pending calls are served; the
    # floor looks it up, and serves none. A mere look-up was 2.7 of it.
    simple(OUT, "one variable read back", "out.one", 0.10, 4.5),
    row(OUT, "the same, pybind11 by item", "out.one/zr", ("out.one/pybind11_item", None), None),
    simple(OUT, "100,000 texts", "out.texts", 0.45, 1.3),
    simple(OUT, "100,000 longer texts", "out.long_texts", None, 1.3),
    simple(OUT, "100,000 whole numbers", "out.numbers", 0.65, 1.3),
    simple(OUT, "100,000 floats", "out.floats", 1.0, 1.15),
    simple(OUT, "dictionary of 100,000", "out.dict", 0.85, 1.25),
    simple(OUT, "300 lists of 300", "out.nested", 0.6, 1.3),
    simple(OUT, "10 MB of text", "out.big_text", 1.0, 1.25),
    simple(OUT, "10 MB of bytes", "out.big_bytes", 1.0, 1.25),
    simple(IN, "a whole number", "in.number", 1.3, 2.0),
    simple(IN, "100,000 texts", "in.texts", 1.0, 1.2),
    simple(IN, "10 MB of text", "in.big_text", 1.15, 1.25),
    row(TALK, "1,000 calls with two numbers", "talk.call/zr", ("talk.call/pybind11", 1.5), None),
    row(TALK, "1,000 lines printed, the floor to /dev/null", "talk.lines/zr", None,
        ("talk.lines/dev_null", 1.5)),
    simple(OTHER, "file over a map of 1,000", "map.thousand", 0.8, 1.6),
    simple(OTHER, "start and stop", "life.start_stop", None, 1.02),
    trace(5, 0.25, 1.6),
    trace(50, 0.15, 1.3),
    trace(500, 0.13, 1.15),
] + [
    row(TRACE, f"ten observers to one, depth {depth}", f"trace.{depth}/zr10", None,
        (f"trace.{depth}/zr", 1.1)) for depth in (5, 50, 500)
] + [
    row(TRACE, f"one observer to a script's hook, depth {depth}", f"trace.{depth}/zr", None,
        (f"trace.{depth}/script", None)) for depth in (5, 50, 500)
] + [
    row(TRACE, f"no observer to a hook that does nothing, depth {depth}", f"trace.{depth}/zr0",
        None, (f"trace.{depth}/nothing", None)) for depth in (5, 50, 500)
] + [
    row(TRACE, "dropped by the filter", "trace.drop/zr", None, ("trace.drop/floor", 2.0)),
]

# Label, figure, bar. The growth is what the library holds beyond the floor.
GROWTH = [
    ("heap after 200,000 evaluations", "heap", 0),
    ("resident after 200,000 evaluations", "resident", 128 * 1024),
]
# Label, work, bar of the peak over the payload.
PEAKS = [
    ("100,000 texts", "peak.texts", 1.10),
    ("100,000 longer texts", "peak.long_texts", 1.10),
    ("100,000 whole numbers", "peak.numbers", None),
    ("100,000 floats", "peak.floats", 1.35),
    ("dictionary of 100,000", "peak.dict", 1.35),
]
# Label, work, bar of the last tenth over the first, bar of what is held afterwards in bytes. Of the
# files, code is kept up to its budget.
SCALE = [
    ("100,000 contexts", "scale.contexts", 1.5, 256 * 1024),
    ("1,000 threads that come and go", "scale.threads", 1.25, 64 * 1024),
    ("10,000 files, each run twice", "scale.files", 1.25, 17 * 1024 * 1024),
    ("1,000,000 events to ten observers", "scale.events", 1.25, 64 * 1024),
]
