// zrpyhost: a small host on the command line, on the library's public interface only.
#include <examples/host/Batch.h>
#include <examples/host/Dialogue.h>
#include <examples/host/Installation.h>
#include <examples/host/InterruptKey.h>
#include <examples/host/Options.h>
#include <examples/host/Session.h>
#include <examples/host/Terminal.h>
#include <examples/trace/TraceSession.h>

#include <exception>
#include <iostream>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace zrpyhost {

namespace {

// What sys.argv holds: the script's name, or what stands for it, and its arguments.
std::vector<std::string> ScriptArguments(const Options& options) {
  std::vector<std::string> arguments = options.arguments;
  arguments.insert(arguments.begin(), options.text              ? "-e"
                                      : options.scripts.empty() ? ""
                                                                : options.scripts.front());
  return arguments;
}

bool RunScripts(Session& session, const Options& options) {
  const Session::Text text = session.Read(options.text.value_or(""));
  std::optional<TraceSession> watch;
  if (options.trace.any()) watch.emplace(session.interp(), options.trace);
  if (options.batch) {
    const bool ok = RunBatch(session, options.scripts);
    if (watch) watch->Finish();
    return ok;
  }
  if (!options.text && options.scripts.empty()) return true;
  const Session::Outcome outcome =
      options.text ? session.Evaluate(text) : session.RunFile(options.scripts.front());
  if (watch) watch->Finish();
  return session.Report(options.text ? "the text" : options.scripts.front(), outcome);
}

bool RunAll(Session& session, const Options& options) {
  session.Start();
  const InterruptKey key(session.interp());
  session.SetContext(options.context);
  session.SetArguments(ScriptArguments(options));
  bool ok = true;
  for (const std::string& assignment : options.assignments) ok = session.Set(assignment) && ok;
  if (!ok) return false;
  ok = RunScripts(session, options);
  if (ok) {
    for (const std::string& expression : options.expressions) ok = session.Get(expression) && ok;
  }
  if (options.interactive) ok = RunDialogue(session) && ok;
  return ok;
}

}  // namespace

}  // namespace zrpyhost

int main(int argc, char** argv) {
  zrpyhost::KeepStandardStreams();
  const zrpyhost::Console console(argc, argv);
  try {
    zrpyhost::Options options;
    if (const std::optional<int> status = zrpyhost::ParseOptions(argc, argv, options)) {
      return *status;
    }
    const zrpyhost::Installation installation(options.home);
    zrpyhost::Session session(installation.root(), options.user);
    const bool ok = zrpyhost::RunAll(session, options);
    if (!std::cout.flush()) throw std::runtime_error("stdout cannot be written to");
    return ok ? 0 : 1;
  } catch (const std::exception& error) {
    std::cerr << zrpyhost::Note() << error.what() << "\n";
    return 1;
  }
}
