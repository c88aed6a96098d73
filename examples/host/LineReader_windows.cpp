// Windows: the console itself edits a line and keeps a history.
#include <windows.h>
// windows.h comes first.
#include <examples/host/InterruptKey.h>
#include <examples/host/LineReader.h>
#include <examples/host/Terminal.h>

#include <iostream>

namespace zrpyhost {

LineReader::LineReader(Completions /*completions*/)
    : typed_(StdinIsTerminal() && StdoutIsTerminal()) {}
LineReader::~LineReader() = default;

std::optional<std::string> LineReader::Read(const std::string& prompt, bool& interrupted) {
  interrupted = false;
  std::string line;
  if (!typed_) {
    if (!std::getline(std::cin, line)) return std::nullopt;
    if (!line.empty() && line.back() == '\r') line.pop_back();
    return line;
  }
  std::cout << prompt << std::flush;
  std::wstring wide;
  while (wide.empty() || wide.back() != L'\n') {
    wchar_t part[512];
    DWORD got = 0;
    const BOOL read = ReadConsoleW(GetStdHandle(STD_INPUT_HANDLE), part, 512, &got, nullptr);
    // The key ends the read ahead of its event.
    if (got == 0 && GetLastError() == ERROR_OPERATION_ABORTED) Sleep(50);
    interrupted = InterruptKey::TakeIdle();
    if (interrupted) return line;
    if (read == 0 || got == 0) return std::nullopt;
    wide.append(part, got);
  }
  constexpr wchar_t kEnd = 26;  // Ctrl-Z
  if (wide.front() == kEnd) return std::nullopt;
  while (!wide.empty() && (wide.back() == L'\n' || wide.back() == L'\r')) wide.pop_back();
  return ToUtf8(wide.c_str());
}

}  // namespace zrpyhost
