// Windows: what the console is.
#include <windows.h>
// windows.h comes first.
#include <examples/host/Terminal.h>
#include <shellapi.h>

#include <cstdlib>

namespace zrpyhost {

namespace {

bool IsConsole(DWORD which, DWORD* mode = nullptr) {
  DWORD ignored = 0;
  return GetConsoleMode(GetStdHandle(which), mode ? mode : &ignored) != 0;
}

// The runtime's C library need not be ours, and has an environment of its own.
void SetForPython(const char* variable) {
  _putenv(variable);
  const HMODULE library = GetModuleHandleW(L"ucrtbase.dll");
  const FARPROC set = library ? GetProcAddress(library, "_putenv") : nullptr;
  if (set) reinterpret_cast<int (*)(const char*)>(reinterpret_cast<void*>(set))(variable);
}

}  // namespace

std::string ToUtf8(const wchar_t* wide) {
  const int size = WideCharToMultiByte(CP_UTF8, 0, wide, -1, nullptr, 0, nullptr, nullptr);
  std::string text(static_cast<std::size_t>(size), '\0');
  WideCharToMultiByte(CP_UTF8, 0, wide, -1, text.data(), size, nullptr, nullptr);
  text.resize(text.size() - 1);
  return text;
}

void KeepStandardStreams() {}  // a number is given to nothing else there

// Python's streams follow from 3.7 on; before, they have to be told.
Console::Console(int& argc, char**& argv)
    : outputBefore_(GetConsoleOutputCP()), inputBefore_(GetConsoleCP()) {
  SetConsoleOutputCP(CP_UTF8);
  SetConsoleCP(CP_UTF8);
  if (std::getenv("PYTHONIOENCODING") == nullptr) SetForPython("PYTHONIOENCODING=utf-8");
  DWORD mode = 0;
  if (IsConsole(STD_ERROR_HANDLE, &mode)) {
    SetConsoleMode(GetStdHandle(STD_ERROR_HANDLE), mode | ENABLE_VIRTUAL_TERMINAL_PROCESSING);
  }
  int count = 0;
  wchar_t** const wide = CommandLineToArgvW(GetCommandLineW(), &count);
  if (!wide) return;
  for (int i = 0; i < count; ++i) arguments_.push_back(ToUtf8(wide[i]));
  LocalFree(wide);
  for (std::string& argument : arguments_) pointers_.push_back(argument.data());
  pointers_.push_back(nullptr);
  argc = count;
  argv = pointers_.data();
}

Console::~Console() {
  SetConsoleOutputCP(outputBefore_);
  SetConsoleCP(inputBefore_);
}

bool TerminalKnowsColour() {
  DWORD mode = 0;
  return IsConsole(STD_ERROR_HANDLE, &mode) && (mode & ENABLE_VIRTUAL_TERMINAL_PROCESSING) != 0;
}

bool StdoutIsTerminal() { return IsConsole(STD_OUTPUT_HANDLE); }
bool StderrIsTerminal() { return IsConsole(STD_ERROR_HANDLE); }
bool StdinIsTerminal() { return IsConsole(STD_INPUT_HANDLE); }

int TerminalRows() {
  CONSOLE_SCREEN_BUFFER_INFO info = {};
  const bool known = GetConsoleScreenBufferInfo(GetStdHandle(STD_ERROR_HANDLE), &info) != 0;
  return known ? info.srWindow.Bottom - info.srWindow.Top + 1 : 0;
}

}  // namespace zrpyhost
