#pragma once

#include <zrpythoninterp/host/zrExport.h>

#include <cstdint>

/// The evaluations that one thread begins from the moment on at which this object is made, for
/// others to end: a stop button for one part of a host, or a limit of time.
///
///     const zrThreadEvaluations mine;   // on the thread that is about to evaluate
///     ShowStopButton([mine] { mine.Interrupt(); });
///     python.EvalFile("long.py");
///
/// Evaluations around it are left alone: one that is made in a callback stands for what the
/// callback evaluates. It goes on standing for later evaluations of the thread, so whoever wants to
/// end one and no later one sees to it that no Interrupt is under way when that one is over. A
/// plain value; it may outlive its thread, and every life of the runtime.
class ZR_EXPORT zrThreadEvaluations {
 public:
  /// Those of the calling thread. **Lock**: held or not, and not touched. **Fails**:
  /// std::bad_alloc.
  zrThreadEvaluations();

  /// Raises KeyboardInterrupt in them, as zrInterpPython::InterruptScript does in all.
  /// **Threads**: any, but no signal handler. **Lock**: as InterruptScript. **Fails**: false when
  /// none runs, and the next one is then left alone.
  bool Interrupt() const;

 private:
  std::uint64_t thread_;
  int above_;
};
