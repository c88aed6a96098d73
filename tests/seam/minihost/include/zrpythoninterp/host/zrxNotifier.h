#pragma once

#include <zrpythoninterp/host/zrxObserver.h>

template <typename T>
class zrxNotifier {
 public:
  virtual ~zrxNotifier() = default;
  virtual void AddObserver(zrxObserver<T>& observer) = 0;
  virtual void RemoveObserver(zrxObserver<T>& observer) = 0;

 protected:
  virtual void NotifyObservers(const zrxNotifierEvent<T>& event) = 0;
};
