// Who is told of trace events: AddObserver, RemoveObserver, NotifyObservers. Private here: nothing;
// the walk has a file of its own. Test: tests/trace/Observers_test.cpp.
#include <zrpythoninterp/core/Runtime.h>

#include <zrpythoninterp/core/zrInterpPython.h>
#include <zrpythoninterp/host/Platform.h>
#include <zrpythoninterp/trace/ObserverWalk.h>

void zrInterpPython::AddObserver(zrxObserver<zrInterpTraceInfo*>& observer) {
  const std::lock_guard<zrpy::Mutex> lock(walks_->mutex);
  if (!observers_.emplace(&observer, &Observer::Notify).second) return;
  ++walks_->revision;
}

// The wait is for the time without the runtime's lock, since an observer may take it, and without
// the mutex when the lock is taken back. It is for calls of this observer only, and ends however
// much others add and remove meanwhile.
void zrInterpPython::RemoveObserver(zrxObserver<zrInterpTraceInfo*>& observer) {
  std::uint64_t revision = 0;
  {
    const std::lock_guard<zrpy::Mutex> lock(walks_->mutex);
    if (observers_.erase(&observer) != 0) ++walks_->revision;
    revision = walks_->revision;
    // Two observers that take each other out would wait for each other.
    if (zrpy::ObserverWalk::OnThisThread()) return;
    if (!walks_->newest) return;
  }
  zrpy::FenceOtherThreads();
  const auto isCalled = [&] { return zrpy::ObserverWalk::AnyCalls(*this, observer, revision); };
  {
    const std::lock_guard<zrpy::Mutex> lock(walks_->mutex);
    if (!isCalled()) return;
  }
  const zrpy::GilReleaseIfHeld released;
  std::unique_lock<zrpy::Mutex> lock(walks_->mutex);
  walks_->moved.wait(lock, [&] { return !isCalled(); });
}

void zrInterpPython::NotifyObservers(const zrxNotifierEvent<zrInterpTraceInfo*>& event) {
  zrpy::ObserverWalk(*this).Run(event);
}
