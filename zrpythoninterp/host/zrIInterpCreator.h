#pragma once

#include <zrpythoninterp/host/zrExport.h>
#include <zrpythoninterp/host/zrStlVector.h>
#include <zrpythoninterp/host/zrString.h>

class zrInterp;

/// Makes interpreters of one language. The order of the virtual operations is part of the
/// interface.
class ZR_EXPORT zrIInterpCreator {
 public:
  zrIInterpCreator() = default;
  /// For derived classes, which copy what they hold.
  zrIInterpCreator(const zrIInterpCreator&) = default;
  /// For derived classes, which copy what they hold.
  zrIInterpCreator& operator=(const zrIInterpCreator&) = default;
  virtual ~zrIInterpCreator() = default;

  /// A new interpreter, not yet started. **Owns**: the caller, who deletes it.
  virtual zrInterp* Create() = 0;
  /// Gives the file types that the language goes by. **Fails**: gives false when it has none.
  /// **Form**: without a dot.
  virtual bool GetExtensionTypes(zrStlVector<zrString>& types) = 0;
};
