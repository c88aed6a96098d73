// The trace filter's answers, kept. Private here: the store, and the user's Python base. Test:
// tests/trace/TraceHook_test.cpp.
#include <zrpythoninterp/core/Runtime.h>

#include <zrpythoninterp/core/ErrorStash.h>
#include <zrpythoninterp/core/RuntimeLife.h>
#include <zrpythoninterp/core/StoreMutex.h>
#include <zrpythoninterp/host/Platform.h>
#include <zrpythoninterp/trace/TracedFiles.h>

#include <new>
#include <optional>
#include <unordered_map>
#include <utility>

namespace zrpy {

namespace {

// Scripts can compile under any number of names; past this many the store starts anew.
constexpr size_t kMaxFiles = 4096;

// The environment's value, or nothing. It can change at any time, also in its place, so that only
// its text tells whether it did.
using UserBase = std::optional<zrString>;

const char* UserBaseNow() { return GetEnvironment("PYTHONUSERBASE"); }

UserBase ReadUserBase() {
  const char* const now = UserBaseNow();
  return now ? UserBase(now) : UserBase();
}

bool IsStill(const UserBase& userBase) {
  const char* const now = UserBaseNow();
  return now ? userBase && *userBase == now : !userBase;
}

struct Answer {
  TraceVerdict verdict = TraceVerdict::kDropped;
  PyRef file;  // null: not traced
};

// By the names' addresses, which the references keep from being used again.
using Answers = std::unordered_map<PyObject*, std::pair<PyRef, Answer>>;

struct Store {
  StoreMutex mutex;
  // What the answers depend on.
  std::uint64_t life ZR_GUARDED_BY(mutex) = 0;
  std::uint64_t paths ZR_GUARDED_BY(mutex) = 0;
  UserBase userBase ZR_GUARDED_BY(mutex);
  Answers answers ZR_GUARDED_BY(mutex);
  // Of the last event: the next one is most often of the same file.
  PyObject* lastName ZR_GUARDED_BY(mutex) = nullptr;
  const Answer* lastAnswer ZR_GUARDED_BY(mutex) = nullptr;

  // For the caller to drop behind the lock.
  Answers TakeAll() ZR_THREAD_ATTRIBUTE(requires_capability(mutex)) {
    lastName = nullptr;
    return std::exchange(answers, {});
  }

  // The kept answer, or null.
  const Answer* Find(PyObject* fileName) ZR_THREAD_ATTRIBUTE(requires_capability(mutex)) {
    if (lastName == fileName) return lastAnswer;
    const auto found = answers.find(fileName);
    if (found == answers.end()) return nullptr;
    lastName = fileName;
    lastAnswer = &found->second.second;
    return lastAnswer;
  }
};

// Never destroyed: at the end of a process that did not stop the runtime, its objects are not ours
// to drop.
Store& store = *new Store;

void DropAtStop() {
  Answers old;
  const StoreLock lock(store.mutex);
  store.life = 0;
  old = store.TakeAll();
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

PyRef Bytes(const zrString& text) {
  PyRef bytes =
      PyRef::Steal(PyBytes_FromStringAndSize(text.c_str(), static_cast<Py_ssize_t>(text.size())));
  if (bytes) return bytes;
  PyErr_Clear();
  throw std::bad_alloc();
}

Answer Judge(PyObject* fileName, const zrString& homePath, const zrString& pythonPath,
             UserBase userBase) {
  zrString file = FileText(fileName);
  ToBackslashes(file);
  Answer answer;
  answer.verdict = JudgeFile(file, homePath, pythonPath);
  if (answer.verdict == TraceVerdict::kDropped) return answer;
  if (answer.verdict == TraceVerdict::kTracedUnlessInUserBase && userBase) {
    if (kSeparator == '/') ToBackslashes(*userBase);  // the form in which everything is compared
    if (file.find(*userBase) != zrString::npos) return answer;
  }
  ToForwardSlashes(file);
  answer.file = Bytes(file);
  return answer;
}

void Keep(PyObject* fileName, std::uint64_t life, std::uint64_t paths, UserBase userBase,
          Answer&& answer) {
  Answers old;
  bool isNewLife = false;
  {
    const StoreLock lock(store.mutex);
    isNewLife = store.life != life;
    if (isNewLife || store.paths != paths || store.userBase != userBase ||
        store.answers.size() >= kMaxFiles) {
      old = store.TakeAll();
      store.life = life;
      store.paths = paths;
      store.userBase = std::move(userBase);
    }
    store.answers.emplace(fileName, std::make_pair(PyRef::Borrow(fileName), std::move(answer)));
  }
  if (isNewLife) RuntimeLife::CallAtStop(&DropAtStop);
}

}  // namespace

PyRef TracedFile(PyObject* fileName, std::uint64_t paths, const zrString& homePath,
                 const zrString& pythonPath) {
  const std::uint64_t life = RuntimeLife::Current();
  {
    const StoreLock lock(store.mutex);
    if (store.life == life && store.paths == paths) {
      const Answer* const answer = store.Find(fileName);
      if (answer &&
          (answer->verdict != TraceVerdict::kTracedUnlessInUserBase || IsStill(store.userBase))) {
        return PyRef::Borrow(answer->file.get());
      }
    }
  }
  UserBase userBase = ReadUserBase();
  Answer answer = Judge(fileName, homePath, pythonPath, userBase);
  PyRef file = PyRef::Borrow(answer.file.get());
  // A text of a class of its own can read differently each time; during a stop nothing new is kept.
  if (PyUnicode_CheckExact(fileName) && life != 0) {
    Keep(fileName, life, paths, std::move(userBase), std::move(answer));
  }
  return file;
}

}  // namespace zrpy
