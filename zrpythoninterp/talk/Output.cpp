// What scripts write: SetOutput, the order of handing over, and the streams in sys. Test:
// tests/talk/Output_test.cpp.
#include <zrpythoninterp/core/Runtime.h>

#include <zrpythoninterp/core/PyRef.h>
#include <zrpythoninterp/core/ScriptsCall.h>
#include <zrpythoninterp/core/StoreMutex.h>
#include <zrpythoninterp/talk/Aside.h>
#include <zrpythoninterp/talk/HostModule.h>
#include <zrpythoninterp/talk/KeptObject.h>
#include <zrpythoninterp/talk/Output.h>
#include <zrpythoninterp/talk/OwnedFunction.h>
#include <zrpythoninterp/talk/Talk.h>
#include <zrpythoninterp/talk/zrPythonTalk.h>

#include <exception>
#include <utility>

namespace zrpy {

namespace {

// What may come behind a thread while it hands over; beyond it a write waits until that is done, as
// into a full pipe. Else the thread could be at it for as long as others write. A text costs some
// bytes more than it has.
constexpr size_t kMaxBehind = size_t{1} << 20;
constexpr size_t kTextBytes = 64;

struct Place {
  const zrString name;      // in sys, and for the host
  const char* runtimesOwn;  // in sys
};
const Place kPlaces[] = {{"stdout", "__stdout__"}, {"stderr", "__stderr__"}};

// A stream's two functions share it.
struct Writer {
  Writer(std::shared_ptr<Output> itsOutput, const Place& itsPlace)
      : output(std::move(itsOutput)), place(itsPlace) {}

