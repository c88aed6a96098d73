// A console for scripts: what is typed runs on a thread of its own and Ctrl-C stops it, what it
// writes is shown as it comes. Usage: console INSTALLATION_ROOT, then lines on standard input:
//
//   TEXT          an expression, whose value is shown, or a statement
//   TEXT, a tab   what could stand there ("os.pa" and a tab: os.pardir, os.path(, ...)
//   ?             the variables
#include <zrpythoninterp/talk/zrPythonLimit.h>
#include <zrpythoninterp/talk/zrPythonTalk.h>

#include <chrono>
#include <csignal>
#include <future>
#include <iostream>
#include <memory>
#include <string>

namespace {

using std::string;

// The console's own tools are in a context of their own, so that the user's names stay alone.
constexpr char kTools[] = "console";
constexpr char kToolsText[] = R"(
import sys
sys.modules.setdefault('readline', None)  # the next line would set up its keys
import __main__, rlcompleter

def complete(text):
    completer = rlcompleter.Completer(__main__.__dict__)
    found = []
    while completer.complete(text, len(found)) is not None:
        found = completer.matches[:len(found) + 1]
    return found
)";

volatile std::sig_atomic_t interrupted = 0;
void OnInterrupt(int /*signal*/) { interrupted = 1; }

class Console {
 public:
  explicit Console(zrInterpPython& python) : python_(python), talk_(python) {
    talk_.SetTextForm(zrPythonTalk::TextForm::kUtf8);
    talk_.SetOutput([](const zrString& stream, const zrString& text) {
      (stream == "stderr" ? std::cerr : std::cout) << text << std::flush;
    });
    talk_.Run(kToolsText, kTools);
    std::signal(SIGINT, &OnInterrupt);
  }

  void Serve() {
    for (string line; std::cout << "> " << std::flush, std::getline(std::cin, line);) {
      if (line == "?") {
        for (const zrPythonName& name : talk_.Names()) {
          std::cout << name.name << ": " << name.kind << "\n";
        }
      } else if (!line.empty() && line.back() == '\t') {
        Complete(line.substr(0, line.size() - 1));
      } else {
        Evaluate(line);
      }
    }
    std::cout << "\n";
  }

 private:
  // The key's handler may do next to nothing, so this thread looks whether it was hit, and presses
  // the button, while another one evaluates.
  void Evaluate(const string& text) {
    zrPythonStop button;
    interrupted = 0;
    const auto done = std::async(std::launch::async, [&] {
      const zrPythonLimit limit(button);
      bool ok = false;
      const zrVariant value = python_.EvalScript2(text, ok);
      if (zrKindOf(value) != zrValueKind::kNothing) std::cout << value.GetString() << "\n";
    });
    while (done.wait_for(std::chrono::milliseconds(20)) == std::future_status::timeout) {
      if (interrupted != 0) button.Press();
    }
  }

  void Complete(const string& text) {
    size_t word = text.size();
    while (word > 0 && IsInWord(text[word - 1])) --word;
    talk_.Import("text", text.substr(word), kTools);
    for (const zrString& found : python_.Export("complete(text)", kTools).GetStringList()) {
      std::cout << found << "\n";
    }
  }

  static bool IsInWord(char c) {
    return c == '_' || c == '.' || (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') ||
           (c >= 'a' && c <= 'z') || static_cast<unsigned char>(c) >= 0x80;
  }

  zrInterpPython& python_;
  zrPythonTalk talk_;
};

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) return std::cerr << "usage: console INSTALLATION_ROOT\n", 2;
  zrPythonInterpCreator creator(0, nullptr, argv[1], nullptr, "");
  const std::unique_ptr<zrInterpPython> python = zrCreatePython(creator);
  if (!python->Init())
    return std::cerr << "console: no Python runtime under " << argv[1] << "\n", 1;
  Console(*python).Serve();
}
