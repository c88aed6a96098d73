// The other ways to embed Python, as far as this build has them.
#pragma once

// Python.h comes first.
#include <bench/Floor.h>

#ifdef ZR_BENCH_PYBIND11
#include <pybind11/embed.h>
#include <pybind11/stl.h>
#endif
#ifdef ZR_BENCH_BOOST
#include <boost/python.hpp>
#endif

namespace zrbench {

// The namespace of __main__ as an object of each; never destroyed, like the runtime here.
#ifdef ZR_BENCH_PYBIND11
inline pybind11::dict& PybindMain() {
  static pybind11::dict& main = *[] {
    const pybind11::gil_scoped_acquire lock;
    return new pybind11::dict(pybind11::module_::import("__main__").attr("__dict__"));
  }();
  return main;
}
#endif
#ifdef ZR_BENCH_BOOST
inline boost::python::dict& BoostMain() {
  static boost::python::dict& main = *[] {
    const Lock lock;
    return new boost::python::dict(boost::python::import("__main__").attr("__dict__"));
  }();
  return main;
}
#endif

}  // namespace zrbench
