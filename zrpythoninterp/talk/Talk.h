// What an interpreter's host has set through zrPythonTalk, from the first handle on to the
// interpreter's end.
#pragma once

#include <zrpythoninterp/core/Companion.h>
#include <zrpythoninterp/core/GilGuard.h>
#include <zrpythoninterp/talk/Functions.h>
#include <zrpythoninterp/talk/Output.h>

#include <atomic>
#include <memory>

class zrInterpPython;

namespace zrpy {

class Talk : public Companion {
 public:
  explicit Talk(zrInterpPython& interp) : interp_(interp) {}

  // The interpreter's, made at the first call. Any thread.
  static std::shared_ptr<Talk> Of(zrInterpPython& interp);

  void AtStart() override;

  Functions& functions() { return functions_; }
  Output& output() { return *output_; }
  void SetUtf8(bool utf8);

 private:
  std::atomic<bool> utf8_{false};
  Functions functions_;
  const std::shared_ptr<Output> output_ = std::make_shared<Output>();  // streams share it
  zrInterpPython& interp_;
};

}  // namespace zrpy
