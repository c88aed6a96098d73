// The record of the last error, and the stop of running evaluations from outside: LastError,
// zrLastErrorReport, zrPrintErrors, InterruptScript, setLastError. Test:
// tests/eval/LastError_test.cpp.
#include <zrpythoninterp/core/Runtime.h>

#include <zrpythoninterp/core/Interrupts.h>
#include <zrpythoninterp/core/zrInterpPython.h>
#include <zrpythoninterp/eval/ErrorReporting.h>

#include <utility>

std::shared_ptr<const zrErrorReport> zrLastErrorReport(const zrInterpPython& interp) {
  const zrpy::LastErrors& errors = zrpy::LastErrors::Of(interp);
  zrpy::ErrorReporting::CompleteForAsker(errors);
  return errors.GetOwn();
}

zrPythonError zrInterpPython::LastError() const {
  zrpy::ErrorReporting::CompleteForAsker(*lastErrors_);
  const zrpy::LastErrors::Report report = lastErrors_->Get();
  if (!report) return {};
  return *report;
}

void zrPrintErrors(zrInterpPython& interp, bool print) {
  zrpy::LastErrors::Of(interp).SetPrints(print);
}

void zrInterpPython::setLastError(const zrPythonError* error) {
  if (!error) return lastErrors_->Clear();
  zrErrorReport report;
  static_cast<zrPythonError&>(report) = *error;
  lastErrors_->Set(std::make_shared<const zrErrorReport>(std::move(report)));
}

bool zrInterpPython::InterruptScript() { return initialized_ && zrpy::InterruptEvaluations(); }
