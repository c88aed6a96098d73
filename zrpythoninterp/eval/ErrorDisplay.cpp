// The runtime's own print of an error, into a text. Private here: bounding what is printed, and the
// two ways in which runtimes print. Test: tests/eval/LastError_test.cpp.
#include <zrpythoninterp/core/Runtime.h>

#include <zrpythoninterp/eval/ErrorDisplay.h>
#include <zrpythoninterp/eval/ErrorSink.h>

#include <optional>
#include <set>
#include <utility>
#include <vector>

namespace zrpy {

namespace {

// ---- bounds ----

// Errors that led to one another; the runtime follows them one inside the other until its stack
// ends.
constexpr int kMaxChain = 100;
// Errors of groups, each as often as it is printed: a group can hold another many times.
constexpr int kMaxErrors = 10000;
constexpr int kMaxDepth = 20;

// Keeps an error that led to another from being printed with it, for its life. Only the cause can
// be taken off so that nothing else is dropped; the context is hidden then.
class Cut {
 public:
  explicit Cut(PyObject* error)
      : error_(PyRef::Borrow(error)),
        cause_(PyRef::Steal(PyException_GetCause(error))),
        hidden_(fields()->suppress_context) {
    PyException_SetCause(error, nullptr);
    fields()->suppress_context = 1;
  }
  Cut(Cut&&) = default;
  Cut(const Cut&) = delete;
  Cut& operator=(const Cut&) = delete;
  Cut& operator=(Cut&&) = delete;
  ~Cut() {
    if (!error_) return;
    // What a script has set meanwhile stays.
    if (!PyRef::Steal(PyException_GetCause(error_.get()))) {
      PyException_SetCause(error_.get(), cause_.release());
    }
    fields()->suppress_context = hidden_;
  }

 private:
  PyBaseExceptionObject* fields() const {
    return reinterpret_cast<PyBaseExceptionObject*>(error_.get());
  }

  PyRef error_;
  PyRef cause_;
  decltype(PyBaseExceptionObject::suppress_context) hidden_;
};

// What is printed of an error, for its life.
class Bounds {
 public:
  explicit Bounds(PyObject* error) : canPrint_(Visit(error, 0)) {}

  // False when groups hold more than can be printed.
  bool canPrint() const { return canPrint_; }
  bool areReached() const { return !cuts_.empty(); }

 private:
  // Runs no script code. The error owns all that is looked at.
  bool Visit(PyObject* error, int depth) {
    if (depth > kMaxDepth) return false;
    PyRef one = PyRef::Borrow(error);
    for (int i = 1; one; ++i) {
      if (++visited_ > kMaxErrors || !VisitMembers(one.get(), depth)) return false;
      PyRef earlier = EarlierThan(one.get());
      if (!earlier || !seen_.insert(earlier.get()).second) break;
      if (i == kMaxChain) {
        cuts_.emplace_back(one.get());
        break;
      }
      one = std::move(earlier);
    }
    return true;
  }

  bool VisitMembers(PyObject* error, int depth) {
    const PyRef members = PyRef::Steal(NewGroupMembers(error));
    for (Py_ssize_t i = 0; members && i < PyTuple_GET_SIZE(members.get()); ++i) {
      if (!Visit(PyTuple_GET_ITEM(members.get(), i), depth + 1)) return false;
    }
    return true;
  }

  // The error that is printed ahead of another, or null.
  static PyRef EarlierThan(PyObject* error) {
    PyRef earlier = PyRef::Steal(PyException_GetCause(error));
    if (!earlier && reinterpret_cast<PyBaseExceptionObject*>(error)->suppress_context == 0) {
      earlier = PyRef::Steal(PyException_GetContext(error));
    }
    return earlier && PyExceptionInstance_Check(earlier.get()) ? std::move(earlier) : PyRef();
  }

