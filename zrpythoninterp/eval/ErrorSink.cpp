// Where the runtime prints an error to. Test: tests/eval/LastError_test.cpp.
#include <zrpythoninterp/core/Runtime.h>

#include <zrpythoninterp/eval/ErrorSink.h>

#include <algorithm>
#include <new>

namespace zrpy {

// ---- the text ----

namespace {

bool IsInsideCharacter(char byte) { return (static_cast<unsigned char>(byte) & 0xC0) == 0x80; }

}  // namespace

// Of a piece that is longer than both ends only these are turned into UTF-8.
void TextEnds::Append(PyObject* piece) {
  const auto add = [this](const PyRef& text) ZR_REQUIRES_GIL {
    if (text && PyUnicode_IS_ASCII(text.get())) {  // next to all, and UTF-8 as it stands
      append({reinterpret_cast<const char*>(PyUnicode_1BYTE_DATA(text.get())),
              static_cast<size_t>(PyUnicode_GET_LENGTH(text.get()))});
      return;
    }
    const PyRef bytes = PyRef::Steal(
        text ? PyUnicode_AsEncodedString(text.get(), "utf-8", "backslashreplace") : nullptr);
    if (bytes) {
      append({PyBytes_AS_STRING(bytes.get()), static_cast<size_t>(PyBytes_GET_SIZE(bytes.get()))});
    }
    PyErr_Clear();
  };
  if (isLost_) return;
  constexpr Py_ssize_t kEnd = kMaxEnd;
  if (!MakeReady(piece)) return PyErr_Clear();
  const Py_ssize_t length = PyUnicode_GET_LENGTH(piece);
  if (length <= 2 * kEnd) return add(PyRef::Borrow(piece));
  add(PyRef::Steal(PyUnicode_Substring(piece, 0, kEnd)));
  isCut_ = true;
  add(PyRef::Steal(PyUnicode_Substring(piece, length - kEnd, length)));
}

void TextEnds::append(std::string_view piece) {
  if (!isCut_ && tail_.empty()) {
    size_t room = std::min(kMaxEnd - head_.size(), piece.size());
    while (room > 0 && room < piece.size() && IsInsideCharacter(piece[room])) --room;
    head_ += piece.substr(0, room);
    piece.remove_prefix(room);
  }
  tail_ += piece;
  if (tail_.size() <= 2 * kMaxEnd) return;
  size_t start = tail_.size() - kMaxEnd;
  while (start < tail_.size() && IsInsideCharacter(tail_[start])) ++start;
  tail_.erase(0, start);
  isCut_ = true;
}

zrString TextEnds::Joined() const { return head_ + (isCut_ ? "\n...\n" : "") + tail_; }

// ---- the object ----

// A module is the plainest object that takes attributes.
ErrorSink::ErrorSink(PyObject* stream)
    : stream_(PyRef::Borrow(stream)),
      self_(PyRef::Steal(PyCapsule_New(this, nullptr, nullptr))),
      file_(PyRef::Steal(PyModule_New("stderr"))) {
  static PyMethodDef write = {"write", &ErrorSink::Write, METH_O, nullptr};
  static PyMethodDef flush = {"flush", &ErrorSink::Flush, METH_NOARGS, nullptr};
  bool isMade = self_ && file_ && PyCapsule_SetContext(self_.get(), this) == 0;
  for (PyMethodDef* method : {&write, &flush}) {
    const PyRef function = PyRef::Steal(isMade ? PyCFunction_New(method, self_.get()) : nullptr);
    isMade = function && PyObject_SetAttrString(file_.get(), method->ml_name, function.get()) == 0;
  }
  if (!isMade) file_.reset();
  PyErr_Clear();
}

ErrorSink::~ErrorSink() {
  if (self_) PyCapsule_SetContext(self_.get(), nullptr);
}

// Null once the sink is gone; no error is pending then.
ErrorSink* ErrorSink::Of(PyObject* self) {
  auto* const sink = static_cast<ErrorSink*>(PyCapsule_GetContext(self));
  PyErr_Clear();
  return sink;
}

PyObject* ErrorSink::Write(PyObject* self, PyObject* piece) {
  LockIsHeld();
  ErrorSink* const sink = Of(self);
  if (sink && PyUnicode_Check(piece)) {
    try {
      sink->text_.Append(piece);
    } catch (const std::bad_alloc&) {  // must not pass through the runtime's frames
      sink->text_.LoseRest();
    }
    const PyRef stream = PyRef::Borrow(sink->stream_.get());
    if (stream && PyFile_WriteObject(piece, stream.get(), Py_PRINT_RAW) < 0) sink->stream_.reset();
    PyErr_Clear();
  }
  return PyRef::Borrow(Py_None).release();
}

PyObject* ErrorSink::Flush(PyObject* self, PyObject* /*none*/) {
  ErrorSink* const sink = Of(self);
  const PyRef stream = PyRef::Borrow(sink ? sink->stream_.get() : nullptr);
  if (stream) PyRef::Steal(PyObject_CallMethod(stream.get(), "flush", nullptr));
  PyErr_Clear();
  return PyRef::Borrow(Py_None).release();
}

}  // namespace zrpy
