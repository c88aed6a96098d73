// The record of one trace event. Test: tests/trace/zrInterpTraceInfoPython_test.cpp.
#include <zrpythoninterp/trace/zrInterpTraceInfoPython.h>

#include <utility>

zrInterpTraceInfoPython::zrInterpTraceInfoPython(zrInterp* interp, PyObject* frame,
                                                 const char* event, int depth, const char* file,
                                                 int line)
    : zrInterpTraceInfo(interp),
      event_(event ? event : ""),
      file_(file),
      line_(line),
      depth_(depth),
      frame_(frame) {}

zrInterpTraceInfoPython::zrInterpTraceInfoPython(zrInterp* interp, PyObject* frame,
                                                 zrString&& event, int depth, zrString&& file,
                                                 int line)
    : zrInterpTraceInfo(interp),
      event_(std::move(event)),
      file_(std::move(file)),
      line_(line),
      depth_(depth),
      frame_(frame) {}

zrInterpTraceInfoPython::zrInterpTraceInfoPython(const zrInterpTraceInfoPython& other) = default;

// The base has no move. A moved string need not be empty by itself.
zrInterpTraceInfoPython::zrInterpTraceInfoPython(zrInterpTraceInfoPython&& other) noexcept
    : zrInterpTraceInfo(other),
      event_(std::exchange(other.event_, {})),
      file_(std::exchange(other.file_, {})),
      line_(other.line_),
      depth_(other.depth_),
      frame_(other.frame_) {}

zrInterpTraceInfoPython& zrInterpTraceInfoPython::operator=(const zrInterpTraceInfoPython& other) =
    default;

zrInterpTraceInfoPython& zrInterpTraceInfoPython::operator=(
    zrInterpTraceInfoPython&& other) noexcept {
  if (this == &other) return *this;
  zrInterpTraceInfo::operator=(other);
  event_ = std::exchange(other.event_, {});
  file_ = std::exchange(other.file_, {});
  line_ = other.line_;
  depth_ = other.depth_;
  frame_ = other.frame_;
  return *this;
}

zrInterpTraceInfoPython::~zrInterpTraceInfoPython() = default;

zrString zrInterpTraceInfoPython::GetEvent() { return event_; }

zrString zrInterpTraceInfoPython::GetFile() { return file_; }

int zrInterpTraceInfoPython::Getline() { return line_; }

int zrInterpTraceInfoPython::GetDepth() { return depth_; }

PyObject* zrInterpTraceInfoPython::GetFrame() { return frame_; }
