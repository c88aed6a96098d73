// The host's functions, as scripts find them in the module zrhost.
#pragma once

#include <zrpythoninterp/core/GilGuard.h>
#include <zrpythoninterp/host/Mutex.h>
#include <zrpythoninterp/host/zrStlMap.h>
#include <zrpythoninterp/host/zrString.h>

#include <memory>

namespace zrpy {

struct HostFunction;

class Functions {
 public:
  // Puts a function under its name; null takes the one there away. Gives what was there. Any
  // thread.
  std::shared_ptr<HostFunction> Exchange(const zrString& name,
                                         std::shared_ptr<HostFunction> function);

  // Binds all of them in the module of a life that begins. May leave an error pending.
  void BindAll() const ZR_REQUIRES_GIL;

 private:
  mutable Mutex mutex_;
  zrStlMap<zrString, std::shared_ptr<HostFunction>> functions_;
};

}  // namespace zrpy
