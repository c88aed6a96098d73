// The error that a thread is reporting. Private here: the thread's innermost report. Test:
// tests/eval/LastError_test.cpp.
#include <zrpythoninterp/core/Runtime.h>

#include <zrpythoninterp/core/ErrorStash.h>
#include <zrpythoninterp/eval/ErrorDisplay.h>
#include <zrpythoninterp/eval/ErrorReporting.h>

#include <memory>
#include <utility>

namespace zrpy {

namespace {

thread_local ErrorReporting* innermost = nullptr;

}  // namespace

// Of an exit nothing is printed, and nothing of a script's is run for it.
ErrorReporting::ErrorReporting(LastErrors& errors, const FetchedError& error)
    : errors_(errors), error_(&error), details_(ReadDetails(error)), outer_(innermost) {
  if (details_.report.isExit) {
    Complete(DisplayCalls(error.traceback.get(), Headline()));
  } else {
    report_ = std::make_shared<const zrErrorReport>(details_.report);
    Renew();
  }
  innermost = this;
}

ErrorReporting::~ErrorReporting() { innermost = outer_; }

zrString ErrorReporting::Headline() const {
  const zrErrorReport& report = details_.report;
  return report.kind + (report.message.empty() ? "" : ": " + report.message) + "\n";
}

void ErrorReporting::Complete(zrString display) {
  if (!isComplete_) {
    isComplete_ = true;
    zrErrorReport& report = details_.report;
    if (!details_.messageIsKnown) report.message = MessageIn(display, report.kind);
    report.traceback = std::move(display);
    ReadSourceLines(report);
    report_ = std::make_shared<const zrErrorReport>(std::move(report));
  }
  Renew();
}

void ErrorReporting::CompleteUnprinted() {
  if (!isComplete_ && error_) completeEarly();
  Renew();
}

void ErrorReporting::CompleteForAsker(const LastErrors& errors) {
  ErrorReporting* const own = innermost;
  if (!own || &own->errors_ != &errors || own->isComplete_ || !own->error_) return;
  if (errors.Get() != own->report_) return;  // an evaluation of the callback's own came since
  const GilGuard gil;
  own->completeEarly();
}

// A script's code that runs here can ask in its turn: it gets what is known.
void ErrorReporting::completeEarly() {
  ErrorStash pending;
  pending.Park();
  const FetchedError error = std::exchange(error_, nullptr)->Copy().Normalized();
  PyErr_Clear();
  Complete(DisplayError(error, Headline(), nullptr));
}

}  // namespace zrpy
