// A small file over a map of 1,000 variables: a new namespace is filled from the map, the file runs
// in it, and what it left there goes back into the map. All ways but the library's have a
// std::variant for the host's value.
#include <bench/Others.h>
// Others.h brings Python.h, which comes first.
#include <bench/Bench.h>
#include <bench/Subjects.h>

#include <cstdio>
#include <map>
#include <string>
#include <variant>

namespace zrbench {

namespace {

constexpr char kFile[] = "v000000 = v000000 + 1\nv000002 = v000002 + 'x'[:0]\n";

using Value = std::variant<std::string, long long, double>;
using Map = std::map<std::string, Value>;

Map Variables() {
  Map map;
  for (int i = 0; i < kVariables; ++i) {
    char name[16];
    std::snprintf(name, sizeof name, "v%06d", i);
    if (i % 3 == 0) map[name] = static_cast<long long>(i);
    if (i % 3 == 1) map[name] = i / 8.0;
    if (i % 3 == 2) map[name] = "a text of some length, number " + std::to_string(i);
  }
  return map;
}

zrStlMap<zrString, zrVariant> LibraryVariables() {
  zrStlMap<zrString, zrVariant> map;
  for (const auto& [name, value] : Variables()) {
    zrVariant& variable = map[name];
    if (const auto* whole = std::get_if<long long>(&value)) variable.SetLong64(*whole);
    if (const auto* number = std::get_if<double>(&value)) variable.SetDouble(*number);
    if (const auto* text = std::get_if<std::string>(&value)) variable.SetString(text->c_str());
  }
  return map;
}

void AddLibrary(zrInterpPython& interp, const std::string& file) {
  Add("map.thousand/zr", true, [&interp, file, map = LibraryVariables(), runs = 0LL]() mutable {
    return interp.EvalFile(file, map, nullptr) && map["v000000"].GetLong64() == ++runs;
  });
}

// True when the file ran each time: it counts up.
template <typename Run>
void AddWay(const char* name, const std::string& file, Run run) {
  Add(name, true, [file, run, map = Variables(), runs = 0LL]() mutable {
    run(file, map);
    return map["v000000"] == Value(++runs);
  });
}

PyObject* FloorObject(const Value& value) {
  if (const auto* whole = std::get_if<long long>(&value)) return PyLong_FromLongLong(*whole);
  if (const auto* number = std::get_if<double>(&value)) return PyFloat_FromDouble(*number);
  const auto& text = std::get<std::string>(value);
  return PyUnicode_FromStringAndSize(text.data(), static_cast<Py_ssize_t>(text.size()));
}

// False for what the host has no value for.
bool FloorValue(Value& value, PyObject* object) {
  if (PyLong_CheckExact(object)) {
    value = PyLong_AsLongLong(object);
  } else if (PyFloat_CheckExact(object)) {
    value = PyFloat_AS_DOUBLE(object);
  } else if (PyUnicode_CheckExact(object)) {
    Py_ssize_t size = 0;
    const char* const characters = PyUnicode_AsUTF8AndSize(object, &size);
    value = std::string(characters, static_cast<size_t>(size));
  } else {
    return false;
  }
  return true;
}

// The dictionary's order is the map's, so each entry goes in behind the one before.
void CopyBack(PyObject* names, Map& map) {
  Py_ssize_t position = 0;
  PyObject* key = nullptr;
  PyObject* object = nullptr;
  auto hint = map.begin();
  while (PyDict_Next(names, &position, &key, &object)) {
    Value value;
    if (!FloorValue(value, object)) continue;
    hint = std::next(map.insert_or_assign(hint, PyUnicode_AsUTF8(key), std::move(value)));
  }
}

void FloorRun(const std::string& file, Map& map) {
  const Lock lock;
  PyObject* const names = PyDict_New();
  PyDict_SetItemString(names, "__builtins__", PyEval_GetBuiltins());
  for (const auto& [name, value] : map) {
    Bind(names, name.c_str(), FloorObject(value));
  }
  std::FILE* const stream = std::fopen(file.c_str(), "rb");
  Py_XDECREF(PyRun_FileExFlags(stream, file.c_str(), Py_file_input, names, names, 1, nullptr));
  CopyBack(names, map);
  Py_DECREF(names);
}

#ifdef ZR_BENCH_PYBIND11
namespace py = pybind11;

void PybindRun(const std::string& file, Map& map) {
  const py::gil_scoped_acquire lock;
  py::dict names;
  for (const auto& [name, value] : map) {
    std::visit([&, key = name.c_str()](const auto& held) { names[key] = held; }, value);
  }
  py::eval_file(file, names);
  for (const auto& [key, object] : names) {
    std::string name = key.cast<std::string>();
    if (py::isinstance<py::int_>(object)) {
      map[std::move(name)] = object.cast<long long>();
    } else if (py::isinstance<py::float_>(object)) {
      map[std::move(name)] = object.cast<double>();
    } else if (py::isinstance<py::str>(object)) {
      map[std::move(name)] = object.cast<std::string>();
    }
  }
  map.erase("__file__");
}
#endif

#ifdef ZR_BENCH_BOOST
namespace bp = boost::python;

void BoostRun(const std::string& file, Map& map) {
  const Lock lock;
  bp::dict names;
  for (const auto& [name, value] : map) {
    std::visit([&, key = name.c_str()](const auto& held) { names[key] = held; }, value);
  }
  bp::exec_file(file.c_str(), names, names);
  for (bp::stl_input_iterator<bp::object> item(names.items()), end; item != end; ++item) {
    const std::string name = bp::extract<std::string>((*item)[0]);
    const bp::object object = (*item)[1];
    if (PyLong_Check(object.ptr())) {
      map[name] = bp::extract<long long>(object)();
    } else if (PyFloat_Check(object.ptr())) {
      map[name] = bp::extract<double>(object)();
    } else if (PyUnicode_Check(object.ptr())) {
      map[name] = bp::extract<std::string>(object)();
    }
  }
}
#endif

}  // namespace

void AddMap(Host& host) {
  const std::string file = host.Write("map.py", kFile);
  AddLibrary(host.interp(), file);
  AddWay("map.thousand/floor", file, &FloorRun);
#ifdef ZR_BENCH_PYBIND11
  AddWay("map.thousand/pybind11", file, &PybindRun);
#endif
#ifdef ZR_BENCH_BOOST
  AddWay("map.thousand/boost", file, &BoostRun);
#endif
}

}  // namespace zrbench
