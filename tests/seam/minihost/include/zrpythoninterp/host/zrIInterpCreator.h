#pragma once

#include <zrpythoninterp/host/zrStlVector.h>
#include <zrpythoninterp/host/zrString.h>

class zrInterp;

class zrIInterpCreator {
 public:
  zrIInterpCreator() = default;
  zrIInterpCreator(const zrIInterpCreator&) = default;
  zrIInterpCreator& operator=(const zrIInterpCreator&) = default;
  virtual ~zrIInterpCreator() = default;
  virtual zrInterp* Create() = 0;
  virtual bool GetExtensionTypes(zrStlVector<zrString>& types) = 0;
};
