// Ownership of Python objects as a type: a PyRef owns one reference, a plain PyObject* is borrowed.
#pragma once

#include <zrpythoninterp/core/PyCompat.h>

#include <utility>

namespace zrpy {

// Owns one reference, or nothing. Made only by Steal and Borrow, so that every taking of a
// reference is written out; it only moves. Every operation but the constructors from nothing needs
// the lock.
class PyRef {
 public:
  PyRef() = default;
  // Takes over a new reference, null included.
  static PyRef Steal(PyObject* object) { return PyRef(object); }
  // Adds a reference to an object that somebody else owns, null included.
  static PyRef Borrow(PyObject* object) {
    Py_XINCREF(object);
    return PyRef(object);
  }

  PyRef(PyRef&& other) noexcept : object_(other.release()) {}
  PyRef& operator=(PyRef&& other) noexcept {
    PyObject* const old = std::exchange(object_, other.release());
    Py_XDECREF(old);  // last: it can run any code, which may look at this object
    return *this;
  }
  PyRef(const PyRef&) = delete;
  PyRef& operator=(const PyRef&) = delete;
  ~PyRef() { Py_XDECREF(object_); }

  PyObject* get() const { return object_; }
  explicit operator bool() const { return object_ != nullptr; }

  // Gives the reference away; stands inside the call that takes it.
  PyObject* release() { return std::exchange(object_, nullptr); }
  void reset() { *this = PyRef(); }

 private:
  explicit PyRef(PyObject* object) : object_(object) {}

  PyObject* object_ = nullptr;
};

}  // namespace zrpy
