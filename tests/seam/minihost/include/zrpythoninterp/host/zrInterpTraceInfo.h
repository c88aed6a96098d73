#pragma once

class zrInterp;

class zrInterpTraceInfo {
 public:
  zrInterpTraceInfo(zrInterp* interp) : interp_(interp) {}
  zrInterpTraceInfo(const zrInterpTraceInfo&) = default;
  zrInterpTraceInfo& operator=(const zrInterpTraceInfo&) = default;
  virtual ~zrInterpTraceInfo() = default;
  virtual zrInterp* GetInterp() { return interp_; }

 private:
  zrInterp* interp_;
};
