#pragma once

#include <zrpythoninterp/host/zrExport.h>

class zrInterp;

/// The base of the record of one trace event; each back-end adds what it knows of the event.
/// **Owns**: nothing; the interpreter is borrowed and not looked through.
class ZR_EXPORT zrInterpTraceInfo {
 public:
  /// interp may be null.
  explicit zrInterpTraceInfo(zrInterp* interp);
  /// Of the same interpreter.
  zrInterpTraceInfo(const zrInterpTraceInfo& other);
  /// Takes over the interpreter.
  zrInterpTraceInfo& operator=(const zrInterpTraceInfo& other);
  virtual ~zrInterpTraceInfo();

  /// The interpreter in which the event arose, as given at construction.
  virtual zrInterp* GetInterp();

 private:
  zrInterp* interp_;
};
