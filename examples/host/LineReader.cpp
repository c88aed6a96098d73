#include <examples/host/InterruptKey.h>
#include <examples/host/LineReader.h>
#include <examples/host/Terminal.h>
#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <clocale>
#include <cstdio>
#include <cstdlib>
#include <cwchar>
#include <iostream>

// After <cstdio>, which it needs.
#include <editline/readline.h>

namespace zrpyhost {

namespace {

// A byte of stdin; -1 at its end, and when the interrupt key was hit, whichever comes first. The
// key alone would not do: hit at the wrong moment, it would leave the read to come undisturbed.
int ReadByte() {
  struct pollfd inputs[] = {{InterruptKey::IdleDescriptor(), POLLIN, 0}, {STDIN_FILENO, POLLIN, 0}};
  for (;;) {
    if (poll(inputs, 2, -1) < 0 && errno == EINTR) continue;
    if ((inputs[0].revents & POLLIN) != 0) return -1;
    unsigned char byte = 0;
    const ssize_t got = read(STDIN_FILENO, &byte, 1);
    if (got < 0 && errno == EINTR) continue;
    return got == 1 ? byte : -1;
  }
}

constexpr char kControlD = 4;

// A character in the locale's form, as the editor wants it.
int ReadCharacter(std::FILE* /*stream*/) {
  std::mbstate_t state = {};
  for (;;) {
    const int byte = ReadByte();
    if (byte < 0) return -1;
    // What the terminal makes of a Ctrl-D that was typed before the editor had taken it over.
    if (byte == '\0') return kControlD;
    const char character = static_cast<char>(byte);
    wchar_t wide = 0;
    const std::size_t length = std::mbrtowc(&wide, &character, 1, &state);
    if (length == static_cast<std::size_t>(-1)) return '?';
    if (length != static_cast<std::size_t>(-2)) return static_cast<int>(wide);
  }
}

}  // namespace

LineReader::LineReader() : typed_(StdinIsTerminal() && StdoutIsTerminal()) {
  if (!typed_) return;
  std::setlocale(LC_CTYPE, "");
  rl_catch_signals = 0;  // the interrupt key is ours
  rl_getc_function = &ReadCharacter;
  rl_bind_key('\t', &rl_insert);  // indentation, not names of files
}

std::optional<std::string> LineReader::Read(const std::string& prompt, bool& interrupted) {
  interrupted = false;
  std::string line;
  if (!typed_) {
    if (!std::getline(std::cin, line)) return std::nullopt;
    return line;
  }
  char* const edited = readline(prompt.c_str());
  interrupted = InterruptKey::TakeIdle();
  if (edited && !interrupted) line = edited;
  const bool ended = !edited && !interrupted;
  std::free(edited);
  if (ended) return std::nullopt;
  if (!line.empty()) add_history(line.c_str());
  return line;
}

}  // namespace zrpyhost
