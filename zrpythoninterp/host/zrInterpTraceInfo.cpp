// zrInterpTraceInfo: the base of trace records. Test: tests/host/zrInterp_test.cpp.

#include <zrpythoninterp/host/zrInterpTraceInfo.h>

zrInterpTraceInfo::zrInterpTraceInfo(zrInterp* interp) : interp_(interp) {}

zrInterpTraceInfo::zrInterpTraceInfo(const zrInterpTraceInfo& other) = default;

zrInterpTraceInfo& zrInterpTraceInfo::operator=(const zrInterpTraceInfo& other) = default;

zrInterpTraceInfo::~zrInterpTraceInfo() = default;

zrInterp* zrInterpTraceInfo::GetInterp() { return interp_; }
