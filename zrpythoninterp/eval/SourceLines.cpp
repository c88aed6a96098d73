// The lines of an error's places, read from their files. Private here: one line of a file. Test:
// tests/eval/LastError_test.cpp.
#include <zrpythoninterp/core/Runtime.h>

#include <zrpythoninterp/eval/ErrorDetails.h>
#include <zrpythoninterp/host/Platform.h>
#include <zrpythoninterp/host/ScriptStream.h>

#include <cstdio>
#include <cstring>

namespace zrpy {

namespace {

// Without its end; empty when there is no such file or line. A line that is longer than any that a
// user wrote counts as none.
zrString LineOf(const zrString& file, int number) {
  constexpr std::size_t kMaxLine = 2000;
  if (number <= 0 || file.empty() || file.front() == '<') return {};
  const Stream stream = OpenScript(file, false, [] { return false; });
  zrString line;
  char part[1024];
  for (int at = 1; stream && at <= number && std::fgets(part, sizeof(part), stream.get());) {
    if (at == number) line += part;
    if (std::strchr(part, '\n')) ++at;
    if (line.size() > kMaxLine) return {};
  }
  line.erase(line.find_last_not_of("\r\n") + 1);
  const bool hasMark = number == 1 && line.compare(0, 3, "\xEF\xBB\xBF") == 0;
  return hasMark ? line.substr(3) : line;
}

// Lock held. As the report's form wants it, whatever bytes the file has.
zrString AsText(const zrString& bytes) ZR_REQUIRES_GIL {
  const PyRef text = PyRef::Steal(PyUnicode_DecodeUTF8(
      bytes.data(), static_cast<Py_ssize_t>(bytes.size()), "backslashreplace"));
  PyErr_Clear();
  return BoundedText(text.get());
}

int CharactersIn(const zrString& source, int bytes) {
  int count = 0;
  for (int i = 0; i < bytes && i < static_cast<int>(source.size()); ++i) {
    if ((static_cast<unsigned char>(source[i]) & 0xC0) != 0x80) ++count;
  }
  return count;
}

void ReadSourceLine(zrErrorPlace& place) ZR_REQUIRES_GIL {
  if (!place.source.empty()) return;  // a syntax error brings its line, and counts characters
  zrString line;
  {
    const GilRelease released;
    line = LineOf(place.file, place.line);
  }
  if (line.empty()) return;
  if (place.column > 0) place.column = CharactersIn(line, place.column - 1) + 1;
  if (place.endColumn > 0 && place.endLine == place.line) {
    place.endColumn = CharactersIn(line, place.endColumn - 1) + 1;
  }
  place.source = AsText(line);
}

}  // namespace

void ReadSourceLines(zrErrorReport& report) {
  const bool isOne = report.own.file == report.innermost.file &&
                     report.own.line == report.innermost.line &&
                     report.own.column == report.innermost.column;
  ReadSourceLine(report.innermost);
  if (isOne) {
    report.own = report.innermost;
  } else {
    ReadSourceLine(report.own);
  }
}

}  // namespace zrpy
