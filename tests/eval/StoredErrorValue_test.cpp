// The kinds of errors of error_table.h, each in each surrounding, and the errors that no script
// has. What is expected is what CPython 3.5 stores, so the tests are the same for every runtime.
#include <zrpythoninterp/eval/StoredErrorValue.h>
// PyCompat.h comes first.
#include <gtest/gtest.h>

#include <cerrno>
#include <cstdio>
#include <fstream>
#include <functional>
#include <sstream>
#include <string>

#include "error_table.h"

#ifndef ZR_TEST_PYTHON_HOME
#define ZR_TEST_PYTHON_HOME "/usr"
#endif

namespace {

using zrpy::PyRef;

std::string ReprOf(PyObject* object) {
  const PyRef repr = PyRef::Steal(PyObject_Repr(object));
  return repr ? PyUnicode_AsUTF8(repr.get()) : "no repr";
}

// The form of error_table.h.
std::string Describe(PyObject* stored) {
  if (stored == nullptr || stored == Py_None || PyExceptionInstance_Check(stored)) return "nothing";
  if (PyUnicode_Check(stored)) return std::string("str:") + PyUnicode_AsUTF8(stored);
  const char* message = nullptr;
  const char* file = nullptr;
  const char* text = nullptr;
  int line = 0;
  int column = 0;
  if (PyTuple_Check(stored) && PyTuple_GET_SIZE(stored) == 2 &&
      PyTuple_Check(PyTuple_GET_ITEM(stored, 1))) {
    if (PyArg_ParseTuple(stored, "s(ziiz)", &message, &file, &line, &column, &text) != 0) {
      return "syntax";
    }
    PyErr_Clear();
  }
  return ReprOf(stored);
}

bool AreAlike(const std::string& found, const std::string& expected) {
  return expected == "str:" ? found.rfind(expected, 0) == 0 : found == expected;
}

std::string CountsOf(const PyRef (&owners)[3]) {
  std::ostringstream counts;
  for (const PyRef& owner : owners) counts << (owner ? Py_REFCNT(owner.get()) : 0) << ' ';
  return counts.str();
}

// Describes what is stored for the error that run leaves, "no error" when it leaves none.
std::string StoredAfter(const std::function<void()>& run) {
  run();
  PyObject* type = nullptr;
  PyObject* value = nullptr;
  PyObject* traceback = nullptr;
  PyErr_Fetch(&type, &value, &traceback);
  const PyRef owners[] = {PyRef::Steal(type), PyRef::Steal(value), PyRef::Steal(traceback)};
  if (type == nullptr) return "no error";
  const std::string before = CountsOf(owners);
  std::string description;
  {
    const PyRef stored = zrpy::StoredErrorValue(type, value, traceback);
    EXPECT_EQ(PyErr_Occurred(), nullptr);
    description = Describe(stored.get());
  }
  EXPECT_EQ(CountsOf(owners), before);
  PyRun_SimpleString("import sys; sys.settrace(None)");
  return description;
}

std::string StoredAfterScript(const std::string& script) {
  return StoredAfter([&script] {
    const PyRef space = PyRef::Steal(PyDict_New());
    PyDict_SetItemString(space.get(), "__builtins__", PyEval_GetBuiltins());
    PyRef::Steal(
        PyRun_StringFlags(script.c_str(), Py_file_input, space.get(), space.get(), nullptr));
  });
}

// Puts the statement into the place of "@", with the indentation of that place.
std::string Surround(const char* surrounding, const std::string& statement) {
  std::istringstream lines(surrounding);
  std::string script;
  for (std::string line; std::getline(lines, line);) {
    const size_t indent = line.find_first_not_of(' ');
    const std::string margin(indent, ' ');
    std::string inner = line.substr(indent);
    if (inner == "@") inner = statement;
    if (inner == "MANY") {
      inner.clear();
      for (int i = 1000; i < 1260; ++i)
        inner += "v" + std::to_string(i) + "=" + std::to_string(i) + ";";
    }
    std::istringstream parts(inner);
    for (std::string part; std::getline(parts, part);) script += margin + part + "\n";
  }
  return script;
}

void ExpectEachKindIn(const Surrounding& surrounding) {
  for (const ErrorKind& kind : kErrorKinds) {
    const std::string expected = surrounding.makesInstance ? "nothing" : kind.stored;
    const std::string found = StoredAfterScript(Surround(surrounding.script, kind.statement));
    EXPECT_TRUE(AreAlike(found, expected))
        << kind.statement << "\nin\n"
        << surrounding.script << "\ngives " << found << " in place of " << expected;
  }
}

class StoredErrorValue : public testing::Test {
 protected:
  static void SetUpTestSuite() {
    const std::string home = ZR_TEST_PYTHON_HOME;
    static const std::wstring wideHome(home.begin(), home.end());
    ASSERT_TRUE(zrpy::StartRuntime(wideHome.c_str(), L"python3"));
  }
};

TEST_F(StoredErrorValue, IsWhatTheRuntimeRaisedWhereNothingHandlesIt) {
  for (const Surrounding& surrounding : kSurroundings) {
    if (!surrounding.makesInstance) ExpectEachKindIn(surrounding);
  }
}

TEST_F(StoredErrorValue, IsAnInstanceWhereAHandlerLooksAtIt) {
  for (const Surrounding& surrounding : kSurroundings) {
    if (surrounding.makesInstance) ExpectEachKindIn(surrounding);
  }
}

TEST_F(StoredErrorValue, IsAnInstanceForErrorsThatPassedAnImport) {
  const std::string folder = testing::TempDir();
  PyRun_SimpleString(
      ("import sys; sys.dont_write_bytecode = True; sys.path.insert(0, r'" + folder + "')")
          .c_str());
  int number = 0;
  for (const char* text : {"1/0", "nope", "object().nope", "from sys import nope", "{}['k']", "1 +",
                           "def f():\n  nope\nf()", "import sys\nsys.exit(3)"}) {
    const std::string module = "zr_failing_module_" + std::to_string(++number);
    const std::string path = folder + "/" + module + ".py";
    std::ofstream(path) << text << "\n";
    PyRun_SimpleString("import importlib; importlib.invalidate_caches()");
    EXPECT_EQ(StoredAfterScript("import " + module), "nothing") << text;
    std::remove(path.c_str());
  }
}

TEST_F(StoredErrorValue, IsThatOf35ForErrorsWithoutTraceback) {
  const struct {
    const char* what;
    std::function<void()> run;
    const char* stored;
  } cases[] = {
      {"a message", [] { PyErr_SetString(PyExc_IOError, "could not open file - a"); },
       "str:could not open file - a"},
      {"a name error", [] { PyErr_SetString(PyExc_NameError, "text"); }, "str:text"},
      {"a key error",
       [] { PyErr_SetObject(PyExc_KeyError, PyRef::Steal(Py_BuildValue("(s)", "k")).get()); },
       "('k',)"},
      {"an exit", [] { PyErr_SetObject(PyExc_SystemExit, PyRef::Steal(PyLong_FromLong(3)).get()); },
       "3"},
      {"no value", [] { PyErr_SetNone(PyExc_ValueError); }, "nothing"},
      {"no memory", [] { PyErr_NoMemory(); }, "nothing"},
      {"bytes that are not UTF-8", [] { PyErr_SetString(PyExc_IOError, "\xff"); }, "nothing"},
      {"an errno",
       [] {
         errno = ENOENT;
         PyErr_SetFromErrno(PyExc_OSError);
       },
       "nothing"},
      {"nothing", [] {}, "no error"},
  };
  for (const auto& one : cases) EXPECT_EQ(StoredAfter(one.run), one.stored) << one.what;
}

TEST_F(StoredErrorValue, OfAScriptThatDoesNotCompileIsItsMessageAndPlace) {
  for (const char* script :
       {"1 +", "if", "  x", "if 1:\n\tx\n        y", "return", "f(a=1, a=2)", "'\\x'", "1 = 2"}) {
    EXPECT_EQ(StoredAfterScript(script), "syntax") << script;
  }
  // Found after parsing: an instance on 3.5, too.
  for (const char* script :
       {"def f(x):\n  global x", "def f(a, a): pass", "from __future__ import nope"}) {
    EXPECT_EQ(StoredAfterScript(script), "nothing") << script;
  }
}

TEST_F(StoredErrorValue, IsAnInstanceWhileATraceFunctionIsInstalled) {
  for (const char* statement : {"1/0", "nope", "(3).nope", "{}['k']", "from sys import nope",
                                "exec('1 +')", "sys.exit(3)"}) {
    const std::string script = "import sys\nsys.settrace(lambda *a: None)\n";
    EXPECT_EQ(StoredAfterScript(script + statement), "nothing") << statement;
  }
}

TEST_F(StoredErrorValue, OfAnIteratorThatEndedIsNothing) {
  for (const char* script : {"next(iter([]))", "def g():\n  return 7\n  yield\nnext(g())",
                             "def f():\n  next(iter([]))\nf()"}) {
    EXPECT_EQ(StoredAfterScript(script), "nothing") << script;
  }
}

}  // namespace