  std::vector<Cut> cuts_;
  std::set<const PyObject*> seen_;
  int visited_ = 0;
  const bool canPrint_;
};

// ---- the print ----

PyObject* OrNone(const PyRef& object) { return object ? object.get() : Py_None; }

// Whether the runtime would print in colours to the stream.
bool IsInColours(PyObject* stream) {
  if (!kPrintsErrorsWithPython || !stream) return false;
  const PyRef module = PyRef::Steal(PyImport_ImportModule("_colorize"));
  const PyRef can =
      PyRef::Steal(module ? PyObject_GetAttrString(module.get(), "can_colorize") : nullptr);
  const PyRef nothing = PyRef::Steal(PyTuple_New(0));
  const PyRef names = PyRef::Steal(Py_BuildValue("{sO}", "file", stream));
  if (!can || !nothing || !names) return false;
  PyRef answer = PyRef::Steal(PyObject_Call(can.get(), nothing.get(), names.get()));
  if (!answer) {  // 3.13.0 asks of sys.stderr alone
    PyErr_Clear();
    answer = PyRef::Steal(PyObject_Call(can.get(), nothing.get(), nullptr));
  }
  return answer && PyObject_IsTrue(answer.get()) == 1;
}

// Prints with the module traceback, whose lines are not traced where the runtime's own print is not
// written in Python. False when that fails: a script may have spoilt the module. Leaves no error
// pending.
bool PrintWithPython(const FetchedError& error, PyObject* file, bool colours) {
  std::optional<TracingWaits> untraced;
  if (!kPrintsErrorsWithPython) untraced.emplace();
  const PyRef module = PyRef::Steal(PyImport_ImportModule("traceback"));
  const PyRef print =
      PyRef::Steal(module ? PyObject_GetAttrString(module.get(), "print_exception") : nullptr);
  const PyRef limit =
      kPrintsErrorsWithPython && print
          ? PyRef::Steal(PyObject_GetAttrString(module.get(), "BUILTIN_EXCEPTION_LIMIT"))
          : PyRef::Borrow(Py_None);
  const PyRef arguments =
      PyRef::Steal(print && limit ? PyTuple_Pack(5, error.type.get(), error.value.get(),
                                                 OrNone(error.traceback), limit.get(), file)
                                  : nullptr);
  const PyRef names =
      PyRef::Steal(arguments && colours ? Py_BuildValue("{sO}", "colorize", Py_True) : nullptr);
  const PyRef done =
      PyRef::Steal(arguments ? PyObject_Call(print.get(), arguments.get(), names.get()) : nullptr);
  PyErr_Clear();
  return static_cast<bool>(done);
}

zrString WithoutColours(const zrString& text) {
  zrString plain;
  for (size_t at = 0; at < text.size();) {
    const size_t escape = text.find("\x1b[", at);
    plain.append(text, at, escape - at);
    at = escape == zrString::npos ? escape : text.find('m', escape);
    if (at != zrString::npos) ++at;
  }
  return plain;
}

void Write(const zrString& text, ErrorSink& sink) ZR_REQUIRES_GIL {
  PyFile_WriteString(text.c_str(), sink.file());
  PyErr_Clear();
}

// The calls in the form of the runtime's C code, and a line.
void PrintCalls(PyObject* traceback, const zrString& headline, ErrorSink& sink) ZR_REQUIRES_GIL {
  if (traceback) PyTraceBack_Print(traceback, sink.file());
  PyErr_Clear();
  Write(headline, sink);
}

}  // namespace

zrString DisplayError(const FetchedError& error, const zrString& headline, PyObject* stream) {
  ErrorSink sink(stream);
  if (!sink.file()) return {};
  const Bounds bounds(error.value.get());
  const bool colours = IsInColours(stream);
  PyErr_Clear();
  if (bounds.areReached()) Write("[earlier errors are left out]\n\n", sink);
  const bool isPrinted =
      bounds.canPrint() &&
      (PrintErrorTo(sink.file(), error.type.get(), error.value.get(), error.traceback.get()) ||
       PrintWithPython(error, sink.file(), colours));
  if (!isPrinted) PrintCalls(error.traceback.get(), headline, sink);
  const zrString text = sink.Text();
  return colours ? WithoutColours(text) : text;
}

zrString DisplayCalls(PyObject* traceback, const zrString& headline) {
  ErrorSink sink(nullptr);
  if (!sink.file()) return headline;
  PrintCalls(traceback, headline, sink);
  return sink.Text();
}

zrString MessageIn(const zrString& display, const zrString& kind) {
  constexpr const char* kJoints[] = {
      "\n\nThe above exception was the direct cause of the following exception:\n\n",
      "\n\nDuring handling of the above exception, another exception occurred:\n\n"};
  const zrString text = "\n" + display;
  // The error itself comes last. A message can hold a joint, so earlier ones are tried, too.
  for (size_t start = text.size(); start > 0;) {
    const size_t end = start - 1;
    start = 0;
    for (const char* joint : kJoints) {
      const size_t found = text.rfind(joint, end);
      if (found != zrString::npos && found > start) start = found;
    }
    for (const char* before : {"\n", "\n__main__.", "\n  | "}) {
      const zrString headline = before + kind + ": ";
      const size_t found = text.find(headline, start);
      if (found == zrString::npos) continue;
      const bool isGroup = before[1] == ' ';  // its members follow
      const size_t first = found + headline.size();
      const size_t last = isGroup ? text.find('\n', first) : text.find_last_not_of('\n') + 1;
      return text.substr(first, last - first);
    }
  }
  return {};
}

}  // namespace zrpy
