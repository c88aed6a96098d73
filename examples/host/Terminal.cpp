#include <examples/host/Terminal.h>
#include <unistd.h>

#include <cstdlib>

namespace zrpyhost {

namespace {

bool WantsColour() {
  const char* const refused = std::getenv("NO_COLOR");
  const char* const terminal = std::getenv("TERM");
  return StderrIsTerminal() && !(refused && *refused) && terminal &&
         std::string(terminal) != "dumb";
}

}  // namespace

bool StdoutIsTerminal() { return isatty(STDOUT_FILENO) != 0; }
bool StderrIsTerminal() { return isatty(STDERR_FILENO) != 0; }
bool StdinIsTerminal() { return isatty(STDIN_FILENO) != 0; }

std::string Paint(Colour colour, const std::string& text) {
  static const bool wanted = WantsColour();
  return wanted ? "\033[" + std::to_string(static_cast<int>(colour)) + "m" + text + "\033[0m"
                : text;
}

std::string Note() { return Paint(Colour::kBold, "zrpyhost: "); }

}  // namespace zrpyhost
