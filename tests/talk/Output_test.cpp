#include <tests/talk/TalkTest.h>

#include <future>
#include <map>
#include <stdexcept>

namespace {

using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::StartsWith;

class TalkOutput : public zrtest::TalkTest {
 protected:
  TalkOutput() {
    talk.SetOutput([this](const zrString& stream, const zrString& text) {
      all += text;
      last = stream;
    });
  }

  // What the statements write.
  zrString Written(const zrString& statements) {
    all.clear();
    Run(statements);
    return all;
  }

  zrString all, last;
};

TEST_F(TalkOutput, GetsAllThatScriptsWriteInOrder) {
  EXPECT_EQ(Written("import sys\nprint('a', 1)\nprint('b', file=sys.stderr)\nprint('c', end='')"),
            "a 1\nb\nc");
  EXPECT_EQ(last, "stdout");
  EXPECT_EQ(Written("print('caf\xc3\xa9', '\xf0\x9f\x99\x82', '\\ud800')"),
            "caf\xc3\xa9 \xf0\x9f\x99\x82 \\ud800\n");
  EXPECT_THAT(Written("def f():\n  1 / 0\nf()"),
              ::testing::AllOf(StartsWith("Traceback (most recent call last):\n"),
                               HasSubstr("line 2, in f\n"),
                               EndsWith("ZeroDivisionError: division by zero\n")));
  EXPECT_EQ(last, "stderr");
  EXPECT_THAT(Written("import warnings; warnings.warn('old')"), HasSubstr("UserWarning: old"));
}

TEST_F(TalkOutput, BehavesLikeAStream) {
  const struct {
    const char* statements;
    const char* written;
  } cases[] = {
      {"import sys; n = sys.stdout.write('abc'); print(n, flush=True)", "abc3\n"},
      {"sys.stdout.writelines(['a', 'b']); sys.stdout.flush()", "ab"},
      {"b = sys.stdout.buffer; n = b.write(b'x\\xc3'); b.write(b'\\xa9\\xff'); print(n)",
       "x\xc3\xa9\\xff2\n"},
      {"b.write(b'\\xf0\\x9f'); print('!'); b.write(bytearray(b'.')); b.flush()", "\\xf0\\x9f!\n."},
      {"print(sys.stdout.isatty(), sys.stdout.encoding, sys.stdout.writable(), sys.stdout.name)",
       "False utf-8 True <stdout>\n"},
      {"import io\ntry: sys.stdout.fileno()\nexcept io.UnsupportedOperation: print('no file')",
       "no file\n"},
      {"try: sys.stdout.write(b'')\nexcept TypeError as e: print(e)",
       "write() argument must be str, not bytes\n"},
      {"import contextlib\nwith contextlib.redirect_stdout(io.StringIO()) as kept: print('in')\n"
       "print(len(kept.getvalue()))",
       "3\n"},
      {"import logging\nlogging.basicConfig(format='%(message)s')\nlogging.warning('note')",
       "note\n"},
      {"sys.stdin = io.StringIO('answer\\n')\nprint(input('Name? '))", "Name? answer\n"},
      {"sys.stdout.reconfigure(errors='strict')\nsys.stdout.close()\nprint('open')", "open\n"},
      {"import threading\nt = threading.Thread(target=print, args=['thread'])\nt.start(); t.join()",
       "thread\n"},
      {"print(isinstance(sys.stdout, io.TextIOBase), sys.stdout is sys.__stdout__)",
       "True False\n"},
  };
  for (const auto& c : cases) EXPECT_EQ(Written(c.statements), c.written) << c.statements;
}

TEST_F(TalkOutput, ComesInEveryLifeUntilItIsTakenBack) {
  EXPECT_EQ(Written("import atexit; atexit.register(print, 'end')"), "");
  interp().Close();
  EXPECT_EQ(all, "end\n");
  EXPECT_EQ(Written("import sys, io; old = sys.stdout; print('again')"), "again\n");
  talk.SetOutput(nullptr);
  EXPECT_EQ(Text("sys.stdout is sys.__stdout__ and sys.stderr is sys.__stderr__"), "true");
  // Who kept our stream writes to the runtime's own.
  EXPECT_EQ(Written("sys.__stdout__ = io.StringIO(); old.write('kept')"), "");
  EXPECT_EQ(Text("sys.__stdout__.getvalue()"), "kept");
  EXPECT_EQ(Written("sys.__stdout__ = None; old.write('nowhere')"), "");
  // A script's own stream stays when ours is taken back.
  zrString other;
  talk.SetOutput([&](const zrString&, const zrString& text) { other += text; });
  Run("print('b'); old.write('c'); sys.stdout = io.StringIO()");
  talk.SetOutput(nullptr);
  EXPECT_EQ(other, "b\nc");
  EXPECT_EQ(Text("type(sys.stdout).__name__"), "StringIO");
  EXPECT_TRUE(zrtest::TakeAlerts().empty());
}

TEST_F(TalkOutput, DoesNoHarmWhateverItsFunctionDoes) {
  Run("import sys, io; sys.__stdout__ = own = io.StringIO()");
  // It evaluates: what that writes does not come back to it.
  talk.SetOutput([this](const zrString&, const zrString& text) {
    all += text;
    EXPECT_TRUE(Run("print('from inside')"));
  });
  EXPECT_EQ(Written("sys.stdout.write('x')"), "x");
  EXPECT_EQ(Text("own.getvalue()"), "from inside\n");
  // It throws: an error of the write's.
  talk.SetOutput([](const zrString&, const zrString& text) {
    if (text == "x") throw std::runtime_error("full");
  });
  EXPECT_FALSE(Run("sys.stdout.write('x')"));
  EXPECT_EQ(interp().LastError().kind, "zrhost.Error");
  EXPECT_EQ(interp().LastError().message, "full");
  // It takes itself away, with what it holds.
  const auto held = std::make_shared<int>(7);
  talk.SetOutput([this, held](const zrString&, const zrString&) {
    talk.SetOutput(nullptr);
    EXPECT_EQ(held.use_count(), 2);
  });
  Run("print('x', 'y')");  // which goes on with the stream behind it
  EXPECT_EQ(held.use_count(), 1);
}

// Other threads go on while it blocks, and what they write comes behind, in order.
TEST_F(TalkOutput, MayBlock) {
  const zrtest::Watchdog watchdog;
  Run("import sys");
  std::promise<void> entered, go;
  std::thread::id handing;
  talk.SetOutput([&](const zrString&, const zrString& text) {
    if (all.empty()) {
      handing = std::this_thread::get_id();
      entered.set_value();
      go.get_future().wait();
    }
    EXPECT_EQ(std::this_thread::get_id(), handing);
    all += text;
  });
  std::thread script([this] { Run("sys.stdout.write('first ')"); });
  entered.get_future().wait();
  EXPECT_TRUE(Run("sys.stdout.write('second '); sys.stderr.write('third')"));
  EXPECT_EQ(all, "");
  std::thread taken([this] { talk.SetOutput(nullptr); });  // waits for the call, not for the rest
  while (Text("sys.stdout is sys.__stdout__") == "true") std::this_thread::yield();
  go.set_value();
  script.join();
  taken.join();
  EXPECT_EQ(all.substr(0, 6), "first ");
}

TEST_F(TalkOutput, KeepsTheOrderOfEachThread) {
  std::map<char, int> counts;
  talk.SetOutput([&](const zrString&, const zrString& text) {  // one call at a time
    for (const char c : text) ++counts[c];
  });
  EXPECT_TRUE(
      Run("import threading\ndef work(c):\n  for i in range(500): print(c)\n"
          "all = [threading.Thread(target=work, args=[c]) for c in 'abcd']\n"
          "for t in all: t.start()\nfor t in all: t.join()"));
  EXPECT_EQ(counts,
            (std::map<char, int>{{'\n', 2000}, {'a', 500}, {'b', 500}, {'c', 500}, {'d', 500}}));
}

}  // namespace
