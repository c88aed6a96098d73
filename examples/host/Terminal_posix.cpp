// POSIX: what the terminal is.
#include <examples/host/Terminal.h>
#include <fcntl.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <cstdlib>

namespace zrpyhost {

void KeepStandardStreams() {
  for (int stream = STDIN_FILENO; stream <= STDERR_FILENO; ++stream) {
    // The lowest number that is free, which is this one.
    if (fcntl(stream, F_GETFD) == -1 && open("/dev/null", O_RDONLY) == -1) return;
  }
}

Console::Console(int& /*argc*/, char**& /*argv*/) {}
Console::~Console() = default;

bool TerminalKnowsColour() {
  const char* const terminal = std::getenv("TERM");
  return terminal && std::string(terminal) != "dumb";
}

bool StdoutIsTerminal() { return isatty(STDOUT_FILENO) != 0; }
bool StderrIsTerminal() { return isatty(STDERR_FILENO) != 0; }
bool StdinIsTerminal() { return isatty(STDIN_FILENO) != 0; }

int TerminalRows() {
  struct winsize size = {};
  const bool known = TerminalKnowsColour() && ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0;
  return known ? size.ws_row : 0;
}

}  // namespace zrpyhost
