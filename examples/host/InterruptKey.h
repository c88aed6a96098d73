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
  // Throws std::system_error when the thread or its pipes cannot be had.
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
  // Can be read from, and polled, as long as TakeIdle would give true; -1 without an object.
  static int IdleDescriptor();

 private:
  struct Pipe {
    Pipe();
    ~Pipe();
    Pipe(const Pipe&) = delete;
    Pipe& operator=(const Pipe&) = delete;
    int ends[2];  // to read from, to write to
  };

  void Wait();

  zrInterpPython& interp_;
  Pipe hits_;
  Pipe idle_;
  struct sigaction before_;
  std::thread thread_;
};

}  // namespace zrpyhost