  const std::shared_ptr<Output> output;
  const Place& place;
  StoreMutex mutex;
  // The first bytes of a character, written to the stream's buffer.
  zrString begun ZR_GUARDED_BY(mutex);
  // Where the next text is made: most writes are small, and making a text anew costs as much.
  zrString spare ZR_GUARDED_BY(mutex);
};
using Owner = std::shared_ptr<Writer>;

constexpr size_t kMaxSpare = 4096;

// One of the writer's texts, left empty there.
zrString Take(Writer& writer, zrString Writer::*text) {
  const StoreLock lock(writer.mutex);
  return std::exchange(writer.*text, zrString());
}

void Put(Writer& writer, zrString Writer::*place, zrString text) {
  const StoreLock lock(writer.mutex);
  std::swap(writer.*place, text);
}

bool HasBegun(Writer& writer) {
  const StoreLock lock(writer.mutex);
  return !writer.begun.empty();
}

// Null with an error pending. Surrogates have no UTF-8 form and are escaped.
bool Encode(zrString& characters, PyObject* text) ZR_REQUIRES_GIL {
  Py_ssize_t size = 0;
  if (const char* const utf8 = PyUnicode_AsUTF8AndSize(text, &size)) {
    characters.assign(utf8, static_cast<size_t>(size));
    return true;
  }
  PyErr_Clear();
  const PyRef bytes = PyRef::Steal(PyUnicode_AsEncodedString(text, "utf-8", "backslashreplace"));
  if (bytes) characters.assign(PyBytes_AS_STRING(bytes.get()), PyBytes_GET_SIZE(bytes.get()));
  return static_cast<bool>(bytes);
}

// To the host, or where it takes none, to the runtime's own stream, which may not be there. False
// with an error pending.
bool Deliver(Writer& writer, PyObject* text) ZR_REQUIRES_GIL {
  if (PyUnicode_GET_LENGTH(text) == 0) return true;
  zrString characters = Take(writer, &Writer::spare);
  if (!Encode(characters, text)) return false;
  const bool taken = writer.output->Write(writer.place.name, characters);
  if (characters.capacity() <= kMaxSpare) Put(writer, &Writer::spare, std::move(characters));
  if (taken) return true;
  const PyRef own = PyRef::Steal(NewSysObject(writer.place.runtimesOwn));
  if (!own || own.get() == Py_None) return !PyErr_Occurred();
  return static_cast<bool>(PyRef::Steal(PyObject_CallMethod(own.get(), "write", "O", text)));
}

// New reference, null with an error pending. Takes the bytes into account that were left from the
// last time; what is left now, the beginning of a character, is kept if more may come.
PyRef Decode(Writer& writer, const char* bytes, size_t size, bool more) ZR_REQUIRES_GIL {
  zrString all = Take(writer, &Writer::begun);
  all.append(bytes, size);
  Py_ssize_t read = 0;
  PyRef text = PyRef::Steal(PyUnicode_DecodeUTF8Stateful(
      all.data(), static_cast<Py_ssize_t>(all.size()), "backslashreplace", more ? &read : nullptr));
  if (text && more) Put(writer, &Writer::begun, all.substr(static_cast<size_t>(read)));
  return text;
}

// The stream's write. Lock held. No exception of C++ gets into the runtime's frames.
PyObject* WriteText(PyObject* self, PyObject* text) {
  LockIsHeld();
  Writer& writer = *StateOf<Owner>(self);
  if (!PyUnicode_Check(text)) {
    return PyErr_Format(PyExc_TypeError, "write() argument must be str, not %s",
                        Py_TYPE(text)->tp_name);
  }
  try {
    const ScriptsCall called;
    if (HasBegun(writer)) {
      const PyRef rest = Decode(writer, "", 0, false);
      if (!rest || !Deliver(writer, rest.get())) return nullptr;
    }
    if (Deliver(writer, text)) return PyLong_FromSsize_t(PyUnicode_GET_LENGTH(text));
  } catch (...) {
    RaiseThrown();
  }
  return nullptr;
}

// The write of the stream's buffer, under the same terms.
PyObject* WriteBytes(PyObject* self, PyObject* bytes) {
  LockIsHeld();
  Writer& writer = *StateOf<Owner>(self);
  Py_buffer view;
  if (PyObject_GetBuffer(bytes, &view, PyBUF_SIMPLE) < 0) return nullptr;
  const Py_ssize_t size = view.len;
  PyRef text;
  bool delivered = false;
  try {
    const ScriptsCall called;
    text = Decode(writer, static_cast<const char*>(view.buf), static_cast<size_t>(size), true);
    delivered = text && Deliver(writer, text.get());
  } catch (...) {
    RaiseThrown();
  }
  PyBuffer_Release(&view);
  return delivered ? PyLong_FromSsize_t(size) : nullptr;
}

// Null with an error pending.
PyRef NewStream(std::shared_ptr<Output> output, const Place& place,
                PyObject* type) ZR_REQUIRES_GIL {
  static PyMethodDef writeText = {"write", &WriteText, METH_O, nullptr};
  static PyMethodDef writeBytes = {"write", &WriteBytes, METH_O, nullptr};
  const Owner writer = std::make_shared<Writer>(std::move(output), place);
  const PyRef text = NewOwnedFunction(writeText, writer);
  const PyRef bytes = text ? NewOwnedFunction(writeBytes, writer) : PyRef();
  return PyRef::Steal(
      bytes ? PyObject_CallFunction(type, "sOO", place.name.c_str(), text.get(), bytes.get())
            : nullptr);
}

PyRef NewDict() { return PyRef::Steal(PyDict_New()); }

// By its name, our stream of this life; by the name of the runtime's own, the one that ours took
// the place of. Up to 3.13 the runtime prints to what sys has without owning it, so what is taken
// from there stays: one and the same of ours, however often a host changes its mind.
using KeptStreams = KeptObject<&NewDict>;

// Null with an error pending.
PyRef StreamOf(std::shared_ptr<Output> output, const Place& place, PyObject* type,
               PyObject* kept) ZR_REQUIRES_GIL {
  PyRef stream = PyRef::Steal(NewDictItem(kept, place.name.c_str()));
  if (stream || PyErr_Occurred()) return stream;
  stream = NewStream(std::move(output), place, type);
  if (stream && PyDict_SetItemString(kept, place.name.c_str(), stream.get()) < 0) return PyRef();
  return stream;
}

}  // namespace

void Output::Set(Function function) {
  const GilReleaseIfHeld released;
  auto changed = function ? std::make_shared<const Function>(std::move(function)) : nullptr;
  std::unique_lock<Mutex> lock(mutex_);
  std::swap(function_, changed);
  if (!changed || running_ != changed.get()) return;
  if (handing_ == std::this_thread::get_id()) {
    retired_ = std::move(changed);
  } else {
    wait(lock, [&] { return running_ != changed.get(); });
  }
}

bool Output::IsSet() const {
  const std::lock_guard<Mutex> lock(mutex_);
  return function_ != nullptr;
}

bool Output::Write(const zrString& stream, zrString& text) {
  bool handsOver = false;
  {
    const std::lock_guard<Mutex> lock(mutex_);
    const std::thread::id own = std::this_thread::get_id();
    if (!function_ || handing_ == own) return false;
    if (handing_ == std::thread::id()) {
      handing_ = own;
      running_ = function_.get();
      handsOver = true;
    } else {
      behind_ += text.size() + kTextBytes;
      waiting_.push_back({&stream, zrString()});
      waiting_.back().text.swap(text);
      if (behind_ <= kMaxBehind) return true;
    }
  }
  const GilRelease released;
  if (handsOver) {
    handOver(stream, text);
  } else {
    std::unique_lock<Mutex> lock(mutex_);
    wait(lock, [this] { return behind_ <= kMaxBehind; });
  }
  return true;
}

template <typename Predicate>
void Output::wait(std::unique_lock<Mutex>& lock, Predicate predicate) {
  ++waits_;
  moved_.wait(lock, predicate);
  --waits_;
}

// What other threads wrote is the parent's to hand over.
void Output::InChild() {
  waiting_.clear();
  behind_ = 0;
  waits_ = 0;
  if (handing_ == std::this_thread::get_id()) return;
  handing_ = std::thread::id();
  running_ = nullptr;
}

// Without the lock. What the function throws for the text of others has nobody to go to.
void Output::handOver(const zrString& stream, const zrString& text) {
  const auto call = [this](const zrString& itsStream, const zrString& itsText) {
    try {
      (*running_)(itsStream, itsText);
    } catch (...) {
      return std::current_exception();
    }
    return std::exception_ptr();
  };
  const std::exception_ptr thrown = call(stream, text);
  std::shared_ptr<const Function> dropped;  // outside the mutex: it holds what the host gave
  std::unique_lock<Mutex> lock(mutex_);
  for (;;) {
    dropped = std::move(retired_);
    running_ = nullptr;
    if (!function_ || waiting_.empty()) break;
    const Piece piece = std::move(waiting_.front());
    waiting_.pop_front();
    running_ = function_.get();
    if (waits_ != 0) moved_.notify_all();
    lock.unlock();
    dropped.reset();
    call(*piece.stream, piece.text);
    lock.lock();
  }
  if (!waiting_.empty()) waiting_.clear();  // the function was taken away meanwhile
  behind_ = 0;
  handing_ = std::thread::id();
  if (waits_ != 0) moved_.notify_all();
  lock.unlock();
  if (thrown) std::rethrow_exception(thrown);
}

void Output::ChangeStreams() {
  const PyRef type = FindHostClass(HostClass::kStream);
  const PyRef kept = type ? KeptStreams::Get() : PyRef();
  if (!kept) return;
  const bool set = IsSet();
  for (const Place& place : kPlaces) {
    const PyRef now = PyRef::Steal(NewSysObject(place.name.c_str()));
    const bool ours = now && reinterpret_cast<PyObject*>(Py_TYPE(now.get())) == type.get();
    PyErr_Clear();
    if (ours == set) continue;
    const PyRef next = set ? StreamOf(shared_from_this(), place, type.get(), kept.get())
                           : PyRef::Steal(NewSysObject(place.runtimesOwn));
    if (!next) return;
    if (set && now && PyDict_SetItemString(kept.get(), place.runtimesOwn, now.get()) < 0) return;
    if (PySys_SetObject(place.name.c_str(), next.get()) < 0) return;
  }
}

}  // namespace zrpy

void zrPythonTalk::SetOutput(OutputFn output) {
  talk_->output().Set(std::move(output));
  const zrpy::Aside aside(interp_);
  if (aside) talk_->output().ChangeStreams();
}
