// What tests of threads and callbacks need beside the fixture: Python functions that call back into
// the test, a look at the runtime's thread states, and an end for tests that would never end.
#pragma once

#include <zrpythoninterp/core/GilGuard.h>
#include <zrpythoninterp/core/PyRef.h>

#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <deque>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <utility>

namespace zrtest {

// Binds a name in __main__ to a function without arguments that runs body on the script's thread,
// under the lock. Takes the lock itself; the runtime is up. Body and function are never freed,
// since the runtime may call them until its very end.
inline void BindHostFunction(const char* name, std::function<void()> body) {
  struct Function {
    std::function<void()> body;
    PyMethodDef definition;
  };
  const auto call = [](PyObject* self, PyObject*) -> PyObject* {
    static_cast<Function*>(PyCapsule_GetPointer(self, nullptr))->body();
    Py_RETURN_NONE;
  };
  static auto& functions = *new std::deque<Function>;
  functions.push_back({std::move(body), {name, call, METH_NOARGS, nullptr}});
  Function* const function = &functions.back();
  const zrpy::GilGuard gil;
  const zrpy::PyRef self = zrpy::PyRef::Steal(PyCapsule_New(function, nullptr, nullptr));
  const zrpy::PyRef object = zrpy::PyRef::Steal(PyCFunction_New(&function->definition, self.get()));
  PyObject_SetAttrString(PyImport_AddModule("__main__"), name, object.get());
}

// The runtime's thread states, that of the calling thread included, which is made if there is none.
inline int CountThreadStates() {
  const zrpy::GilGuard gil;
  int count = 0;
  for (PyThreadState* state = PyInterpreterState_ThreadHead(PyThreadState_Get()->interp); state;
       state = PyThreadState_Next(state)) {
    ++count;
  }
  return count;
}

template <typename Work>
void OnAnotherThread(Work&& work) {
  std::thread(std::forward<Work>(work)).join();
}

// Ends the process when its own life lasts too long, so that a hang fails instead of staying.
class Watchdog {
 public:
  explicit Watchdog(std::chrono::seconds patience = std::chrono::seconds(240))
      : thread_([this, patience] {
          std::unique_lock<std::mutex> lock(mutex_);
          if (ended_.wait_for(lock, patience, [this] { return over_; })) return;
          std::fprintf(stderr, "No end in sight: %s\n", doing_.c_str());
          std::abort();
        }) {}
  ~Watchdog() {
    {
      const std::lock_guard<std::mutex> lock(mutex_);
      over_ = true;
    }
    ended_.notify_one();
    thread_.join();
  }
  Watchdog(const Watchdog&) = delete;
  Watchdog& operator=(const Watchdog&) = delete;

  // What is going on, for the message.
  void Doing(std::string what) {
    const std::lock_guard<std::mutex> lock(mutex_);
    doing_ = std::move(what);
  }

 private:
  std::mutex mutex_;
  std::condition_variable ended_;
  bool over_ = false;
  std::string doing_ = "the test";
  std::thread thread_;  // last: it uses the others
};

}  // namespace zrtest
