// The instructions of a piece of code, and what catches errors in it. Test:
// tests/eval/StoredErrorValue_test.cpp.
#include <zrpythoninterp/core/Runtime.h>

#include <zrpythoninterp/core/ExceptionTable.h>
#include <zrpythoninterp/eval/TracebackSpot.h>

#include <algorithm>
#include <cstddef>
#include <string_view>
#include <utility>
#include <vector>

namespace zrpy {

namespace {

using Bytes = std::string_view;
constexpr int kInstructionBytes = ExceptionTable::kUnitBytes;

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

// 3.11 and later. Generators and inlined comprehensions have entries of their own, which only tidy
// up and send the error on: those are followed to the next one.
bool TableCatches(Bytes code, Bytes table, int position) {
  for (size_t steps = 0; steps < code.size(); ++steps) {
    position = ExceptionTable(table).Find(position).target;
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

Bytes ViewOf(const PyRef& bytes) {
  if (!bytes || !PyBytes_Check(bytes.get())) return Bytes();
  return Bytes(PyBytes_AS_STRING(bytes.get()), static_cast<size_t>(PyBytes_GET_SIZE(bytes.get())));
}

// What the code shows under the name.
PyRef BytesOf(PyObject* code, const char* name) {
  PyRef bytes = PyRef::Steal(PyObject_GetAttrString(code, name));
  PyErr_Clear();
  return bytes;
}

}  // namespace

TracebackSpot::TracebackSpot(const PyTracebackObject* entry) : position_(entry->tb_lasti) {
  const PyRef code = PyRef::Steal(reinterpret_cast<PyObject*>(NewFrameCode(entry->tb_frame)));
  bytes_ = BytesOf(code.get(), "co_code");
  if (kHasExceptionTable) table_ = BytesOf(code.get(), "co_exceptiontable");
}

Op TracebackSpot::op() const {
  const Bytes code = ViewOf(bytes_);
  return OpAt(code, SkipPrefixes(code, position_));
}

bool TracebackSpot::UnderHandler() const {
  const Bytes code = ViewOf(bytes_);
  return kHasExceptionTable ? TableCatches(code, ViewOf(table_), position_)
                            : BlocksCatch(code, position_);
}

bool TracebackSpot::Waits() const {
  return position_ < 0 || op() == Op::kSuspend || op() == Op::kReturnGenerator ||
         OpAt(ViewOf(bytes_), position_ - kInstructionBytes) == Op::kReturnGenerator;
}

}  // namespace zrpy
