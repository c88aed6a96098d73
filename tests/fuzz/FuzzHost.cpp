#include <zrpythoninterp/core/GilGuard.h>
// GilGuard.h brings Python.h, which comes first.
#include <tests/fuzz/FuzzHost.h>
#include <tests/support/InstallationRoot.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <thread>

namespace zrfuzz {

namespace {

constexpr auto kPatience = std::chrono::milliseconds(500);

class Interpreter : public zrInterpPython {
 public:
  explicit Interpreter(const zrString& home) : zrInterpPython(0, nullptr, home, nullptr, "") {}
};

struct Host {
  zrtest::InstallationRoot root;
  Interpreter interp{root.path()};
  std::atomic<unsigned> inputs{0};

  Host() {
    interp.SetAlert([](const zrString& text) {
      Expect(std::all_of(text.begin(), text.end(), [](char c) { return (c & 0x80) == 0; }),
             "an alert that is not ASCII");
      return true;
    });
    const bool ready = interp.EvalScript(
        "import builtins, sys\n"
        "sys.stderr = sys.stdout = None\n"
        "for name in ('open', 'input', 'breakpoint', 'help', 'exec', 'eval', 'compile'):\n"
        "  builtins.__dict__.pop(name, None)\n",
        "");
    Expect(ready, "the start of the runtime");
    std::thread([this] {
      for (unsigned before = 0;; before = inputs) {
        std::this_thread::sleep_for(kPatience);
        if (inputs == before) interp.InterruptScript();
      }
    }).detach();
  }
};

Host& TheHost() {
  static Host& host = *new Host;  // never destroyed: the process ends with its threads
  return host;
}

}  // namespace

std::uint8_t Input::Byte() {
  if (left_ == 0) return 0;
  --left_;
  return *data_++;
}

std::uint64_t Input::Word() {
  std::uint64_t word = 0;
  for (int i = 0; i < 8; ++i) word = word << 8 | Byte();
  return word;
}

zrString Input::Text() {
  zrString text(reinterpret_cast<const char*>(data_), 0);
  for (std::size_t size = Byte(); size != 0 && left_ != 0; --size) {
    text += static_cast<char>(Byte());
  }
  return text;
}

zrString Input::Rest() {
  zrString text(reinterpret_cast<const char*>(data_), left_);
  left_ = 0;
  return text;
}

zrInterpPython& Interp() { return TheHost().interp; }

const zrString& Folder() { return TheHost().root.folder().path(); }

bool IsQuick(const zrString& script) {
  for (const char* slow : {"**", "<<", "while", "import"}) {
    if (script.find(slow) != zrString::npos) return false;
  }
  if (std::count(script.begin(), script.end(), '*') > 1) return false;
  int digits = 0;
  for (const char c : script) {
    digits = (c >= '0' && c <= '9') || c == '_' ? digits + 1 : 0;
    if (digits > 4) return false;
  }
  return true;
}

void ForgetNames() {
  const zrpy::GilGuard gil;
  PyDict_Clear(PyModule_GetDict(PyImport_AddModule("__main__")));
}

void ExpectHostLives() {
  Host& host = TheHost();
  ++host.inputs;
  Expect(PyGILState_Check() == 0, "the lock is held");
  {
    const zrpy::GilGuard gil;
    Expect(PyErr_Occurred() == nullptr, "an error is pending");
  }
  bool ok = false;
  const zrVariant value = host.interp.EvalScript("6 * 7", zrString(), ok);
  Expect(ok && value.GetLong64() == 42, "an evaluation fails");
}

void Expect(bool condition, const char* what) {
  if (condition) return;
  std::fprintf(stderr, "fuzz: %s\n", what);
  std::abort();
}

}  // namespace zrfuzz
