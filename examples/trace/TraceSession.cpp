// Observers, adapter and switches put together.
#include <examples/trace/PyHandle.h>
// PyHandle.h brings Python.h, which comes first.
#include <examples/trace/Coverage.h>
#include <examples/trace/FrameView.h>
#include <examples/trace/Stepper.h>
#include <examples/trace/Timeline.h>
#include <examples/trace/TraceAdapter.h>
#include <examples/trace/TraceSession.h>
#include <zrpythoninterp/core/zrInterpPython.h>

#include <iostream>
#include <optional>
#include <stdexcept>

struct TraceSession::Parts {
  zrInterpPython& interp;
  std::optional<Coverage> coverage;
  std::optional<Timeline> timeline;
  std::optional<Stepper> stepper;
  bool tracing = false;
};

TraceSession::TraceSession(zrInterpPython& interp, const TraceOptions& options)
    : parts_(new Parts{interp, {}, {}, {}}) {
  if (!options.coverageFile.empty()) parts_->coverage.emplace(options.coverageFile);
  if (!options.timelineFile.empty()) parts_->timeline.emplace(options.timelineFile);
  if (options.step) {
    parts_->stepper.emplace(std::cin, std::cerr, [&interp] {
      const PyLock lock;  // whoever holds it interrupts at once, before the script's next line
      interp.InterruptScript();
    });
  }
  // An evaluation, rather than Init alone, gives this thread a state that stays.
  if (!interp.EvalScript("pass", zrString())) throw std::runtime_error("Python does not start");
  {
    const PyLock lock;
    if (!InstallTrace()) {
      PyErr_Clear();
      throw std::runtime_error("Python refuses to be traced");
    }
  }
  parts_->tracing = true;
  if (parts_->coverage) interp.AddObserver(*parts_->coverage);
  if (parts_->timeline) interp.AddObserver(*parts_->timeline);
  if (parts_->stepper) interp.AddObserver(*parts_->stepper);
  interp.StartTracing();
}

TraceSession::~TraceSession() {
  try {
    Finish();
  } catch (const std::runtime_error&) {
  }
}

void TraceSession::Finish() {
  if (!std::exchange(parts_->tracing, false)) return;
  const struct Forget {
    ~Forget() { ForgetCode(); }  // behind the writing, also when that throws
  } forget;
  {
    const PyLock lock;
    RemoveTrace();
  }
  zrInterpPython& interp = parts_->interp;
  interp.StopTracing();
  if (parts_->coverage) interp.RemoveObserver(*parts_->coverage);
  if (parts_->timeline) interp.RemoveObserver(*parts_->timeline);
  if (parts_->stepper) interp.RemoveObserver(*parts_->stepper);
  if (parts_->coverage) parts_->coverage->Write();
  if (parts_->timeline) parts_->timeline->Finish();
}

bool TraceSession::UserQuit() const { return parts_->stepper && parts_->stepper->UserQuit(); }
