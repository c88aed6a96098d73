#include <dlfcn.h>
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

// The line-editing library by pointers: linked in, its names would come ahead of those of the
// library behind a script's own "import readline". Null where it is not there.
struct Editor {
  char* (*readline)(const char* prompt) = nullptr;
  int (*addHistory)(const char* line) = nullptr;
};

template <typename Pointer>
bool Find(void* library, const char* name, Pointer& pointer) {
  pointer = reinterpret_cast<Pointer>(dlsym(library, name));
  return pointer != nullptr;
}

Editor LoadEditor() {
  Editor editor;
  int* catchSignals = nullptr;
  int (**getCharacter)(std::FILE*) = nullptr;
  int (*insert)(int count, int key) = nullptr;
  int (*bindKey)(int key, int (*function)(int, int)) = nullptr;
  std::setlocale(LC_CTYPE, "");  // the editor's letters
  void* const library = dlopen(ZR_HOST_LIBEDIT, RTLD_NOW | RTLD_LOCAL);
  if (!library || !Find(library, "rl_catch_signals", catchSignals) ||
      !Find(library, "rl_getc_function", getCharacter) || !Find(library, "rl_insert", insert) ||
      !Find(library, "rl_bind_key", bindKey) || !Find(library, "readline", editor.readline) ||
      !Find(library, "add_history", editor.addHistory)) {
    return {};
  }
  *catchSignals = 0;  // the interrupt key is ours
  *getCharacter = &ReadCharacter;
  bindKey('\t', insert);  // indentation, not names of files
  return editor;
}

const Editor& TheEditor() {
  static const Editor editor = LoadEditor();
  return editor;
}

}  // namespace

LineReader::LineReader()
    : typed_(StdinIsTerminal() && StdoutIsTerminal() && TheEditor().readline != nullptr) {}

std::optional<std::string> LineReader::Read(const std::string& prompt, bool& interrupted) {
  interrupted = false;
  std::string line;
  if (!typed_) {
    if (!std::getline(std::cin, line)) return std::nullopt;
    return line;
  }
  char* const edited = TheEditor().readline(prompt.c_str());
  interrupted = InterruptKey::TakeIdle();
  if (edited && !interrupted) line = edited;
  const bool ended = !edited && !interrupted;
  std::free(edited);
  if (ended) return std::nullopt;
  if (!line.empty()) TheEditor().addHistory(line.c_str());
  return line;
}

}  // namespace zrpyhost
