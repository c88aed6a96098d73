// What is known of an error without running script code.
#pragma once

#include <zrpythoninterp/core/zrErrorReport.h>
#include <zrpythoninterp/eval/FetchedError.h>

namespace zrpy {

// The longest message that is kept, in characters; of a longer one the start is.
constexpr Py_ssize_t kMaxMessage = 64 * 1024;

struct ErrorDetails {
  zrErrorReport report;        // without the traceback, and without what is read from files
  bool messageIsKnown = true;  // false where only code of a script can tell it
};

// Runs no script code, whatever classes the error and what it holds are of, and keeps nothing
// alive. Leaves no error pending.
ErrorDetails ReadDetails(const FetchedError& error) ZR_REQUIRES_GIL;

// UTF-8; what has no such form is backslash-escaped. A text that is too long ends in "...". Leaves
// no error pending.
zrString BoundedText(PyObject* text) ZR_REQUIRES_GIL;

// Adds the lines of the report's places, read from their files, and turns their columns from bytes
// into characters. Gives the lock up meanwhile.
void ReadSourceLines(zrErrorReport& report) ZR_REQUIRES_GIL;

}  // namespace zrpy
