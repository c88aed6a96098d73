// What a room above attaches to an interpreter. Test: tests/talk.
#include <zrpythoninterp/core/Runtime.h>

#include <zrpythoninterp/core/Companion.h>
#include <zrpythoninterp/core/zrInterpPython.h>

#include <mutex>
#include <utility>

namespace zrpy {

namespace {

// Guards the companions of all interpreters.
std::mutex attaching;

}  // namespace

std::shared_ptr<Companion> Companion::Of(const zrInterpPython& interp) {
  const std::lock_guard<std::mutex> lock(attaching);
  return interp.companion_;
}

std::shared_ptr<Companion> Companion::Attach(zrInterpPython& interp,
                                             std::shared_ptr<Companion> companion) {
  const std::lock_guard<std::mutex> lock(attaching);
  if (!interp.companion_) interp.companion_ = std::move(companion);
  return interp.companion_;
}

bool Companion::IsStarted(const zrInterpPython& interp) { return interp.initialized_; }

void Companion::Report(zrInterpPython& interp) { interp.handleExceptions(); }

}  // namespace zrpy
