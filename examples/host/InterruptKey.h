// Ctrl-C.
#pragma once

#include <csignal>
#include <thread>

class zrInterpPython;

namespace zrpyhost {

// Takes SIGINT for the length of its life. While a script runs, the key ends the script and nothing
// else; at other times it is only remembered. One at a time, while the runtime is up.
class InterruptKey {
 public:
  // Throws std::system_error when the thread cannot be had.
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

 private:
  void Wait();

  zrInterpPython& interp_;
  int pipe_[2];
  struct sigaction before_;
  std::thread thread_;
};

}  // namespace zrpyhost
