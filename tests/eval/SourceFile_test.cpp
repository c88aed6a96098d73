// Source files are what the runtime would run, each time: their bytes decide, and its own way to
// read a file.
#include <zrpythoninterp/core/GilGuard.h>
// GilGuard.h brings Python.h, which comes first.
#include <tests/eval/EvalTest.h>
#include <unistd.h>
#include <zrpythoninterp/core/PyRef.h>

#include <cstdio>
#include <filesystem>

namespace zrtest {
namespace {

using zrpy::PyRef;

class SourceFile : public EvalTest {
 protected:
  // What the runtime itself makes of the file: the value of x, or the error and its place.
  zrString Expected(const zrString& file) {
#if ZR_CAN(STREAM)
    const zrpy::GilGuard gil;
    PyObject* const main = PyModule_GetDict(PyImport_AddModule("__main__"));
    PyRef::Steal(PyRun_FileExFlags(std::fopen(file.c_str(), "rb"), file.c_str(), Py_file_input,
                                   main, main, 1, nullptr));
    PyObject* type = nullptr;
    PyObject* value = nullptr;
    PyObject* traceback = nullptr;
    PyErr_Fetch(&type, &value, &traceback);
    PyErr_NormalizeException(&type, &value, &traceback);
    PyDict_SetItemString(main, "error", value ? value : Py_None);
    const PyRef owned[] = {PyRef::Steal(type), PyRef::Steal(value), PyRef::Steal(traceback)};
#else
    Run("error, file = None, '" + file +
        "'\ntry: exec(compile(open(file, 'rb').read(), file, 'exec'))"
        "\nexcept Exception as e: error = e");
#endif
    return Outcome();
  }
  // Of the run before, whose error is bound to a name.
  zrString Outcome() {
    return Text("(ascii(x), ''.join(traceback.format_exception_only(type(error), error)))");
  }
};

TEST_F(SourceFile, EncodingsLineEndsAndErrorsAreTheRuntimesEachTime) {
  const zrString contents[] = {
      "x = '\xC3\xA9'\n",
      "# -*- coding: latin-1 -*-\nx = '\xE9'\n",
      "\xEF\xBB\xBFx = '\xC3\xA9'",
      "\xEF\xBB\xBF# coding: latin-1\nx = 1",
      "# coding: nowhere\nx = 1",
      "# coding: utf-8\nx = '\xE9'\n",
      "x = '\xE9'\n",
      "#!/usr/bin/python\r\n# coding: cp1252\r\nx = '\x80'\r\n",
      "x = '''a\r\nb\rc\n'''\r\n",
      "x = 1\r\rx += 1",
      "\fx = 1\n  \n\t\n",
      "if True:\n  x = 1\n\ty = 2\n",
      "x = 1\n  y = 2\n",
      "x = (1,\n",
      "x = 1\ny = = 2\n",
      "x = '''\n",
      "x = 'a\\d'\n",
      "x = 'a\\d'\ny = = 2\n",
      "return 1\n",
      "x = 'before\0after'\n",
      "x = 2\n\0\nx = 3\n",
      "x = 1\n1 / 0\n",
      "",
  };
  ASSERT_TRUE(
      Run("import sys, traceback, warnings\nwarnings.simplefilter('ignore')\n"
          "def hook(*a):\n  global error\n  error = a[1]\n"
          "sys.excepthook = hook\n"));
  int number = 0;
  for (const zrString& content : contents) {
    SCOPED_TRACE(content);
    const zrString file = folder().Write(std::to_string(number++) + ".py", content);
    ASSERT_TRUE(Run("x = 0"));
    const bool isTold = zrpy::kSharesStreams || content.find('\0') == zrString::npos;
    const zrString expected =
        isTold ? Expected(file)
               : "[0, SyntaxError: source code cannot be read or contains null bytes\n]";
    for (int i = 0; i < 3; ++i) {
      ASSERT_TRUE(Run("x, error = 0, None"));
      interp().EvalFile(file);
      EXPECT_EQ(Outcome(), expected);
    }
    TakeAlerts();
  }
}

// Nothing but the bytes tells a change of this kind.
TEST_F(SourceFile, AChangeOfTheSameSizeAtTheSameTimeAndAnotherLinkAreSeen) {
  const zrString file = folder().Write("same.py", "x = 'one'\n");
  const zrString other = folder().Write("other.py", "x = 'six'\n");
  const auto time = std::filesystem::last_write_time(file);
  for (const char* const value : {"one", "one", "two", "one", "two", "two"}) {
    folder().Write("same.py", zrString("x = '") + value + "'\n");
    std::filesystem::last_write_time(file, time);
    EXPECT_TRUE(interp().EvalFile(file));
    EXPECT_EQ(Text("x"), value);
  }
#if ZR_CAN(LINK)
  const zrString link = folder().path() + "/link.py";
  for (int i = 0; i < 4; ++i) {
    std::filesystem::remove(link);
    std::filesystem::create_symlink(i % 2 == 0 ? file : other, link);
    EXPECT_TRUE(interp().EvalFile(link));
    EXPECT_EQ(Text("x"), i % 2 == 0 ? "two" : "six");
  }
#endif
}

// The code is kept, and yet each path is its own file to the script, to tracebacks and to whoever
// traces its lines; no compiled file appears beside it.
TEST_F(SourceFile, RunsAgainFromKeptCodeUnderThePathOfThisTime) {
  const zrString line =
      "import sys\nframe = sys._getframe()\nshown = frame.f_code.co_filename, __file__\n"
      "again = frame.f_code is globals().get('last')\nlast = frame.f_code\n";
  folder().Write("kept.py", line);
  ASSERT_EQ(chdir(folder().path().c_str()), 0);
  for (const zrString& path : {zrString("kept.py"), folder().path() + "/kept.py"}) {
    for (const char* const again : {"false", "true", "true"}) {
      EXPECT_TRUE(interp().EvalFile(path));
      EXPECT_EQ(Text("again"), again);
      EXPECT_EQ(Text("shown"), "[" + path + ", " + path + "]");
    }
  }
  ASSERT_TRUE(
      Run("traced = []\n"
          "def trace(frame, event, argument):\n"
          "  if frame.f_code.co_filename.endswith('kept.py') and event == 'line':\n"
          "    traced.append(frame.f_lineno)\n"
          "  return trace\n"
          "import threading; sys.settrace(trace)"));
  EXPECT_TRUE(interp().EvalFile("kept.py"));
  ASSERT_TRUE(Run("sys.settrace(None)"));
  EXPECT_EQ(Text("traced"), "[1, 2, 3, 4, 5]");
  EXPECT_FALSE(std::filesystem::exists("__pycache__"));
}

}  // namespace
}  // namespace zrtest
