// Ctrl-C.
#pragma once

#include <memory>

class zrInterpPython;

namespace zrpyhost {

// Takes the key (SIGINT, or the console's event on Windows) for the length of its life. While a
// script runs, the key ends the script and nothing else; at other times it is only remembered. One
// at a time, while the runtime is up.
class InterruptKey {
 public:
  // Throws std::system_error when the system does not give what this needs.
  explicit InterruptKey(zrInterpPython& interp);
  ~InterruptKey();
  InterruptKey(const InterruptKey&) = delete;
  InterruptKey& operator=(const InterruptKey&) = delete;

  // A script runs for the length of its life.
  class Running {
   public:
    Running();
    ~Running();
    Running(const Running&) = delete;
    Running& operator=(const Running&) = delete;
  };

  // Whether the key was hit since the last call while no script ran.
  static bool TakeIdle();
  // POSIX: can be read from, and polled, as long as TakeIdle would give true; -1 without an object.
  static int IdleDescriptor();

 private:
  class System;
  const std::unique_ptr<System> system_;
};

}  // namespace zrpyhost
