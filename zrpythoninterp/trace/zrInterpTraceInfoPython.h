#pragma once

#include <zrpythoninterp/host/zrExport.h>
#include <zrpythoninterp/host/zrInterpTraceInfo.h>
#include <zrpythoninterp/host/zrString.h>

/// The runtime's objects, as its own header declares them.
using PyObject = struct _object;

/// One trace event of the Python interpreter: what observers find behind data_ of a notification.
/// **Owns**: nothing of the runtime: the frame is borrowed and good for the length of the
/// notification, in the record and in every copy of it. **Threads**: a plain value. **Lock**: none
/// of the operations needs it; what one does with the frame does. **Fails**: std::bad_alloc only.
class ZR_EXPORT zrInterpTraceInfoPython : public zrInterpTraceInfo {
 public:
  /// The texts are copied; event may be null, file must not be. depth counts the frames that called
  /// this one, 0 for the outermost; line counts from 1.
  zrInterpTraceInfoPython(zrInterp* interp, PyObject* frame, const char* event, int depth,
                          const char* file, int line);
  /// Copies all; the frame in the copy is borrowed as before.
  zrInterpTraceInfoPython(const zrInterpTraceInfoPython& other);
  /// The source keeps its numbers and its frame, and loses its texts.
  zrInterpTraceInfoPython(zrInterpTraceInfoPython&& other) noexcept;
  /// As the copy constructor.
  zrInterpTraceInfoPython& operator=(const zrInterpTraceInfoPython& other);
  /// As the move constructor. Assigning a record to itself changes nothing.
  zrInterpTraceInfoPython& operator=(zrInterpTraceInfoPython&& other) noexcept;
  ~zrInterpTraceInfoPython() override;

  /// "line", "call" or "return".
  zrString GetEvent();
  /// The source file, UTF-8 with forward slashes; "<string>" for script text; empty when its name
  /// has no UTF-8 form.
  zrString GetFile();
  /// The line in that file, from 1; 0 for the "call" of a module's own code on CPython 3.11 and
  /// newer.
  int Getline();
  /// The number of calling frames, 0 for the outermost.
  int GetDepth();
  /// The runtime's frame object, borrowed. To look through it, take the runtime's lock.
  PyObject* GetFrame();

 private:
  friend class zrInterpPython;
  zrInterpTraceInfoPython(zrInterp* interp, PyObject* frame, zrString&& event, int depth,
                          zrString&& file, int line);

  zrString event_;
  zrString file_;
  int line_;
  int depth_;
  PyObject* frame_;
};
