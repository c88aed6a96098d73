// The error that a thread is reporting.
#pragma once

#include <zrpythoninterp/core/LastErrors.h>
#include <zrpythoninterp/eval/ErrorDetails.h>

namespace zrpy {

// One report, from the fetch of the error to the end of the host's callbacks. LastError tells it
// from the start, as far as it is known without running script code. The rest (the traceback, and
// a message that a script's class computes) comes with the print, or before, when a callback asks.
// The lock is held for its life, but for what a callback does.
class ErrorReporting {
 public:
  // Borrows the error until it is printed or given back to the runtime.
  ErrorReporting(LastErrors& errors, const FetchedError& error) ZR_REQUIRES_GIL;
  ErrorReporting(const ErrorReporting&) = delete;
  ErrorReporting& operator=(const ErrorReporting&) = delete;
  ~ErrorReporting();

  // LastError tells it again: a callback may have evaluated.
  void Renew() { errors_.Set(report_); }

  // The error goes back to the runtime, and nothing more is read from it.
  void Forget() { error_ = nullptr; }
  // What the runtime prints at its end.
  zrString Headline() const;
  // The error is not going to be printed. Runs script code.
  void CompleteUnprinted() ZR_REQUIRES_GIL;
  // The display of the error is known.
  void Complete(zrString display) ZR_REQUIRES_GIL;

  // Without the lock or with it. Completes the report that the calling thread is in, when LastError
  // tells that one. Runs script code, as whoever asks for the text of an error must expect.
  static void CompleteForAsker(const LastErrors& errors);

 private:
  void completeEarly() ZR_REQUIRES_GIL;

  LastErrors& errors_;
  const FetchedError* error_;
  ErrorDetails details_;
  LastErrors::Report report_;
  bool isComplete_ = false;
  ErrorReporting* const outer_;  // of the same thread
};

}  // namespace zrpy
