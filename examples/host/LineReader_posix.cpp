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
#include <cstring>
#include <cwchar>
#include <iostream>
#include <utility>

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
constexpr char kTakeNextAsIs = 22;  // Ctrl-V, to the editor

// What was typed of the line so far.
struct Keys {
  bool isBlank = true;
  bool quotesTab = false;
} keys;

// A character in the locale's form, as the editor wants it. A Tab ahead of all others is a letter.
int ReadCharacter(std::FILE* /*stream*/) {
  std::mbstate_t state = {};
  if (std::exchange(keys.quotesTab, false)) return '\t';
  for (;;) {
    const int byte = ReadByte();
    if (byte < 0) return -1;
    // What the terminal makes of a Ctrl-D that was typed before the editor had taken it over.
    if (byte == '\0') return kControlD;
    if (byte == '\t' && keys.isBlank) {
      keys.quotesTab = true;
      return kTakeNextAsIs;
    }
    keys.isBlank = keys.isBlank && byte == ' ';
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
  int* noFileNames = nullptr;
};

template <typename Pointer>
bool Find(void* library, const char* name, Pointer& pointer) {
  pointer = reinterpret_cast<Pointer>(dlsym(library, name));
  return pointer != nullptr;
}

const Editor& TheEditor();

LineReader::Completions& Given() {
  static LineReader::Completions given;
  return given;
}

char* Copy(const std::string& text) { return ::strdup(text.c_str()); }

std::string CommonStart(const std::vector<std::string>& texts) {
  std::string start = texts.front();
  for (const std::string& text : texts) {
    std::size_t same = 0;
    while (same < start.size() && same < text.size() && start[same] == text[same]) ++same;
    start.resize(same);
  }
  return start;
}

// The editor's form of them: what they begin with, all of them, null; it frees them. Null for none.
char** Complete(const char* word, int /*start*/, int /*end*/) {
  *TheEditor().noFileNames = 1;
  const std::vector<std::string> texts = *word == '\0' ? std::vector<std::string>() : Given()(word);
  if (texts.empty()) return nullptr;
  auto** const matches = static_cast<char**>(std::calloc(texts.size() + 2, sizeof(char*)));
  if (!matches) return nullptr;
  matches[0] = Copy(CommonStart(texts));
  for (std::size_t i = 0; texts.size() > 1 && i < texts.size(); ++i)
    matches[i + 1] = Copy(texts[i]);
  return matches;
}

Editor LoadEditor() {
  Editor editor;
  int* catchSignals = nullptr;
  int (**getCharacter)(std::FILE*) = nullptr;
  char** (**complete)(const char* word, int start, int end) = nullptr;
  const char** wordEnds = nullptr;
  int* behindMatch = nullptr;
  std::setlocale(LC_CTYPE, "");  // the editor's letters
  void* const library = dlopen(ZR_HOST_LIBEDIT, RTLD_NOW | RTLD_LOCAL);
  if (!library || !Find(library, "rl_catch_signals", catchSignals) ||
      !Find(library, "rl_getc_function", getCharacter) ||
      !Find(library, "rl_attempted_completion_function", complete) ||
      !Find(library, "rl_attempted_completion_over", editor.noFileNames) ||
      !Find(library, "rl_basic_word_break_characters", wordEnds) ||
      !Find(library, "rl_completion_append_character", behindMatch) ||
      !Find(library, "readline", editor.readline) ||
      !Find(library, "add_history", editor.addHistory)) {
    return {};
  }
  *catchSignals = 0;  // the interrupt key is ours
  *getCharacter = &ReadCharacter;
  *complete = &Complete;
  *wordEnds = " \t\n`~!@#$%^&*()-=+[{]}\\|;:'\",<>/?";
  *behindMatch = '\0';
  return editor;
}

const Editor& TheEditor() {
  static const Editor editor = LoadEditor();
  return editor;
}

}  // namespace

LineReader::LineReader(Completions completions)
    : typed_(StdinIsTerminal() && StdoutIsTerminal() && TheEditor().readline != nullptr) {
  Given() = std::move(completions);
}

LineReader::~LineReader() { Given() = nullptr; }

std::optional<std::string> LineReader::Read(const std::string& prompt, bool& interrupted) {
  interrupted = false;
  std::string line;
  if (!typed_) {
    if (!std::getline(std::cin, line)) return std::nullopt;
    return line;
  }
  keys = Keys();
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
