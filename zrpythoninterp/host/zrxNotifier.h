#pragma once

#include <zrpythoninterp/host/zrExport.h>
#include <zrpythoninterp/host/zrxNotifierEvent.h>
#include <zrpythoninterp/host/zrxObserver.h>

/// Sends events to observers. The order of the virtual operations is part of the interface.
template <typename T>
class ZR_EXPORT_TEMPLATE zrxNotifier {
 public:
  virtual ~zrxNotifier() = default;
  /// Adds the observer, once however often it is added. **Owns**: the caller keeps the observer
  /// and removes it before destroying it.
  virtual void AddObserver(zrxObserver<T>& observer) = 0;
  /// Removes the observer; one that was never added is no error.
  virtual void RemoveObserver(zrxObserver<T>& observer) = 0;

 protected:
  /// Hands the event to the observers.
  virtual void NotifyObservers(const zrxNotifierEvent<T>& event) = 0;
};
