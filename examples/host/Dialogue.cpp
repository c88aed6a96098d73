#include <examples/host/Dialogue.h>
#include <examples/host/InterruptKey.h>
#include <examples/host/LineReader.h>
#include <examples/host/Names.h>
#include <examples/host/Session.h>
#include <examples/host/Terminal.h>

#include <iostream>
#include <optional>
#include <string>

namespace zrpyhost {

namespace {

constexpr char kHelp[] =
    ":context NAME      work in the context NAME; without a name, in __main__\n"
    ":set NAME=VALUE    bind a name to a value of the host\n"
    ":get EXPRESSION    print a value as the host sees it\n"
    ":names [CONTEXT]   list what is bound there, with the kinds\n"
    ":help              show this text\n"
    ":quit              end, as Ctrl-D does; Ctrl-C ends a script that runs\n"
    "Tab completes a name, but on Windows.\n";

// False for the command that ends the dialogue.
bool Command(Session& session, const std::string& line, bool& ok) {
  const std::size_t space = line.find(' ');
  const std::string name = line.substr(1, space == std::string::npos ? space : space - 1);
  std::string rest = space == std::string::npos ? "" : line.substr(space + 1);
  rest.erase(0, rest.find_first_not_of(' '));
  if (name == "quit") return false;
  if (name == "help") {
    std::cerr << kHelp;
  } else if (name == "context") {
    session.SetContext(rest);
  } else if (name == "names") {
    ok = ListNames(session, rest) && ok;
  } else if (name == "set" && rest.find('=') != std::string::npos && rest[0] != '=') {
    ok = session.Set(rest) && ok;
  } else if (name == "get" && !rest.empty()) {
    ok = session.Get(rest) && ok;
  } else {
    std::cerr << Note() << "not understood: " << line << " (:help lists the commands)\n";
    ok = false;
  }
  return true;
}

}  // namespace

bool RunDialogue(Session& session) {
  LineReader reader([&session](const std::string& word) { return Complete(session, word); });
  if (reader.typed()) {
    std::cerr << Note() << "Python " ZR_HOST_PYTHON_VERSION
              << ". Ctrl-D ends, :help lists the commands of the host.\n";
  }
  bool ok = true;
  std::string statement;
  InterruptKey::TakeIdle();
  for (;;) {
    bool interrupted = false;
    const std::optional<std::string> line =
        reader.Read(statement.empty() ? session.context() + ">>> " : "... ", interrupted);
    if (interrupted) {
      statement.clear();
      std::cout << std::endl;
      continue;
    }
    if (!line) break;
    if (statement.empty() && line->find_first_not_of(" \t") == std::string::npos) continue;
    if (statement.empty() && line->front() == ':') {
      if (!Command(session, *line, ok)) return ok || reader.typed();
      continue;
    }
    statement += (statement.empty() ? "" : "\n") + *line;
    const Session::Text text = session.Read(statement);
    if (text.kind == Session::Text::Kind::kUnfinished) continue;
    ok = session.Report("the text", session.Evaluate(text)) && ok;
    statement.clear();
  }
  if (!statement.empty()) {
    ok = session.Report("the text", session.Evaluate(session.Read(statement))) && ok;
  }
  if (reader.typed()) std::cout << "\n";
  return ok || reader.typed();
}

}  // namespace zrpyhost
