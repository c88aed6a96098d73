// Values into the runtime: each replaces what the name was bound to.
#include <bench/Others.h>
// Others.h brings Python.h, which comes first.
#include <bench/Bench.h>
#include <bench/Subjects.h>

namespace zrbench {

namespace {

// What the host has; all ways but the library's take it in the standard types.
const long kWhole = 4711;

const Texts& List() {
  static const Texts texts = ManyTexts();
  return texts;
}

const std::string& Big() {
  static const std::string text = BigText();
  return text;
}

void AddLibrary(zrInterpPython& interp) {
  const auto add = [&interp](const char* name, zrVariant value) {
    Add(name, true, [&interp, variable = zrString("in_zr"), value = std::move(value)] {
      return interp.Import(variable, value);
    });
  };
  zrVariant value;
  value.SetLong64(kWhole);
  add("in.number/zr", value);
  value.SetStringList(List());
  add("in.texts/zr", value);
  value.SetString(Big().c_str());
  add("in.big_text/zr", value);
}

PyObject* FloorText(const std::string& text) {
  return PyUnicode_FromStringAndSize(text.data(), static_cast<Py_ssize_t>(text.size()));
}

void AddFloor() {
  PyObject* const main = Main();
  Add("in.number/floor", true, [main] {
    const Lock lock;
    return Bind(main, "in_floor", PyLong_FromLong(kWhole));
  });
  Add("in.texts/floor", true, [main] {
    const Lock lock;
    const Texts& texts = List();
    PyObject* const list = PyList_New(static_cast<Py_ssize_t>(texts.size()));
    for (size_t i = 0; i < texts.size(); ++i) {
      PyList_SET_ITEM(list, static_cast<Py_ssize_t>(i), FloorText(texts[i]));
    }
    return Bind(main, "in_floor", list);
  });
  Add("in.big_text/floor", true, [main] {
    const Lock lock;
    return Bind(main, "in_floor", FloorText(Big()));
  });
}

#ifdef ZR_BENCH_PYBIND11
namespace py = pybind11;

void AddPybind11() {
  py::dict& main = PybindMain();
  const auto add = [&main](const char* name, const auto& value) {
    Add(name, true, [&main, &value] {
      const py::gil_scoped_acquire lock;
      main["in_pybind11"] = value;
      return true;
    });
  };
  add("in.number/pybind11", kWhole);
  add("in.texts/pybind11", List());
  add("in.big_text/pybind11", Big());
}
#endif

#ifdef ZR_BENCH_BOOST
namespace bp = boost::python;

void AddBoost() {
  bp::dict& main = BoostMain();
  const auto add = [&main](const char* name, const auto& value) {
    Add(name, true, [&main, &value] {
      const Lock lock;
      main["in_boost"] = value;
      return true;
    });
  };
  add("in.number/boost", kWhole);
  Add("in.texts/boost", true, [&main] {
    const Lock lock;
    bp::list list;
    for (const std::string& text : List()) list.append(text);
    main["in_boost"] = list;
    return true;
  });
  add("in.big_text/boost", Big());
}
#endif

}  // namespace

void AddIn(Host& host) {
  AddLibrary(host.interp());
  AddFloor();
#ifdef ZR_BENCH_PYBIND11
  AddPybind11();
#endif
#ifdef ZR_BENCH_BOOST
  AddBoost();
#endif
}

}  // namespace zrbench
