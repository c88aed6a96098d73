#pragma once

#include <zrpythoninterp/host/zrExport.h>

#include <atomic>
#include <chrono>
#include <memory>

namespace zrpy {
struct LimitedScope;
}  // namespace zrpy

/// A stop button. Pressed, it ends the evaluations inside the limits that were made with it, and no
/// others. **Threads**: any, also at the same time. **Lock**: none is taken. **Owns**: copies are
/// the same button.
class ZR_EXPORT zrPythonStop {
 public:
  /// A button that is not pressed.
  zrPythonStop();
  /// Ends what runs, and what begins from now on, until Reset.
  void Press();
  /// Lets what begins from now on run.
  void Reset();
  /// True from Press until Reset.
  bool IsPressed() const;

 private:
  friend class zrPythonLimit;
  std::shared_ptr<std::atomic<bool>> pressed_;
};

/// Bounds the evaluations that the calling thread makes during the object's life: when the time is
/// over, or the button is pressed, they get a KeyboardInterrupt, as by
/// zrInterpPython::InterruptScript, and LastError says in its message which of the two it was. The
/// script may catch it; while an evaluation goes on, it gets another one ten times a second, and
/// after a second each one that it catches is followed by the next at once, also in its handler, so
/// that no script of Python code goes on. An evaluation around the limit, out of whose callback the
/// limit was made, goes on.
///
/// One thread of the library's watches all limits; it ends a second after the last.
/// **Threads**: made and destroyed on one thread; limits inside one another go in the order of
/// their making. **Lock**: given up while the destructor waits. **Fails**: std::bad_alloc and
/// std::system_error, when there is no thread to be had.
class ZR_EXPORT zrPythonLimit {
 public:
  /// A limit of time, from now on.
  explicit zrPythonLimit(std::chrono::milliseconds time);
  /// A limit by a button.
  explicit zrPythonLimit(const zrPythonStop& stop);
  /// A limit by whichever comes first.
  zrPythonLimit(std::chrono::milliseconds time, const zrPythonStop& stop);
  /// No interrupt of this limit comes any more when it returns.
  ~zrPythonLimit();
  zrPythonLimit(const zrPythonLimit&) = delete;
  zrPythonLimit& operator=(const zrPythonLimit&) = delete;

  /// True once the time is over or the button was pressed. **Threads**: any.
  bool IsOver() const;

 private:
  std::unique_ptr<zrpy::LimitedScope> scope_;
};
