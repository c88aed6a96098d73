#pragma once

#include <zrpythoninterp/host/zrxNotifierEvent.h>

template <typename T>
class zrxObserver {
 public:
  virtual ~zrxObserver() = default;
  virtual void Notify(const zrxNotifierEvent<T>& event) = 0;
};
