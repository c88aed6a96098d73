// The variables of the environment that a start of the runtime goes by.
#pragma once

#include <zrpythoninterp/core/GilGuard.h>
#include <zrpythoninterp/host/zrStlVector.h>
#include <zrpythoninterp/host/zrString.h>

#include <utility>

namespace zrpy {

// Scripts write into the environment, and what one left there must neither keep every later start
// from working, as a PYTHONHASHSEED that is no number would, nor take what is the host's, as
// PYTHONFAULTHANDLER takes its signals. So the runtime is not left to read what can do such a
// thing: a start is told the good values, which are these.
struct StartVariables {
  // The memory under all objects, in the order of the runtime's own numbers, which begin at 1.
  static constexpr const char* kAllocators[] = {
      "default", "debug", "malloc", "malloc_debug", "pymalloc", "pymalloc_debug",
  };

  StartVariables();  // as the process has them now

  const zrString searchPath;  // PYTHONPATH, empty when unset
  bool hasSeed = false;       // PYTHONHASHSEED, when it is a number that can be one
  unsigned long seed = 0;
  int allocator = 0;  // PYTHONMALLOC's place in kAllocators, from 1; 0 for any other text
};

// For its life, variables are missing in the process's environment: those that this release reads
// by itself, whatever it is told, and that can refuse a start. A host's other threads do not find
// them meanwhile.
class HiddenVariables {
 public:
  explicit HiddenVariables(const StartVariables& good);
  HiddenVariables(const HiddenVariables&) = delete;
  HiddenVariables& operator=(const HiddenVariables&) = delete;
  ~HiddenVariables();

  // Puts them into the copy of the environment that the runtime has made for scripts. Errors are
  // ignored.
  void ShowToScripts() const ZR_REQUIRES_GIL;

 private:
  zrStlVector<std::pair<const char*, zrString>> hidden_;
};

}  // namespace zrpy
