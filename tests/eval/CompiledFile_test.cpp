// Compiled files as the runtime itself makes them, damaged ones, and real programs both ways.
#include <tests/eval/EvalTest.h>

#include <fstream>
#include <iterator>

namespace zrtest {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;

constexpr size_t kHeader = zrpy::kCompiledHeaderBytes;

class CompiledFile : public EvalTest {
 protected:
  void SetUp() override {
    EvalTest::SetUp();
    ASSERT_TRUE(Run(
        "import importlib.util, marshal, py_compile\n"
        "def compile_file(source, to, mode=''):\n"
        "  kind = getattr(py_compile, 'PycInvalidationMode', None)\n"
        "  more = {'invalidation_mode': kind[mode]} if kind and mode else {}\n"
        "  py_compile.compile(source, cfile=to, doraise=True, **more)\n"
        "def header():\n"
        "  return importlib.util.MAGIC_NUMBER + bytes(12 if sys.version_info >= (3, 7) else 8)\n"
        "def dump(to, value):\n"
        "  with open(to, 'wb') as f: f.write(header() + marshal.dumps(value))\n"));
  }

  zrString Compile(const zrString& source, const zrString& mode = "") {
    const zrString from = folder().Write("from.txt", source);
    const zrString to = folder().path() + "/made.pyc";
    EXPECT_TRUE(Run("compile_file('" + from + "', '" + to + "', '" + mode + "')"));
    return to;
  }
  static zrString Content(const zrString& file) {
    std::ifstream stream(file, std::ios::binary);
    return zrString(std::istreambuf_iterator<char>(stream), {});
  }
  // The file does not run, for this reason, and is closed again.
  void ExpectRefused(const zrString& file, const zrString& reason) {
    TakeAlerts();
    const int files = OpenFiles();
    EXPECT_FALSE(interp().EvalFile(file));
    EXPECT_EQ(OpenFiles(), files);
    EXPECT_THAT(TakeAlerts(), ElementsAre(reason + file));
    EXPECT_EQ(Printed(), "OSError: " + reason + file + "\n");
    EXPECT_EQ(Text("'ran' in globals()"), "false");
    ExpectHostLives();
  }

