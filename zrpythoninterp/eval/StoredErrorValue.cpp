// CPython 3.5 stores an error of its own as a bare text, and makes an instance of it only where a
// handler or a trace function asks for one. Newer runtimes make it at once, and then the instance
// and the instructions that the traceback names tell what 3.5 would have had at the end. Test:
// tests/eval/StoredErrorValue_test.cpp.
#include <zrpythoninterp/eval/StoredErrorValue.h>

#include <algorithm>
#include <cstddef>
#include <initializer_list>
#include <string_view>
#include <utility>
#include <vector>

namespace zrpy {
namespace {

// ---- instructions: functions on bytes ----

using Bytes = std::string_view;
constexpr int kInstructionBytes = 2;

unsigned char ByteAt(Bytes bytes, int position) {
  const size_t index = static_cast<size_t>(position);
  return index < bytes.size() ? static_cast<unsigned char>(bytes[index]) : '\0';
}

Op OpAt(Bytes code, int position) { return OpOf(ByteAt(code, position)); }

// The instruction behind the prefixes at the position: a traceback names the first of them.
int SkipPrefixes(Bytes code, int position) {
  while (OpAt(code, position) == Op::kExtendedArg) position += kInstructionBytes;
  return position;
}

// A number of the exception table: six bits to a byte, highest first, and one bit for "more
// follows".
int ReadTableNumber(Bytes table, int& position) {
  int number = ByteAt(table, position) & 0x3f;
  while ((ByteAt(table, position++) & 0x40) != 0) {
    number = (number << 6) | (ByteAt(table, position) & 0x3f);
  }
  return number;
}

// Where an error at the position goes on, or -1 when the code has no place for it.
int TableTarget(Bytes table, int position) {
  const int end = static_cast<int>(table.size());
  for (int index = 0; index < end;) {
    const int start = ReadTableNumber(table, index) * kInstructionBytes;
    const int length = ReadTableNumber(table, index) * kInstructionBytes;
    const int target = ReadTableNumber(table, index) * kInstructionBytes;
    ReadTableNumber(table, index);  // depth of the value stack
    if (position >= start && position < start + length) return target;
  }
  return -1;
}

// 3.11 and later. Generators and inlined comprehensions have entries of their own, which only tidy
// up and send the error on: those are followed to the next one.
bool TableCatches(Bytes code, Bytes table, int position) {
  for (size_t steps = 0; steps < code.size(); ++steps) {
    position = TableTarget(table, position);
    if (position < 0) return false;
    if (OpAt(code, position) == Op::kHandler) return true;
  }
  return false;
}

// Up to 3.10. Follows every way through the code from its start, with the blocks that are open on
// it, until one comes to the position.
bool BlocksCatch(Bytes code, int position) {
  struct Way {
    int at;
    std::vector<bool> blocks;  // the open ones; true for those with a handler
  };
  std::vector<bool> seen(code.size());
  std::vector<Way> ways{{0, {}}};
  while (!ways.empty()) {
    int at = ways.back().at;
    std::vector<bool> blocks = std::move(ways.back().blocks);
    ways.pop_back();
    Op op = Op::kOther;
    while (op != Op::kJump && op != Op::kJumpForward && op != Op::kRaise && op != Op::kLeave) {
      const size_t index = static_cast<size_t>(at);
      if (index >= code.size() || seen[index]) break;
      seen[index] = true;
      const int instruction = SkipPrefixes(code, at);
      if (at <= position && position <= instruction) {
        return std::find(blocks.begin(), blocks.end(), true) != blocks.end();
      }
      int argument = 0;
      for (; at <= instruction; at += kInstructionBytes) {
        argument = (argument << 8) | ByteAt(code, at + 1);
      }
      op = OpAt(code, instruction);
      const int absolute = argument * kJumpUnit;
      const int forward = at + absolute;
      const bool opens = op == Op::kSetupHandler || op == Op::kSetupLoop;
      if (op == Op::kJump || op == Op::kBranch) ways.push_back({absolute, blocks});
      if (op == Op::kJumpForward || op == Op::kBranchForward) ways.push_back({forward, blocks});
      if (opens) ways.push_back({forward, blocks});  // the handler itself lies outside the block
      if (opens) blocks.push_back(op == Op::kSetupHandler);
      if (op == Op::kPopBlock && !blocks.empty()) blocks.pop_back();
    }
  }
  return false;
}

// ---- the traceback ----

Bytes ViewOf(const PyRef& bytes) {
  if (!bytes || !PyBytes_Check(bytes.get())) return Bytes();
  return Bytes(PyBytes_AS_STRING(bytes.get()), static_cast<size_t>(PyBytes_GET_SIZE(bytes.get())));
}

// One entry of a traceback: the code and the instruction at which the error left it or passed it.
class Spot {
 public:
  // Lock held. May leave an error pending; the code then seems empty.
  explicit Spot(const PyTracebackObject* entry) : position_(entry->tb_lasti) {
    const PyRef code = PyRef::Steal(reinterpret_cast<PyObject*>(NewFrameCode(entry->tb_frame)));
    bytes_ = PyRef::Steal(PyObject_GetAttrString(code.get(), "co_code"));
    if (!kHasExceptionTable) return;
    table_ = PyRef::Steal(PyObject_GetAttrString(code.get(), "co_exceptiontable"));
  }

  Op op() const { return OpAt(code(), SkipPrefixes(code(), position_)); }

  bool UnderHandler() const {
    return kHasExceptionTable ? TableCatches(code(), ViewOf(table_), position_)
                              : BlocksCatch(code(), position_);
  }

