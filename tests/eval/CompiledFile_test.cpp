// Compiled files as the runtime itself makes them, damaged ones, and real programs both ways.
#include <tests/eval/EvalTest.h>

#include <fstream>
#include <iterator>

namespace zrtest {
namespace {

constexpr char kForeign[] = "pyc file is compiled with a different python version - ";
constexpr char kNoCode[] = "pyc file does not contain valid code objects - ";

class CompiledFile : public EvalTest {
 protected:
  static zrString Content(const zrString& file) {
    std::ifstream stream(file, std::ios::binary);
    return zrString(std::istreambuf_iterator<char>(stream), {});
  }
  // Such a file does not run, for this reason, and is closed again.
  void ExpectRefused(const zrString& content, const char* reason) {
    const zrString file = folder().Write("bad.pyc", content);
    const long files = OpenFiles();
    EXPECT_FALSE(interp().EvalFile(file));
    EXPECT_EQ(OpenFiles(), files);
    EXPECT_THAT(TakeAlerts(), ::testing::ElementsAre(reason + file));
    EXPECT_EQ(Printed(), zrString("OSError: ") + reason + file + "\n");
  }
};

TEST_F(CompiledFile, RunsInEachFormInWhichTheRuntimeWritesOne) {
  for (const char* const mode : {"TIMESTAMP", "CHECKED_HASH", "UNCHECKED_HASH"}) {
    SCOPED_TRACE(mode);
    const zrString more = zrString(", invalidation_mode=py_compile.PycInvalidationMode.") + mode;
    const zrString file =
        Compile("host(); ran = __file__", "made.pyc", zrpy::kRuntimeMinor < 7 ? zrString() : more);
    folder().Write("from.txt", "the source has changed since");
    const long files = OpenFiles();
    hooks.host = [&] { EXPECT_EQ(OpenFiles(), files); };  // closed ahead of the run
    EXPECT_TRUE(interp().EvalFile(file));
    EXPECT_EQ(Text("ran"), file);
    EXPECT_EQ(OpenFiles(), files);
  }
}

TEST_F(CompiledFile, IsRefusedWhenItIsCutShortForeignOrHoldsSomethingElse) {
  const zrString file = Compile("ran = 1", "made.pyc");
  const zrString whole = Content(file);
  const zrString header = whole.substr(0, zrpy::kCompiledHeaderBytes);
  for (size_t length = 0; length < whole.size(); length += length <= header.size() ? 1 : 7) {
    ExpectRefused(whole.substr(0, length), length < 4 ? kForeign : kNoCode);
  }
  ExpectRefused(whole.substr(0, 3) + "x" + whole.substr(4), kForeign);
  for (const zrString& body : {zrString("garbage"), zrString("0"), zrString("N"), header}) {
    ExpectRefused(header + body, kNoCode);
  }
  // The code of an inner function needs names from outside.
  const zrString seek = "f.seek(" + std::to_string(header.size()) + ")";
  ASSERT_TRUE(Run("import marshal\nwith open('" + file + "', 'rb+') as f:\n  " + seek + "\n" +
                  "  f.write(marshal.dumps((lambda x: (lambda: x).__code__)(1)))"));
  ExpectRefused(Content(file), kNoCode);
  EXPECT_EQ(Text("'ran' in globals()"), "false");
}

// A program of the standard library, as a user starts it.
TEST_F(CompiledFile, ARealProgramPrintsWhatThePlainInterpreterPrints) {
  interp().Import("made", (folder().path() + "/made.pyc").c_str());
  ASSERT_TRUE(
      Run("import importlib.util, py_compile, subprocess\n"
          "program = ['calendar', '2024', '2']\n"
          "plain = subprocess.check_output(\n"
          "    ['" ZR_TEST_PYTHON_EXECUTABLE "', '-m'] + program, universal_newlines=True)\n"
          "file = importlib.util.find_spec('calendar').origin\n"
          "py_compile.compile(file, made, doraise=True)\n"
          "assert 'February' in plain, plain"));
  for (const zrString& path : {Text("file"), Text("made")}) {
    ASSERT_TRUE(Run("sys.argv, sys.stdout = program, io.StringIO()"));
    EXPECT_TRUE(interp().EvalFile(path)) << interp().LastError().traceback;
    ASSERT_TRUE(Run("text, sys.stdout = sys.stdout.getvalue(), sys.__stdout__"));
    EXPECT_EQ(Text("text == plain"), "true") << path;
  }
}

}  // namespace
}  // namespace zrtest
