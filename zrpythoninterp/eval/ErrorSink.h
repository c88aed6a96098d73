// An object to which the runtime prints an error: it keeps the text, and hands it on to a stream.
#pragma once

#include <zrpythoninterp/core/GilGuard.h>
#include <zrpythoninterp/core/PyRef.h>
#include <zrpythoninterp/host/zrString.h>

#include <cstddef>
#include <string_view>

namespace zrpy {

// The two ends of a text that can be of any length.
class TextEnds {
 public:
  void Append(PyObject* piece) ZR_REQUIRES_GIL;  // a str; leaves no error pending
  // Memory is short: what was appended so far is all.
  void LoseRest() { isLost_ = true; }
  zrString Joined() const;

 private:
  static constexpr std::size_t kMaxEnd = 64 * 1024;  // bytes of each

  void append(std::string_view piece);

  zrString head_;
  zrString tail_;
  bool isCut_ = false;
  bool isLost_ = false;
};

// Writes pass to the stream (borrowed, null for none) as they come, until one fails: a script's
// stream may raise, and the text is kept all the same. The lock is held for its life.
class ErrorSink {
 public:
  explicit ErrorSink(PyObject* stream);
  ErrorSink(const ErrorSink&) = delete;
  ErrorSink& operator=(const ErrorSink&) = delete;
  ~ErrorSink();

  // The object to print to, null when memory is short. Printing to it after the sink's life does
  // nothing.
  PyObject* file() const { return file_.get(); }
  zrString Text() const { return text_.Joined(); }

 private:
  static PyObject* Write(PyObject* self, PyObject* piece);
  static PyObject* Flush(PyObject* self, PyObject* none);
  static ErrorSink* Of(PyObject* self);

  PyRef stream_;
  PyRef self_;  // a capsule whose context is this object for its life
  PyRef file_;
  TextEnds text_;
};

}  // namespace zrpy
