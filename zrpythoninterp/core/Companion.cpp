// What a room above attaches to an interpreter. Test: tests/talk.
#include <zrpythoninterp/core/Runtime.h>

#include <zrpythoninterp/core/Companion.h>
#include <zrpythoninterp/core/zrInterpPython.h>
#include <zrpythoninterp/host/Mutex.h>

#include <utility>

namespace zrpy {

namespace {

// Guards the companions of all interpreters.
Mutex& attaching = *new Mutex;

}  // namespace

std::shared_ptr<Companion> Companion::Of(const zrInterpPython& interp) {
  const std::lock_guard<Mutex> lock(attaching);
  return interp.companion_;
}

std::shared_ptr<Companion> Companion::Attach(zrInterpPython& interp,
                                             std::shared_ptr<Companion> companion) {
  const std::lock_guard<Mutex> lock(attaching);
  if (!interp.companion_) interp.companion_ = std::move(companion);
  return interp.companion_;
}

bool Companion::IsStarted(const zrInterpPython& interp) { return interp.initialized_; }

void Companion::Report(zrInterpPython& interp) { interp.handleExceptions(); }

}  // namespace zrpy
