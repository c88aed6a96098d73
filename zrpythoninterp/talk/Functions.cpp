// Functions of the host: AddFunction, RemoveFunction. Private here: one function, and a script's
// call of it. Test: tests/talk/Functions_test.cpp.
#include <zrpythoninterp/core/Runtime.h>

#include <zrpythoninterp/convert/FromVariant.h>
#include <zrpythoninterp/convert/ToVariant.h>
#include <zrpythoninterp/core/PyRef.h>
#include <zrpythoninterp/core/ScriptsCall.h>
#include <zrpythoninterp/talk/Aside.h>
#include <zrpythoninterp/talk/CallGate.h>
#include <zrpythoninterp/talk/HostModule.h>
#include <zrpythoninterp/talk/OwnedFunction.h>
#include <zrpythoninterp/talk/Talk.h>
#include <zrpythoninterp/talk/zrPythonTalk.h>

#include <algorithm>
#include <utility>

namespace zrpy {

namespace {

PyObject* CallFromScript(PyObject* self, PyObject* const* arguments, Py_ssize_t count);

}  // namespace

// Owned by the interpreter for as long as it stands under its name, and by the Python functions
// made of it.
struct HostFunction {
  HostFunction(const zrString& itsName, zrPythonTalk::Function function, const zrString& signature,
               const zrString& help)
      : name(itsName),
        // The runtime takes a signature out of the first line.
        doc(signature.empty() ? help : zrString(name + signature + "\n--\n\n" + help)),
        call(std::move(function)),
        definition(FastMethod<&CallFromScript>(name.c_str(), doc.c_str())) {}

  const zrString name;
  const zrString doc;
  zrPythonTalk::Function call;
  CallGate gate;
  PyMethodDef definition;
};

namespace {

using Owner = std::shared_ptr<HostFunction>;

void RaiseNoForm(const HostFunction& function, Py_ssize_t argument, PyObject* object) {
  PyErr_Format(PyExc_TypeError, "%s() argument %zd: '%s' has no form in the application",
               function.name.c_str(), argument + 1, Py_TYPE(object)->tp_name);
}

// False with an error pending. None becomes an empty value.
bool Convert(zrStlVector<zrVariant>& values, const HostFunction& function,
             PyObject* const* arguments) ZR_REQUIRES_GIL {
  for (size_t i = 0; i < values.size(); ++i) {
    PyObject* const argument = arguments[i];
    const bool converted = ToVariant(values[i], argument);
    if (PyErr_Occurred()) return false;
    if (!converted && argument != Py_None) {
      RaiseNoForm(function, static_cast<Py_ssize_t>(i), argument);
      return false;
    }
  }
  return true;
}

// New reference, null with an error pending.
PyRef Result(const HostFunction& function, const zrVariant& value) ZR_REQUIRES_GIL {
  if (zrKindOf(value) == zrValueKind::kNothing) return PyRef::Borrow(Py_None);
  PyRef result = FromVariant(value);
  if (!result && !PyErr_Occurred()) {
    PyErr_Format(PyExc_TypeError, "%s(): the result has no form in Python", function.name.c_str());
  }
  return result;
}

// Runs the function with the lock given up. False with a text for the error.
bool Run(HostFunction& function, zrStlVector<zrVariant>& arguments, zrVariant& result,
         zrString& error) {
  const GilRelease released;
  const CallGate::Call call(function.gate);
  if (!call) {
    error = function.name + "() was taken away by the application";
    return false;
  }
  if (function.call(arguments, result, error)) return true;
  if (error.empty()) error = function.name + "() failed";
  return false;
}

// The runtime's own caller holds the lock and a reference to self. No exception of C++ gets into
// the runtime's frames.
PyObject* CallFromScript(PyObject* self, PyObject* const* arguments, Py_ssize_t count) {
  LockIsHeld();
  HostFunction& function = *StateOf<Owner>(self);
  try {
    const ScriptsCall called;
    zrStlVector<zrVariant> values(static_cast<size_t>(count));
    if (!Convert(values, function, arguments)) return nullptr;
    zrVariant result;
    zrString error;
    if (Run(function, values, result, error)) return Result(function, result).release();
    RaiseHostError(error.c_str());
  } catch (...) {
    RaiseThrown();
  }
  return nullptr;
}

// False with or without an error pending.
bool Bind(const Owner& function) ZR_REQUIRES_GIL {
  const PyRef module = HostModule();
  const PyRef object = module ? NewOwnedFunction(function->definition, function) : PyRef();
  return object && PyObject_SetAttrString(module.get(), function->name.c_str(), object.get()) == 0;
}

bool IsIdentifier(const zrString& name) {
  const auto isLetter = [](char c) {
    return c == '_' || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
  };
  const auto isDigit = [](char c) { return c >= '0' && c <= '9'; };
  return !name.empty() && isLetter(name[0]) &&
         std::all_of(name.begin(), name.end(), [&](char c) { return isLetter(c) || isDigit(c); });
}

}  // namespace

std::shared_ptr<HostFunction> Functions::Exchange(const zrString& name,
                                                  std::shared_ptr<HostFunction> function) {
  const std::lock_guard<Mutex> lock(mutex_);
  std::shared_ptr<HostFunction>& place = functions_[name];
  std::swap(place, function);
  if (!place) functions_.erase(name);
  return function;
}

void Functions::BindAll() const {
  zrStlMap<zrString, std::shared_ptr<HostFunction>> functions;
  {
    const std::lock_guard<Mutex> lock(mutex_);
    functions = functions_;
  }
  for (const auto& entry : functions) {
    if (!Bind(entry.second)) return;
  }
}

}  // namespace zrpy

bool zrPythonTalk::AddFunction(const zrString& name, Function function, const zrString& signature,
                               const zrString& help) {
  if (!function || !zrpy::IsIdentifier(name)) return false;
  const auto added =
      std::make_shared<zrpy::HostFunction>(name, std::move(function), signature, help);
  const auto replaced = talk_->functions().Exchange(name, added);
  bool bound = true;
  {
    const zrpy::Aside aside(interp_);
    if (aside) bound = zrpy::Bind(added);
  }
  if (replaced && replaced->gate.Close()) replaced->call = nullptr;
  return bound;
}

bool zrPythonTalk::RemoveFunction(const zrString& name) {
  const auto removed = talk_->functions().Exchange(name, nullptr);
  if (!removed) return false;
  {
    const zrpy::Aside aside(interp_);
    const zrpy::PyRef module = aside ? zrpy::HostModule() : zrpy::PyRef();
    if (module) PyObject_DelAttrString(module.get(), name.c_str());  // unless a script did
  }
  // What the function holds goes with it, once nobody is in it.
  if (removed->gate.Close()) removed->call = nullptr;
  return true;
}
