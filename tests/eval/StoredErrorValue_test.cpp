// The kinds of errors of error_table.h, each in each surrounding. What is expected is what
// CPython 3.5 stores, so the tests are the same for every runtime.
#include <zrpythoninterp/core/HomeCheck.h>
#include <zrpythoninterp/eval/StoredErrorValue.h>
#include <zrpythoninterp/host/Platform.h>
// PyCompat.h comes first.
#include <gtest/gtest.h>
#include <zrpythoninterp/core/StartVariables.h>

#include <filesystem>
#include <sstream>
#include <string>

#include "error_table.h"

#ifndef ZR_TEST_PYTHON_HOME
#define ZR_TEST_PYTHON_HOME "/usr"
#endif

namespace {

using zrpy::PyRef;

// The form of error_table.h.
std::string Describe(PyObject* stored) {
  if (stored == nullptr || stored == Py_None || PyExceptionInstance_Check(stored)) return "nothing";
  if (PyUnicode_Check(stored)) return std::string("str:") + PyUnicode_AsUTF8(stored);
  const char *message, *file, *text;
  int line, column;
  if (PyTuple_Check(stored) &&
      PyArg_ParseTuple(stored, "s(ziiz)", &message, &file, &line, &column, &text) != 0) {
    return "syntax";
  }
  PyErr_Clear();
  const PyRef repr = PyRef::Steal(PyObject_Repr(stored));
  return repr ? PyUnicode_AsUTF8(repr.get()) : "no repr";
}

// Describes what is stored for the error that the script leaves. The error itself stays as it was.
std::string StoredAfter(const std::string& script) {
  const PyRef space = PyRef::Steal(PyDict_New());
  PyDict_SetItemString(space.get(), "__builtins__", PyEval_GetBuiltins());
  PyRef::Steal(PyRun_StringFlags(script.c_str(), Py_file_input, space.get(), space.get(), nullptr));
  PyObject *type, *value, *traceback;
  PyErr_Fetch(&type, &value, &traceback);
  const PyRef owners[] = {PyRef::Steal(type), PyRef::Steal(value), PyRef::Steal(traceback)};
  if (type == nullptr) return "no error";
  const auto count = [value] { return value ? Py_REFCNT(value) : 0; };
  const Py_ssize_t before = count();
  const std::string description = Describe(zrpy::StoredErrorValue(type, value, traceback).get());
  EXPECT_EQ(PyErr_Occurred(), nullptr);
  EXPECT_EQ(count(), before);
  return description;
}

// Puts the statement into the place of "@", with the indentation of that place.
std::string Surround(const char* surrounding, const std::string& statement) {
  std::istringstream lines(surrounding);
  std::string script;
  for (std::string line; std::getline(lines, line);) {
    const std::string margin(line.find_first_not_of(' '), ' ');
    std::string inner = line.substr(margin.size());
    if (inner == "@") inner = statement;
    if (inner == "MANY") {
      inner = "v = 0";
      for (int i = 1000; i < 1260; ++i)
        inner += "; v" + std::to_string(i) + "=" + std::to_string(i);
    }
    std::istringstream parts(inner);
    for (std::string part; std::getline(parts, part);) script += margin + part + "\n";
  }
  return script;
}

TEST(StoredErrorValue, IsThatOf35ForEachKindInEachSurrounding) {
  const std::string home = std::filesystem::absolute(ZR_TEST_PYTHON_HOME).string();
  static const std::wstring wideHome(home.begin(), home.end());
  ASSERT_TRUE(zrpy::LoadRuntime(home, zrpy::RuntimeLibraryName()));
  ASSERT_FALSE(zrpy::StartRuntime(wideHome.c_str(), L"python3", {}));
  for (const auto& [surrounding, makesInstance] : kSurroundings) {
    for (const auto& [statement, stored] : kErrorKinds) {
      const std::string expected = makesInstance ? "nothing" : stored;
      const std::string script = Surround(surrounding, statement);
      const std::string found = StoredAfter(script);
      EXPECT_EQ(expected == "str:" ? found.substr(0, 4) : found, expected) << script;
    }
  }
  EXPECT_EQ(StoredAfter("1 = 2"), "syntax");  // of the text as a whole
  EXPECT_EQ(StoredAfter("def f(a, a): pass"), "nothing");
  // Of a task, kept by C code and raised again. Newer ones are known to differ: see
  // docs/runtimes.md.
  if (zrpy::kRuntimeMinor < 13) {
    EXPECT_EQ(StoredAfter("import asyncio\nasync def fails(): 1/0\n"
                          "loop = asyncio.new_event_loop()\ntask = loop.create_task(fails())\n"
                          "loop.call_later(0.01, loop.stop)\nloop.run_forever()\ntask.result()"),
              "nothing");
  }
  EXPECT_EQ(StoredAfter("__import__('sys').settrace(lambda *a: None)\n1/0"), "nothing");
}

}  // namespace
