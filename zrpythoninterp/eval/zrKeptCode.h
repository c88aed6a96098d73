#pragma once

#include <zrpythoninterp/host/zrExport.h>

#include <cstddef>

/// The compiled code that the library keeps of the texts and files that it runs, so that one which
/// comes again costs only its run. One for the process; nobody can tell that it is there but by the
/// time and the memory. What is kept ends with the life of the runtime.
class ZR_EXPORT zrKeptCode {
 public:
  /// The budget until the host sets another one, in bytes: 16 MiB.
  static constexpr std::size_t kDefaultBudget = std::size_t{16} << 20;

  /// Bounds the memory that may be kept: the code objects with all that they hold, the texts they
  /// were made of, and what is needed to find them again. 0 keeps nothing. One text or file keeps
  /// at most a sixteenth of the budget. What is too much goes with one of the next evaluations.
  /// Beside the budget, half a MiB tells texts that come again from texts that come once.
  /// **Form**: bytes. **Threads**: any. **Lock**: not needed.
  static void SetBudget(std::size_t bytes);
  /// The budget that was set last, in bytes. **Threads**: any. **Lock**: not needed.
  static std::size_t Budget();

  /// What is kept now, in bytes as the budget counts them.
  /// **Threads**: any, the runtime up or not. **Lock**: not needed.
  static std::size_t Held();
};