  static constexpr const char kForeign[] =
      "pyc file is compiled with a different python version - ";
  static constexpr const char kNoCode[] = "pyc file does not contain valid code objects - ";
};

TEST_F(CompiledFile, RunsInEachFormInWhichTheRuntimeWritesOne) {
  int inside = 0;
  hooks.host = [&] { inside = OpenFiles(); };
  for (const char* const mode : {"", "TIMESTAMP", "CHECKED_HASH", "UNCHECKED_HASH"}) {
    SCOPED_TRACE(mode);
    const zrString file = Compile("host(); ran = __file__\ndef f(): return ran", mode);
    folder().Write("from.txt", "the source has changed since");
    const int files = OpenFiles();
    EXPECT_TRUE(interp().EvalFile(file));
    EXPECT_EQ(Text("f()"), file);
    EXPECT_EQ(OpenFiles(), files);
    EXPECT_EQ(inside, files);  // closed ahead of the run
    folder().Write("made.pyc", Content(file) + "and more");
    EXPECT_TRUE(interp().EvalFile(file));
    EXPECT_TRUE(TakeAlerts().empty());
  }
  for (const char* const failing : {"1 / 0", "raise SystemExit(2)"}) {
    EXPECT_FALSE(interp().EvalFile(Compile(failing)));
    EXPECT_EQ(TakeAlerts().size(), 1u);
    EXPECT_EQ(interp().LastError().line, 1);
  }
  EXPECT_EQ(TakeExits(), 1);
}

TEST_F(CompiledFile, IsRefusedWhenItIsCutShortOrForeign) {
  const zrString whole = Content(Compile("ran = 1"));
  ASSERT_GT(whole.size(), kHeader + 20);
  for (size_t length = 0; length < whole.size(); length += length <= kHeader ? 1 : 7) {
    SCOPED_TRACE(length);
    ExpectRefused(folder().Write("cut.pyc", whole.substr(0, length)),
                  length < 4 ? kForeign : kNoCode);
  }
  for (size_t byte = 0; byte < 4; ++byte) {
    zrString other = whole;
    other[byte] = static_cast<char>(other[byte] ^ 0x80);
    ExpectRefused(folder().Write("foreign.pyc", other), kForeign);
  }
  const zrString header = whole.substr(0, kHeader);
  const struct {
    zrString content;
    const char* reason;
  } cases[] = {
      {zrString(100, '\0'), kForeign},
      {zrString(100, '\xFF'), kForeign},
      {"ran = 1\n", kForeign},
      {header + "garbage", kNoCode},
      {header + zrString(1, '\0'), kNoCode},
      {header + "0", kNoCode},
      {header + zrString(100, '\xFF'), kNoCode},
      {header + header, kNoCode},
      {header + "N", kNoCode},
  };
  for (const auto& c : cases) ExpectRefused(folder().Write("bad.pyc", c.content), c.reason);
}

TEST_F(CompiledFile, IsRefusedWhenItHoldsSomethingElseThanCodeThatCanRun) {
  const zrString file = folder().path() + "/other.pyc";
  const char* const values[] = {
      "{'ran': 1}",
      "None",
      "b'ran = 1'",
      "'ran = 1'",
      "[compile('ran = 1', 'f', 'exec')]",
      "(lambda x: (lambda: x).__code__)(1)",
  };
  for (const char* const value : values) {
    SCOPED_TRACE(value);
    ASSERT_TRUE(Run("dump('" + file + "', " + value + ")"));
    ExpectRefused(file, kNoCode);
  }
  // A function's code is code; that it cannot run without its arguments is the runtime's to say.
  ASSERT_TRUE(Run("dump('" + file + "', (lambda x: x).__code__)"));
  EXPECT_FALSE(interp().EvalFile(file));
  EXPECT_THAT(TakeAlerts(), ElementsAre(HasSubstr("missing 1 required positional argument")));
  ASSERT_TRUE(Run("dump('" + file + "', compile('ran = 1', 'f', 'exec'))"));
  EXPECT_TRUE(interp().EvalFile(file));
}

// Programs of the standard library, as a user starts them.
TEST_F(CompiledFile, RealProgramsPrintWhatThePlainInterpreterPrints) {
  const zrString json = folder().Write("data.json", "{\"b\": [1, 2.5, null], \"a\": \"\\u00e9\"}");
  const struct {
    const char* module;
    zrString argument1;
    zrString argument2;
  } cases[] = {
      {"calendar", "2024", "2"},
      {"json.tool", json, folder().path() + "/out.json"},
      {"this", "", ""},
      {"tokenize", folder().Write("tokens.py", "def f(x): return x + 1\n"), "-e"},
      {"dis", folder().Write("codes.py", "x = len('a') + 1\n"), ""},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.module);
    interp().Import("python", ZR_TEST_PYTHON_EXECUTABLE);
    interp().Import("made", (folder().path() + "/program.pyc").c_str());
    ASSERT_TRUE(Run(zrString("module, arguments = '") + c.module + "', [a for a in ('" +
                    c.argument1 + "', '" + c.argument2 + "') if a]"));
    ASSERT_TRUE(
        Run("import subprocess\n"
            "file = importlib.util.find_spec(module).origin\n"
            "out = arguments[-1] if arguments and arguments[-1].endswith('out.json') else None\n"
            "def result(text):\n"
            "  if out:\n"
            "    with open(out) as f: text += f.read()\n"
            "    os.remove(out)\n"
            "  return text\n"
            "plain = result(subprocess.check_output([python, '-m', module] + arguments,\n"
            "                                       universal_newlines=True))\n"
            "compile_file(file, made)\n"
            "assert len(plain) > 20, plain\n"));
    for (const char* const name : {"file", "made"}) {
      const zrString path = Text(name);
      ASSERT_TRUE(
          Run("sys.modules.pop('this', None)\n"
              "sys.argv, sys.stdout = [file] + arguments, io.StringIO()"));
      EXPECT_TRUE(interp().EvalFile(path)) << interp().LastError().traceback;
      ASSERT_TRUE(Run("text, sys.stdout = result(sys.stdout.getvalue()), sys.__stdout__"));
      EXPECT_EQ(Text("text == plain"), "true") << Text("text") << Text("plain");
      ASSERT_TRUE(Run("globals().pop('open', None)"));  // tokenize has one of its own
    }
  }
}

}  // namespace
}  // namespace zrtest
