#include <examples/host/Terminal.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <cstdlib>

namespace zrpyhost {

namespace {

bool IsDumb() {
  const char* const terminal = std::getenv("TERM");
  return !terminal || std::string(terminal) == "dumb";
}

bool WantsColour() {
  const char* const refused = std::getenv("NO_COLOR");
  return StderrIsTerminal() && !(refused && *refused) && !IsDumb();
}

}  // namespace

bool StdoutIsTerminal() { return isatty(STDOUT_FILENO) != 0; }
bool StderrIsTerminal() { return isatty(STDERR_FILENO) != 0; }
bool StdinIsTerminal() { return isatty(STDIN_FILENO) != 0; }

int TerminalRows() {
  struct winsize size = {};
  return !IsDumb() && ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 ? size.ws_row : 0;
}

std::string Paint(Colour colour, const std::string& text) {
  static const bool wanted = WantsColour();
  return wanted ? "\033[" + std::to_string(static_cast<int>(colour)) + "m" + text + "\033[0m"
                : text;
}

std::string Note() { return Paint(Colour::kBold, "zrpyhost: "); }

}  // namespace zrpyhost
