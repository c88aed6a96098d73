// Built-in functions of Python that own an object of C++.
#pragma once

#include <zrpythoninterp/core/GilGuard.h>
#include <zrpythoninterp/core/PyRef.h>

#include <new>
#include <utility>

namespace zrpy {

// A function that is called with state at hand. Its self is a module object of its own, under the
// name of the host's module: that makes it a function of a module for help() and inspect. The
// definition must live as long as the state does. Null with an error pending.
template <typename State>
PyRef NewOwnedFunction(PyMethodDef& definition, State state) ZR_REQUIRES_GIL {
  static const auto destroy = [](void* self) {
    static_cast<State*>(PyModule_GetState(static_cast<PyObject*>(self)))->~State();
  };
  static PyModuleDef owner = {PyModuleDef_HEAD_INIT,
                              "zrhost",
                              nullptr,
                              sizeof(State),
                              nullptr,
                              nullptr,
                              nullptr,
                              nullptr,
                              destroy};
  const PyRef self = PyRef::Steal(PyModule_Create(&owner));
  if (!self) return PyRef();
  new (PyModule_GetState(self.get())) State(std::move(state));
  const PyRef module = PyRef::Steal(PyUnicode_FromString(owner.m_name));
  return PyRef::Steal(module ? PyCFunction_NewEx(&definition, self.get(), module.get()) : nullptr);
}

// The state of a function, out of its self.
template <typename State>
State& StateOf(PyObject* self) {
  return *static_cast<State*>(PyModule_GetState(self));
}

}  // namespace zrpy
