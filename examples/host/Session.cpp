#include <examples/host/InterruptKey.h>
#include <examples/host/Session.h>
#include <examples/host/Terminal.h>
#include <examples/host/Values.h>
#include <zrpythoninterp/core/zrPythonInterpCreator.h>

#include <iostream>
#include <stdexcept>

namespace zrpyhost {

namespace {

// The host's own tools among the scripts live in a context that no script is asked to share.
constexpr char kTools[] = "zrpyhost";
constexpr char kToolsText[] = R"(
import codeop, os, signal, sys, warnings
from importlib.machinery import SourceFileLoader, SourcelessFileLoader

signal.signal(signal.SIGINT, signal.default_int_handler)  # for scripts that ask what is set
folder = None

def enter(arguments):
    global folder
    if folder is not None and sys.path[:1] == [folder]:
        del sys.path[0]
    sys.argv[:] = arguments
    isfile = os.path.isfile(arguments[0])
    folder = os.path.dirname(os.path.abspath(arguments[0])) if isfile else ''
    sys.path.insert(0, folder)
    if isfile:  # where inspect and linecache look for the text of __main__
        loader = SourcelessFileLoader if arguments[0].endswith('c') else SourceFileLoader
        sys.modules['__main__'].__loader__ = loader('__main__', arguments[0])

def flush():
    for stream in (sys.stderr, sys.stdout):
        try:
            stream.flush()
        except OSError as error:
            if stream is sys.stdout:
                return 'stdout: ' + str(error)
        except Exception:  # closed, or replaced by a script
            pass
    return ''

def kind(text):
    with warnings.catch_warnings():
        warnings.simplefilter('ignore')
        try:
            if codeop.compile_command(text, '<string>', 'single') is None:
                return 'unfinished'
            compile(text, '<string>', 'eval')
            return 'expression'
        except Exception:  # the run itself will tell
            return 'statements'
)";

// Never bound, so a text is only run: the form with a context gives a value or nothing.
constexpr char kNoName[] = " ";

// "ValueError: no such colour (paint.py, line 3)": the user's own line, where there is one.
std::string Describe(const zrErrorReport& error) {
  const zrErrorPlace& place = error.own.line > 0 ? error.own : error.innermost;
  std::string text = error.kind;
  if (!error.message.empty()) text += ": " + error.message;
  if (place.line > 0) text += " (" + place.file + ", line " + std::to_string(place.line) + ")";
  return text;
}

zrInterpPython* current = nullptr;

bool ShowAlert(const zrString& text) {
  if (!current->LastError().isExit) {
    std::cerr << Paint(Colour::kRed, "alert: ") << text << "\n";
  }
  return true;
}

}  // namespace

Session::Session(const std::string& root, const std::string& user) {
  zrPythonInterpCreator creator(zrStlVector<zrString>{"zrpyhost"}, root, nullptr, user);
  interp_.reset(static_cast<zrInterpPython*>(creator.Create()));
  current = interp_.get();
  interp_->SetAlert(&ShowAlert);
}

Session::~Session() {
  interp_.reset();  // scripts' code that runs during the stop may still fail
  current = nullptr;
}

void Session::Start() {
  bool ok = false;
  if (interp_->Init()) interp_->EvalScript(kToolsText, "kind", ok, kTools);
  if (!ok)
    throw std::runtime_error("the runtime does not start: no Python " ZR_HOST_PYTHON_VERSION
                             " where the installation root has its runtime");
}

void Session::SetArguments(const std::vector<std::string>& arguments) {
  zrVariant value;
  value.SetStringList(arguments);
  if (interp_->Import("arguments", value, kTools)) interp_->Export("enter(arguments)", kTools);
}

Session::Text Session::Read(const std::string& text) {
  zrString kind;
  if (interp_->Import("text", zrVariant(text.c_str()), kTools)) {
    kind = interp_->Export("kind(text)", kTools).GetString();
  }
  return {text, kind == "unfinished"   ? Text::Kind::kUnfinished
                : kind == "expression" ? Text::Kind::kExpression
                                       : Text::Kind::kStatements};
}

Session::Outcome Session::RunFile(const std::string& file) {
  const InterruptKey::Running running;
  if (context_.empty()) {
    interp_->EvalFile(file);
  } else {
    interp_->EvalFile(file, context_);
  }
  return {zrLastErrorReport(*interp_), {}};
}

Session::Outcome Session::Evaluate(const Text& text) {
  const InterruptKey::Running running;
  zrVariant value;
  bool ok = false;
  if (text.kind == Text::Kind::kExpression) {
    value = interp_->EvalScript(text.text, "", ok, context_);
  } else if (context_.empty()) {
    interp_->EvalScript(text.text, "");
  } else {
    interp_->EvalScript(text.text, kNoName, ok, context_);
  }
  return {zrLastErrorReport(*interp_), value};
}

bool Session::Report(const std::string& what, const Outcome& outcome) {
  const bool flushed = Flush();
  const zrErrorReport* const error = outcome.error.get();
  if (error && error->isExit) {
    const bool hasText = error->exitStatus == 1 && error->message != "1";
    std::cerr << Note() << what << " asked to exit with status " << error->exitStatus
              << (hasText ? ": " + error->message : "") << "\n";
  } else if (error) {
    std::cerr << Note() << what << " failed: " << Describe(*error) << "\n";
  } else if (HasValue(outcome.value)) {
    std::cout << outcome.value.GetString() << std::endl;
  }
  return outcome.ok() && flushed;
}

bool Session::Set(const std::string& assignment) {
  const std::size_t equals = assignment.find('=');
  const std::string name = assignment.substr(0, equals);
  const zrVariant value = ParseValue(assignment.substr(equals + 1));
  return context_.empty() ? interp_->Import(name, value) : interp_->Import(name, value, context_);
}

bool Session::Get(const std::string& expression) {
  Outcome outcome;
  {
    const InterruptKey::Running running;
    outcome.value = interp_->Export(expression, context_);
    outcome.error = zrLastErrorReport(*interp_);
  }
  if (!outcome.ok()) return Report(expression, outcome);
  const bool flushed = Flush();
  std::cout << expression << " = "
            << (HasValue(outcome.value) ? outcome.value.GetString() : "(no value)") << std::endl;
  return flushed;
}

// What a script printed comes ahead of what the host prints next.
bool Session::Flush() {
  const zrString lost = interp_->Export("flush()", kTools).GetString();
  if (!lost.empty()) std::cerr << Note() << lost << "\n";
  return lost.empty();
}

}  // namespace zrpyhost
