// Script files: 50 lines as source and compiled, run in a namespace that lives on. All ways set
// __file__.
#include <bench/Others.h>
// Others.h brings Python.h, which comes first.
#include <bench/Bench.h>
#include <bench/Subjects.h>

#include <cstdio>
#include <fstream>
#include <iterator>

namespace zrbench {

namespace {

struct Files {
  std::string source;
  std::string compiled;
};

Files WriteFiles(Host& host) {
  Files files{host.Write("fifty.py", kFiftyLines), host.Write("compiled/fifty.pyc", "")};
  host.interp().EvalScript(
      "import py_compile\npy_compile.compile(r'" + files.source + "', r'" + files.compiled + "')\n",
      zrString());
  return files;
}

void AddLibrary(zrInterpPython& interp, const Files& files) {
  const auto add = [&interp](const char* name, const std::string& file) {
    Add(name, kFileTotal, [&interp, file] {
      return interp.EvalFile(file, "files") ? interp.Export("total", "files") : zrVariant();
    });
  };
  add("file.source/zr", files.source);
  add("file.compiled/zr", files.compiled);
}

PyObject* NewNamespace() {
  PyObject* const names = PyDict_New();
  PyDict_SetItemString(names, "__builtins__", PyEval_GetBuiltins());
  PyObject* const name = PyUnicode_FromString("files");
  PyDict_SetItemString(names, "__name__", name);
  Py_DECREF(name);
  return names;
}

// Lock held.
void SetFile(PyObject* names, const std::string& path) {
  PyObject* const text = PyUnicode_FromString(path.c_str());
  PyDict_SetItemString(names, "__file__", text);
  Py_DECREF(text);
}

PyObject* RunSource(const std::string& path, PyObject* names) {
  std::FILE* const stream = std::fopen(path.c_str(), "rb");
  return PyRun_FileExFlags(stream, path.c_str(), Py_file_input, names, names, 1, nullptr);
}

PyObject* RunCompiled(const std::string& path, PyObject* names) {
  std::FILE* const stream = std::fopen(path.c_str(), "rb");
  if (PyMarshal_ReadLongFromFile(stream) != PyImport_GetMagicNumber()) return nullptr;
  for (int bytes = 4; bytes < zrpy::kCompiledHeaderBytes; bytes += 4) {
    PyMarshal_ReadLongFromFile(stream);
  }
  PyObject* const code = PyMarshal_ReadLastObjectFromFile(stream);
  std::fclose(stream);
  PyObject* const result = PyEval_EvalCode(code, names, names);
  Py_DECREF(code);
  return result;
}

// Both read the result as the library's way does: a lookup.
template <typename Run>
void AddFloorWay(const char* name, PyObject* names, const std::string& path, Run run) {
  Add(name, kFileTotal, [names, path, run] {
    const Lock lock;
    SetFile(names, path);
    PyObject* const result = run(path, names);
    Py_XDECREF(result);
    return PyLong_AsLong(PyDict_GetItemString(names, "total"));
  });
}

void AddFloor(const Files& files) {
  const Lock lock;
  PyObject* const names = NewNamespace();
  AddFloorWay("file.source/floor", names, files.source, &RunSource);
  AddFloorWay("file.compiled/floor", names, files.compiled, &RunCompiled);
}

// pybind11 and Boost.Python have no call for a compiled file: what is left is the marshal module.
[[maybe_unused]] std::string ReadCode(const std::string& path) {
  std::ifstream stream(path, std::ios::binary);
  stream.seekg(zrpy::kCompiledHeaderBytes);
  return std::string(std::istreambuf_iterator<char>(stream), {});
}

#ifdef ZR_BENCH_PYBIND11
namespace py = pybind11;

void AddPybind11(const Files& files) {
  const py::gil_scoped_acquire lock;
  auto& names = *new py::dict(py::reinterpret_steal<py::dict>(NewNamespace()));
  auto& loads = *new py::object(py::module_::import("marshal").attr("loads"));
  auto& run = *new py::object(py::module_::import("builtins").attr("exec"));
  Add("file.source/pybind11", kFileTotal, [&names, path = files.source] {
    const py::gil_scoped_acquire own;
    names["__file__"] = path;
    py::eval_file(path, names);
    return names["total"].cast<long>();
  });
  Add("file.compiled/pybind11", kFileTotal, [&names, &loads, &run, path = files.compiled] {
    const py::gil_scoped_acquire own;
    names["__file__"] = path;
    run(loads(py::bytes(ReadCode(path))), names);
    return names["total"].cast<long>();
  });
}
#endif

#ifdef ZR_BENCH_BOOST
namespace bp = boost::python;

void AddBoost(const Files& files) {
  const Lock lock;
  auto& names = *new bp::dict(bp::handle<>(NewNamespace()));
  auto& loads = *new bp::object(bp::import("marshal").attr("loads"));
  auto& run = *new bp::object(bp::import("builtins").attr("exec"));
  Add("file.source/boost", kFileTotal, [&names, path = files.source]() -> long {
    const Lock own;
    names["__file__"] = path;
    bp::exec_file(path.c_str(), names, names);
    return bp::extract<long>(names["total"]);
  });
  Add("file.compiled/boost", kFileTotal, [&names, &loads, &run, path = files.compiled]() -> long {
    const Lock own;
    names["__file__"] = path;
    const std::string code = ReadCode(path);
    run(loads(bp::object(bp::handle<>(
            PyBytes_FromStringAndSize(code.data(), static_cast<Py_ssize_t>(code.size()))))),
        names);
    return bp::extract<long>(names["total"]);
  });
}
#endif

}  // namespace

void AddFiles(Host& host) {
  const Files files = WriteFiles(host);
  AddLibrary(host.interp(), files);
  AddFloor(files);
#ifdef ZR_BENCH_PYBIND11
  AddPybind11(files);
#endif
#ifdef ZR_BENCH_BOOST
  AddBoost(files);
#endif
}

}  // namespace zrbench
