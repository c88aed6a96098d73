// The trace filter's answers, kept. Private here: the store, guarded by the runtime's lock. Test:
// tests/trace/TraceHook_test.cpp.
#include <zrpythoninterp/core/GilGuard.h>
// GilGuard.h brings Python.h, which comes first.
#include <zrpythoninterp/core/ErrorStash.h>
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
  TraceVerdict verdict = TraceVerdict::kDropped;
  bool inUserBase = false;
  zrString file;  // forward slashes
};

struct Store {
  std::uint64_t life = 0;
  std::uint64_t paths = 0;
  EnvironmentWatch userBase{"PYTHONUSERBASE"};
  // The references keep the addresses, which are the keys, from being used again.
  std::unordered_map<PyObject*, std::pair<PyRef, Answer>> answers;
  // Of the last event: the next one is most often of the same file.
  PyObject* lastName = nullptr;
  const Answer* lastAnswer = nullptr;
  // For a name that is not kept.
  Answer passing;

  void Clear() {
    lastName = nullptr;
    // Dropping a text runs no code, but nothing relies on it.
    auto old = std::exchange(answers, {});
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
void BringUpToDate(std::uint64_t paths) {
  const std::uint64_t life = RuntimeLife::Current();
  if (store.life == life && store.paths == paths) return;
  store.Clear();
  store.paths = paths;
  if (store.life != life && life != 0) RuntimeLife::CallAtStop(&DropAtStop);
  store.life = life;
}

// UTF-8, up to the first NUL; empty for a name that has no such form.
zrString FileText(PyObject* fileName) {
  ErrorStash pending;
  pending.Park();
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
  Answer answer;
  answer.verdict = JudgeFile(file, homePath, pythonPath);
  if (answer.verdict == TraceVerdict::kDropped) return answer;
  if (answer.verdict == TraceVerdict::kTracedUnlessInUserBase && store.userBase.value()) {
    zrString userBase = *store.userBase.value();
    if (kSeparator == '/') ToBackslashes(userBase);  // the form in which everything is compared
    answer.inUserBase = file.find(userBase) != zrString::npos;
  }
  ToForwardSlashes(file);
  answer.file = std::move(file);
  return answer;
}

// The kept answer, or null.
const Answer* Find(PyObject* fileName) {
  if (store.lastName == fileName) return store.lastAnswer;
  const auto found = store.answers.find(fileName);
  if (found == store.answers.end()) return nullptr;
  store.lastName = fileName;
  store.lastAnswer = &found->second.second;
  return store.lastAnswer;
}

const zrString* Result(const Answer& answer) {
  return answer.verdict == TraceVerdict::kDropped || answer.inUserBase ? nullptr : &answer.file;
}

}  // namespace

const zrString* TracedFile(PyObject* fileName, std::uint64_t paths, const zrString& homePath,
                           const zrString& pythonPath) {
  BringUpToDate(paths);
  if (const Answer* const answer = Find(fileName)) {
    // The variable can change at any time.
    if (answer->verdict != TraceVerdict::kTracedUnlessInUserBase || store.userBase.IsUnchanged()) {
      return Result(*answer);
    }
  }
  if (!store.userBase.IsUnchanged()) {
    store.Clear();
    store.userBase.Read();
  }
  Answer answer = Judge(fileName, homePath, pythonPath);
  // A text of a class of its own can read differently each time; during a stop nothing new is kept.
  if (!PyUnicode_CheckExact(fileName) || store.life == 0) {
    store.passing = std::move(answer);
    return Result(store.passing);
  }
  if (store.answers.size() >= kMaxFiles) store.Clear();
  const auto kept =
      store.answers.emplace(fileName, std::make_pair(PyRef::Borrow(fileName), std::move(answer)));
  return Result(kept.first->second.second);
}

}  // namespace zrpy
