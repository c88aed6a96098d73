#pragma once

#include <zrpythoninterp/host/zrExport.h>
#include <zrpythoninterp/host/zrxNotifierEvent.h>

/// Receives the events of the notifiers to which it was added. The host derives from it.
template <typename T>
class ZR_EXPORT_TEMPLATE zrxObserver {
 public:
  /// An observer must be removed from its notifiers before it is destroyed.
  virtual ~zrxObserver() = default;
  /// Called once for each event. **Owns**: the event is good until the call returns.
  /// **Threads**: whichever thread the event arose on, several at a time. **Fails**: must not
  /// throw.
  virtual void Notify(const zrxNotifierEvent<T>& event) = 0;
};
