// CPython 3.5 stores an error of its own as a bare text, and makes an instance of it only where a
// handler or a trace function asks for one. Newer runtimes make it at once, and then the instance
// and the instructions that the traceback names tell what 3.5 would have had at the end: see
// kRules. Test: tests/eval/StoredErrorValue_test.cpp.
#include <zrpythoninterp/core/Runtime.h>

#include <zrpythoninterp/eval/StoredErrorValue.h>
#include <zrpythoninterp/eval/TracebackSpot.h>

#include <algorithm>
#include <initializer_list>
#include <iterator>
#include <string_view>

namespace zrpy {
namespace {

bool Is(PyObject* error, PyObject* type) { return PyErr_GivenExceptionMatches(error, type) != 0; }

// Borrowed. Read past whatever a subclass makes of the name "args".
PyObject* ArgumentsOf(PyObject* error) {
  return reinterpret_cast<PyBaseExceptionObject*>(error)->args;
}

// Whether the error's one argument is a text that holds all of the parts, the first at its start,
// in their order.
bool HasText(PyObject* error, std::initializer_list<std::string_view> parts) {
  PyObject* const arguments = ArgumentsOf(error);
  if (PyTuple_GET_SIZE(arguments) != 1) return false;
  PyObject* const argument = PyTuple_GET_ITEM(arguments, 0);
  Py_ssize_t size = 0;
  const char* const bytes =
      PyUnicode_Check(argument) ? PyUnicode_AsUTF8AndSize(argument, &size) : nullptr;
  PyErr_Clear();
  std::string_view text = bytes ? std::string_view(bytes, static_cast<size_t>(size)) : "";
  for (const std::string_view part : parts) {
    const size_t found = text.find(part);
    if (found == text.npos || (part == *parts.begin() && found != 0)) return false;
    text.remove_prefix(found + part.size());
  }
  return true;
}

// ---- the way of an error ----

// What the traceback tells of it: nothing where no line of Python ran, as with a text that did not
// compile.
struct Way {
  bool isTraced = false;
  bool passedHandler = false;
  bool passedImport = false;  // of a module, in whose code it was raised
  bool wasRaisedAgain = false;
  bool wasThrown = false;  // into a generator
  Op op = Op::kOther;      // of the innermost instruction
};

// The frame that an entry's frame was called from is that of the entry outside of it, unless C code
// had kept the error and raised it once more. Where the runtime knows no caller it cannot be told.
bool IsCalledFrom(const PyTracebackObject* inner, const PyTracebackObject* outer) {
  const PyRef caller = PyRef::Steal(NewFrameBack(inner->tb_frame));
  return !caller || caller.get() == reinterpret_cast<PyObject*>(outer->tb_frame);
}

Way WayOf(PyObject* traceback) ZR_REQUIRES_GIL {
  Way way;
  if (!traceback) return way;
  way.isTraced = PyThreadState_Get()->c_tracefunc != nullptr;
  for (auto* entry = reinterpret_cast<PyTracebackObject*>(traceback); entry;
       entry = entry->tb_next) {
    const TracebackSpot spot(entry);
    const bool isInnermost = entry->tb_next == nullptr;
    if (spot.UnderHandler()) way.passedHandler = true;
    if (!isInnermost && spot.op() == Op::kImportName) way.passedImport = true;
    if (!isInnermost && !IsCalledFrom(entry->tb_next, entry)) way.wasRaisedAgain = true;
    if (way.passedHandler) break;  // which decides
    if (isInnermost) {
      way.op = spot.op();
      way.wasThrown = spot.Waits();
    }
  }
  return way;
}

// ---- the rules ----

// What a rule tells of an error that it holds for.
enum class On35 {
  kInstance,
  kBare,  // text, tuple or nothing, as the runtime raised it
};

struct Rule {
  bool (*holds)(PyObject* error, const Way& way);
  On35 stored;
};

// The first that holds decides. Where none does the runtime raised the error by itself, and nothing
// on the error's way made an instance of it. Measured against 3.5; what a new release changes is
// changed here.
constexpr Rule kRules[] = {
    // Raised while another was handled: 3.5 makes an instance to note the other one in it.
    {[](PyObject* error, const Way&) {
       return static_cast<bool>(PyRef::Steal(PyException_GetContext(error)));
     },
     On35::kInstance},
    // A trace function is told of each error, and gets an instance.
    {[](PyObject*, const Way& way) { return way.isTraced; }, On35::kInstance},
    // A handler gets one, also where it does not match, or only tidies up.
    {[](PyObject*, const Way& way) { return way.passedHandler; }, On35::kInstance},
    // The import of a module has handlers of its own.
    {[](PyObject*, const Way& way) { return way.passedImport; }, On35::kInstance},
    // C code that keeps an error to raise it later (a future) keeps an instance.
    {[](PyObject*, const Way& way) { return way.wasRaisedAgain; }, On35::kInstance},
    // The raise statement itself fails: on what is no exception, ...
    {[](PyObject* error, const Way& way) {
       return way.op == Op::kRaise && Is(error, PyExc_TypeError) &&
              (HasText(error, {"exceptions must derive from BaseException"}) ||
               HasText(error, {"exception causes must derive from BaseException"}));
     },
     On35::kBare},
    // ... on a class that makes something else, ...
    {[](PyObject* error, const Way& way) {
       return way.op == Op::kRaise && Is(error, PyExc_TypeError) &&
              HasText(error, {"calling ", " should have returned an instance of BaseException"});
     },
     On35::kBare},
    // ... on a class whose instances are not made without arguments, ...
    {[](PyObject* error, const Way& way) {
       return way.op == Op::kRaise && Is(error, PyExc_TypeError) &&
              HasText(error, {"", "() missing ", " required positional argument"});
     },
     On35::kBare},
    // ... or where nothing is there to be raised again.
    {[](PyObject* error, const Way& way) {
       return way.op == Op::kRaise && Is(error, PyExc_RuntimeError) &&
              HasText(error, {"No active exception to reraise"});
     },
     On35::kBare},
    // All else that leaves a raise statement is an instance: the script's, or that of an assert.
    {[](PyObject*, const Way& way) { return way.op == Op::kRaise; }, On35::kInstance},
    // So is what throw() is given; but a call that went too deep can stop ahead of its first
    // instruction, where a generator would wait.
    {[](PyObject* error, const Way& way) {
       return way.wasThrown && !Is(error, PyExc_RecursionError);
     },
     On35::kInstance},
    // The import statement makes its errors as instances, all but these two.
    {[](PyObject* error, const Way& way) {
       return Is(error, PyExc_ImportError) && way.op != Op::kImportFrom &&
              !HasText(error, {"attempted relative import with no known parent package"});
     },
     On35::kInstance},
    // Syntax errors are stored as message and place, but for those of an imported file, and those
    // that are found after parsing.
    {[](PyObject* error, const Way& way) {
       if (!Is(error, PyExc_SyntaxError)) return false;
       PyObject* const line = reinterpret_cast<PySyntaxErrorObject*>(error)->lineno;
       return way.op == Op::kImportName ||
              (PyTuple_GET_SIZE(ArgumentsOf(error)) == 1 && line != nullptr && line != Py_None);
     },
     On35::kInstance},
    // Codecs make theirs as instances; those have five arguments.
    {[](PyObject* error, const Way&) {
       return Is(error, PyExc_UnicodeError) && PyTuple_GET_SIZE(ArgumentsOf(error)) == 5;
     },
     On35::kInstance},
    // So do calls of the operating system, with number and text.
    {[](PyObject* error, const Way&) {
       return Is(error, PyExc_OSError) && PyTuple_GET_SIZE(ArgumentsOf(error)) >= 2;
     },
     On35::kInstance},
    // The end of a generator that returns a value brings an instance.
    {[](PyObject* error, const Way&) {
       return Is(error, PyExc_StopIteration) && PyTuple_GET_SIZE(ArgumentsOf(error)) > 0;
     },
     On35::kInstance},
    // A warning that is raised as an error is made by the module warnings.
    {[](PyObject* error, const Way&) { return Is(error, PyExc_Warning); }, On35::kInstance},
};

bool StayedBare(PyObject* error, PyObject* traceback) ZR_REQUIRES_GIL {
  const Way way = WayOf(traceback);
  const auto* const rule = std::find_if(std::begin(kRules), std::end(kRules),
                                        [&](const Rule& one) { return one.holds(error, way); });
  return rule == std::end(kRules) || rule->stored == On35::kBare;
}

// ---- the bare value ----

// The message and location of a syntax error, without the items that 3.10 adds to the location.
PyRef SyntaxArguments(PyObject* arguments) {
  constexpr Py_ssize_t kLocationItems = 4;
  if (!PyTuple_Check(arguments) || PyTuple_GET_SIZE(arguments) != 2) {
    return PyRef::Borrow(arguments);
  }
  PyObject* const location = PyTuple_GET_ITEM(arguments, 1);
  if (!PyTuple_Check(location)) return PyRef::Borrow(arguments);
  const PyRef start = PyRef::Steal(PyTuple_GetSlice(location, 0, kLocationItems));
  return PyRef::Steal(start ? PyTuple_Pack(2, PyTuple_GET_ITEM(arguments, 0), start.get())
                            : nullptr);
}

// What 3.5 would have made the instance from.
PyRef BareValue(PyObject* error) {
  PyObject* const arguments = ArgumentsOf(error);
  const Py_ssize_t count = PyTuple_GET_SIZE(arguments);
  if (count == 0) return PyRef();
  if (Is(error, PyExc_SyntaxError) && count == 2) return SyntaxArguments(arguments);
  const bool isKey = Is(error, PyExc_KeyError) && !HasText(error, {"pop from an empty set"}) &&
                     !HasText(error, {"popitem(): dictionary is empty"}) &&
                     !HasText(error, {"dictionary is empty"});
  return PyRef::Borrow(isKey || count > 1 ? arguments : PyTuple_GET_ITEM(arguments, 0));
}

}  // namespace

PyRef StoredErrorValue(PyObject* type, PyObject* value, PyObject* traceback) {
  PyRef stored = PyRef::Borrow(value);
  if (value == nullptr) return stored;
  if (PyExceptionInstance_Check(value)) {
    const bool isBare = IsMadeAsInstance(type) && StayedBare(value, traceback);
    if (isBare) stored = BareValue(value);
  } else if (type == PyExc_StopIteration || value == Py_None) {
    stored.reset();  // the end of a generator since 3.6, sys.exit() since 3.8
  } else if (Is(type, PyExc_SyntaxError)) {
    stored = SyntaxArguments(value);
  }
  PyErr_Clear();
  return stored;
}

}  // namespace zrpy
