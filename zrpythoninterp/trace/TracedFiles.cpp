// The trace filter's answers, kept. Private here: the store, guarded by the runtime's lock. Test:
// tests/trace/TraceHook_test.cpp.
#include <zrpythoninterp/core/GilGuard.h>
// GilGuard.h brings Python.h, which comes first.
#include <zrpythoninterp/core/RuntimeLife.h>
#include <zrpythoninterp/host/Platform.h>
#include <zrpythoninterp/trace/TracedFiles.h>

#include <unordered_map>
#include <utility>

namespace zrpy {

namespace {

// Scripts can compile under any number of names; past this many the store starts anew.
constexpr size_t kMaxFiles = 4096;

struct Answer {
  TraceVerdict verdict;
  bool inUserBase;
  std::shared_ptr<const zrString> file;  // forward slashes
};

struct Store {
  std::uint64_t life = 0;
  zrString homePath;
  zrString pythonPath;
  bool hasUserBase = false;
  zrString userBase;  // as the environment has it
  // The references keep the addresses, which are the keys, from being used again.
  std::unordered_map<PyObject*, std::pair<PyRef, Answer>> answers;

  void Clear() {
    auto old =
        std::exchange(answers, {});  // dropping a text runs no code, but nothing relies on it
  }
};

// Never destroyed: at the end of a process that did not stop the runtime, its objects are not ours
// to drop.
Store& store = *new Store;

void DropAtStop() {
  store.life = 0;
  store.Clear();
}

// Starts the store anew when something changed that its answers depend on.
void BringUpToDate(const zrString& homePath, const zrString& pythonPath) {
  const std::uint64_t life = RuntimeLife::Current();
  if (store.life == life && store.homePath == homePath && store.pythonPath == pythonPath) return;
  store.Clear();
  store.homePath = homePath;
  store.pythonPath = pythonPath;
  if (store.life != life && life != 0) RuntimeLife::CallAtStop(&DropAtStop);
  store.life = life;
}

// The variable can change at any time, and is read for each answer that depends on it.
bool UserBaseIsUnchanged() {
  const char* const value = GetEnvironment("PYTHONUSERBASE");
  return value ? store.hasUserBase && store.userBase == value : !store.hasUserBase;
}

void ReadUserBase() {
  const char* const value = GetEnvironment("PYTHONUSERBASE");
  store.hasUserBase = value != nullptr;
  store.userBase = value ? value : "";
}

// UTF-8, up to the first NUL; empty for a name that has no such form.
zrString FileText(PyObject* fileName) {
  zrString file;
  if (const PyRef text = PyRef::Steal(PyObject_Str(fileName))) {
    if (const PyRef bytes = PyRef::Steal(PyUnicode_AsUTF8String(text.get()))) {
      file = PyBytes_AS_STRING(bytes.get());
    }
  }
  PyErr_Clear();
  return file;
}

Answer Judge(PyObject* fileName, const zrString& homePath, const zrString& pythonPath) {
  zrString file = FileText(fileName);
  ToBackslashes(file);
  Answer answer{JudgeFile(file, homePath, pythonPath), false, nullptr};
  if (answer.verdict == TraceVerdict::kDropped) return answer;
  if (answer.verdict == TraceVerdict::kTracedUnlessInUserBase && store.hasUserBase) {
    zrString userBase = store.userBase;
    if (kSeparator == '/') ToBackslashes(userBase);  // the form in which everything is compared
    answer.inUserBase = file.find(userBase) != zrString::npos;
  }
  ToForwardSlashes(file);
  answer.file = std::make_shared<const zrString>(std::move(file));
  return answer;
}

std::shared_ptr<const zrString> Result(const Answer& answer) {
  return answer.inUserBase ? nullptr : answer.file;
}

}  // namespace

std::shared_ptr<const zrString> TracedFile(PyObject* fileName, const zrString& homePath,
                                           const zrString& pythonPath) {
  BringUpToDate(homePath, pythonPath);
  const auto found = store.answers.find(fileName);
  if (found != store.answers.end()) {
    const Answer& answer = found->second.second;
    if (answer.verdict != TraceVerdict::kTracedUnlessInUserBase || UserBaseIsUnchanged()) {
      return Result(answer);
    }
  }
  if (!UserBaseIsUnchanged()) {
    store.Clear();
    ReadUserBase();
  }
  Answer answer = Judge(fileName, homePath, pythonPath);
  // A text of a class of its own can read differently each time; during a stop nothing new is kept.
  if (!PyUnicode_CheckExact(fileName) || store.life == 0) return Result(answer);
  if (store.answers.size() >= kMaxFiles) store.Clear();
  const auto kept =
      store.answers.emplace(fileName, std::make_pair(PyRef::Borrow(fileName), std::move(answer)));
  return Result(kept.first->second.second);
}

}  // namespace zrpy
