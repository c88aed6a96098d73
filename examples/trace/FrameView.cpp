// Everything by attribute, since the fields of frames and code differ between the runtime's
// releases and the attributes do not.
#include <examples/trace/PyHandle.h>
// PyHandle.h brings Python.h, which comes first.
#include <examples/trace/FrameView.h>

#include <mutex>
#include <unordered_map>
#include <utility>

namespace {

PyHandle Attribute(PyObject* object, const char* name) {
  PyHandle value(object ? PyObject_GetAttrString(object, name) : nullptr);
  if (!value) PyErr_Clear();
  return value;
}

// The text of a str object; characters without a UTF-8 form come out as "?".
std::string Text(PyObject* object) {
  const PyHandle bytes(object && PyUnicode_Check(object)
                           ? PyUnicode_AsEncodedString(object, "utf-8", "replace")
                           : nullptr);
  PyErr_Clear();
  return bytes ? PyBytes_AS_STRING(bytes.get()) : std::string();
}

// By the code object, whose reference keeps its address from being used again. The mutex is for
// runtimes without a lock; nothing of the runtime is called under it.
std::mutex knownMutex;
auto& known = *new std::unordered_map<PyHandle, RunningCode>;

std::string TakeError() {
  PyObject* type = nullptr;
  PyObject* value = nullptr;
  PyObject* traceback = nullptr;
  PyErr_Fetch(&type, &value, &traceback);
  PyErr_NormalizeException(&type, &value, &traceback);
  const PyHandle owned[] = {PyHandle(type), PyHandle(value), PyHandle(traceback)};
  const PyHandle message(value ? PyObject_Str(value) : nullptr);
  PyErr_Clear();
  const std::string name = Text(Attribute(type, "__name__").get());
  return name + ": " + Text(message.get());
}

}  // namespace

const RunningCode& CodeOf(PyObject* frame) {
  const PyLock lock;
  PyHandle code = Attribute(frame, "f_code");
  {
    const std::lock_guard<std::mutex> guard(knownMutex);
    const auto found = known.find(code);
    if (found != known.end()) return found->second;
  }
  const PyHandle line = Attribute(code.get(), "co_firstlineno");
  RunningCode running{Text(Attribute(code.get(), "co_name").get()),
                      line ? static_cast<int>(PyLong_AsLong(line.get())) : 0};
  const std::lock_guard<std::mutex> guard(knownMutex);
  return known.emplace(std::move(code), std::move(running)).first->second;
}

void ForgetCode() {
  const PyLock lock;
  known.clear();
}

// The module's list is read in place: its functions take a lock that this very thread may hold.
std::string ThreadName() {
  const PyLock lock;
  const PyHandle threading(PyImport_ImportModule("threading"));
  const PyHandle active = Attribute(threading.get(), "_active");
  const PyHandle ident(PyLong_FromUnsignedLong(
      static_cast<unsigned long>(PyThread_get_thread_ident())));  // signed up to 3.6
  PyObject* const thread = active && PyDict_Check(active.get()) && ident
                               ? PyDict_GetItem(active.get(), ident.get())
                               : nullptr;
  PyErr_Clear();
  return Text(Attribute(thread, "name").get());
}

std::string Evaluate(PyObject* frame, const std::string& expression) {
  const PyLock lock;
  const PyHandle globals = Attribute(frame, "f_globals");
  const PyHandle locals = Attribute(frame, "f_locals");
  if (!globals || !locals) return "the frame is gone";
  const PyHandle value(
      PyRun_String(expression.c_str(), Py_eval_input, globals.get(), locals.get()));
  const PyHandle shown(value ? PyObject_Repr(value.get()) : nullptr);
  return shown ? Text(shown.get()) : TakeError();
}