  // A generator waits here, or has not begun, so that an error here was thrown into it.
  bool Waiting() const {
    return position_ < 0 || op() == Op::kSuspend || op() == Op::kReturnGenerator ||
           OpAt(code(), position_ - kInstructionBytes) == Op::kReturnGenerator;
  }

 private:
  Bytes code() const { return ViewOf(bytes_); }

  PyRef bytes_;
  PyRef table_;
  int position_;
};

// ---- the error ----

bool Is(PyObject* error, PyObject* type) { return PyErr_GivenExceptionMatches(error, type) != 0; }

// Borrowed. Read past whatever a subclass makes of the name "args".
PyObject* ArgumentsOf(PyObject* error) {
  return reinterpret_cast<PyBaseExceptionObject*>(error)->args;
}

bool HasText(PyObject* error, std::initializer_list<const char*> texts) {
  PyObject* const arguments = ArgumentsOf(error);
  if (PyTuple_GET_SIZE(arguments) != 1) return false;
  PyObject* const text = PyTuple_GET_ITEM(arguments, 0);
  return PyUnicode_Check(text) && std::any_of(texts.begin(), texts.end(), [text](const char* one) {
           return PyUnicode_CompareWithASCIIString(text, one) == 0;
         });
}

// Errors that 3.5 makes as instances from the start, whoever raises them.
bool IsBornInstance(PyObject* error, Op op) {
  const Py_ssize_t count = PyTuple_GET_SIZE(ArgumentsOf(error));
  if (Is(error, PyExc_ImportError)) {
    return op != Op::kImportFrom &&
           !HasText(error, {"attempted relative import with no known parent package"});
  }
  if (Is(error, PyExc_SyntaxError)) {  // of an imported file, or found after parsing
    PyObject* const line = reinterpret_cast<PySyntaxErrorObject*>(error)->lineno;
    return op == Op::kImportName || (count == 1 && line != nullptr && line != Py_None);
  }
  if (Is(error, PyExc_UnicodeError)) return count == 5;
  if (Is(error, PyExc_OSError)) return count >= 2;
  if (Is(error, PyExc_StopIteration)) return count > 0;
  return Is(error, PyExc_Warning);
}

// True when the runtime raised the error and nothing on its way made an instance of it on 3.5.
bool StayedBare(PyObject* error, PyObject* traceback) {
  if (PyRef::Steal(PyException_GetContext(error))) return false;  // while another was handled
  if (traceback == nullptr) return !IsBornInstance(error, Op::kOther);
  if (PyThreadState_Get()->c_tracefunc != nullptr) return false;  // a trace function saw it
  for (auto* entry = reinterpret_cast<PyTracebackObject*>(traceback);; entry = entry->tb_next) {
    const Spot spot(entry);
    if (spot.UnderHandler()) return false;
    if (entry->tb_next != nullptr) {
      if (spot.op() == Op::kImportName) return false;  // passed the import system's handlers
      continue;
    }
    if (spot.op() == Op::kRaise) {  // only these two are the raise statement's own
      return HasText(
          error, {"exceptions must derive from BaseException", "No active exception to reraise"});
    }
    // Thrown into a generator; but a call that went too deep can stop ahead of its first
    // instruction.
    if (spot.Waiting() && !Is(error, PyExc_RecursionError)) return false;
    return !IsBornInstance(error, spot.op());
  }
}

// The message and location of a syntax error, without the items that 3.10 adds to the location.
PyRef SyntaxArguments(PyObject* arguments) {
  constexpr Py_ssize_t kLocationItems = 4;
  if (!PyTuple_Check(arguments) || PyTuple_GET_SIZE(arguments) != 2) {
    return PyRef::Borrow(arguments);
  }
  PyObject* const location = PyTuple_GET_ITEM(arguments, 1);
  if (!PyTuple_Check(location)) return PyRef::Borrow(arguments);
  const PyRef start = PyRef::Steal(PyTuple_GetSlice(location, 0, kLocationItems));
  return PyRef::Steal(start ? PyTuple_Pack(2, PyTuple_GET_ITEM(arguments, 0), start.get())
                            : nullptr);
}

// What 3.5 would have made the instance from.
PyRef BareValue(PyObject* error) {
  PyObject* const arguments = ArgumentsOf(error);
  const Py_ssize_t count = PyTuple_GET_SIZE(arguments);
  if (count == 0) return PyRef();
  if (Is(error, PyExc_SyntaxError) && count == 2) return SyntaxArguments(arguments);
  const bool isKey = Is(error, PyExc_KeyError) &&
                     !HasText(error, {"pop from an empty set", "popitem(): dictionary is empty",
                                      "dictionary is empty"});
  return PyRef::Borrow(isKey || count > 1 ? arguments : PyTuple_GET_ITEM(arguments, 0));
}

}  // namespace

PyRef StoredErrorValue(PyObject* type, PyObject* value, PyObject* traceback) {
  PyRef stored = PyRef::Borrow(value);
  if (value == nullptr) return stored;
  if (PyExceptionInstance_Check(value)) {
    const bool isBare = IsMadeAsInstance(type) && StayedBare(value, traceback);
    if (isBare) stored = BareValue(value);
  } else if (type == PyExc_StopIteration || value == Py_None) {
    stored.reset();  // the end of a generator since 3.6, sys.exit() since 3.8
  } else if (Is(type, PyExc_SyntaxError)) {
    stored = SyntaxArguments(value);
  }
  PyErr_Clear();
  return stored;
}

}  // namespace zrpy
