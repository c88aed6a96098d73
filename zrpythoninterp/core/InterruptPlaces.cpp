// Where a thread must not be interrupted. Private here: the files of the runtime's library that are
// made of locks. Test: tests/flow/Interrupts_test.cpp.
#include <zrpythoninterp/core/Runtime.h>

#include <zrpythoninterp/core/InterruptPlaces.h>
#include <zrpythoninterp/core/PyRef.h>

#include <algorithm>
#include <string>
#include <string_view>

namespace zrpy {

namespace {

constexpr std::string_view kThreading = "threading.py";
constexpr std::string_view kFilesOfLocks[] = {
    kThreading,
    "queue.py",
    "logging/__init__.py",
    "concurrent/futures/_base.py",
    "concurrent/futures/thread.py",
};

std::string_view TextOf(PyObject* text) {
  const char* const characters = PyUnicode_Check(text) ? PyUnicode_AsUTF8(text) : nullptr;
  if (!characters) PyErr_Clear();
  return characters ? characters : std::string_view();
}

bool EndsWith(std::string_view text, std::string_view end) {
  return text.size() >= end.size() && text.substr(text.size() - end.size()) == end;
}

// The file's path below the runtime's library (lib/python3.11, python311.zip, Lib), or nothing for
// files that lie elsewhere and may have the same names.
std::string PathInLibrary(std::string_view file) {
  std::string path(file);
  std::replace(path.begin(), path.end(), '\\', '/');
  for (const std::string_view below : kFilesOfLocks) {
    if (!EndsWith(path, below) || path.size() < below.size() + 2) continue;
    const std::string_view folder = std::string_view(path).substr(0, path.size() - below.size());
    if (folder.back() != '/') continue;
    const size_t slash = folder.rfind('/', folder.size() - 2);
    const std::string_view name = folder.substr(slash == std::string_view::npos ? 0 : slash + 1);
    if (name.substr(0, 6) == "python" || name == "Lib/" || name == "lib/")
      return std::string(below);
  }
  return std::string();
}

// The waits of threading, which are made to be interrupted: else a loop of short ones could never
// be. A wait gives what it holds back when its try statement ends, in which a second interrupt must
// not meet it; that of older releases for a thread's end has none. A join keeps nothing itself.
bool Waits(PyFrameObject* frame, PyCodeObject* code) {
  const std::string_view function = TextOf(code->co_name);
  if (function == "join") return true;
  return (function == "wait" || function == "_wait_for_tstate_lock") && IsInTryBody(frame);
}

}  // namespace

bool CanBeInterrupted(PyThreadState* state) {
  const CollectionWaits uncollected;
  const PyRef top = PyRef::Steal(NewTopFrame(state));
  if (!top) return true;
  auto* const frame = reinterpret_cast<PyFrameObject*>(top.get());
  if (LeavesBlock(frame)) return false;
  const PyRef object = PyRef::Steal(reinterpret_cast<PyObject*>(NewFrameCode(frame)));
  auto* const code = reinterpret_cast<PyCodeObject*>(object.get());
  const std::string_view file = TextOf(code->co_filename);
  constexpr std::string_view kImporting = "<frozen importlib._bootstrap";
  if (file.substr(0, kImporting.size()) == kImporting) return false;
  const std::string path = PathInLibrary(file);
  return path.empty() || (path == kThreading && Waits(frame, code));
}

}  // namespace zrpy
