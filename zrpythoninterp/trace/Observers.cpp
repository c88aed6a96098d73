// Who is told of trace events: AddObserver, RemoveObserver, NotifyObservers. Private here: nothing;
// the walk has a file of its own. Test: tests/trace/Observers_test.cpp.
#include <zrpythoninterp/core/Runtime.h>

#include <zrpythoninterp/core/zrInterpPython.h>
#include <zrpythoninterp/host/Platform.h>
#include <zrpythoninterp/trace/ObserverWalk.h>

void zrInterpPython::AddObserver(zrxObserver<zrInterpTraceInfo*>& observer) {
  const std::lock_guard<zrpy::Mutex> lock(zrpy::WalkChanges::The().mutex);
  if (observers_.emplace(&observer, &Observer::Notify).second) walks_->Move();
}

// The wait is for the time without the runtime's lock, since an observer may take it, and without
// the mutex when the lock is taken back. It is for calls of this observer only, and ends however
// much others add and remove meanwhile.
void zrInterpPython::RemoveObserver(zrxObserver<zrInterpTraceInfo*>& observer) {
  zrpy::WalkChanges& changes = zrpy::WalkChanges::The();
  std::uint64_t revision = 0;
  {
    const std::lock_guard<zrpy::Mutex> lock(changes.mutex);
    if (observers_.erase(&observer) != 0) walks_->Move();
    revision = walks_->revision;
    // Two observers that take each other out would wait for each other.
    if (zrpy::ObserverWalk::OnThisThread()) return;
    zrpy::FenceOtherThreads();
    if (!walks_->IsCalled(observer, revision)) return;
  }
  const zrpy::GilReleaseIfHeld released;
  changes.Await([&] { return !walks_->IsCalled(observer, revision); });
}

void zrInterpPython::NotifyObservers(const zrxNotifierEvent<zrInterpTraceInfo*>& event) {
  zrpy::ObserverWalk(*this).Run(event);
}
