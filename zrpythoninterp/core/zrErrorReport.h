#pragma once

#include <zrpythoninterp/core/zrPythonError.h>
#include <zrpythoninterp/host/zrExport.h>
#include <zrpythoninterp/host/zrString.h>

#include <memory>

class zrInterpPython;

/// A place in a script, as an editor marks it. A plain value.
/// **Form**: as in zrPythonError. Lines and columns count from 1, and 0 is one that the runtime
/// does not know. Columns count characters; where source is empty, bytes of UTF-8.
struct zrErrorPlace {
  /// The file; "<string>" for script text. Empty when there is no such place.
  zrString file;
  /// The line in it.
  int line = 0;
  /// The function around the line, "<module>" outside of any; empty for a text that did not
  /// compile.
  zrString function;
  /// The line itself, with its indentation and without its end. Empty for script text that ran,
  /// which the host has, and for a file that cannot be read.
  zrString source;
  /// The part of the line that failed: its first column and the one behind it. Known from CPython
  /// 3.11 on; for a text that did not compile column is known on all, and its end from 3.10 on.
  int column = 0;
  /// The line of that part's end, which can be another one.
  int endLine = 0;
  /// The column behind that part, in endLine.
  int endColumn = 0;
};

/// All that is known of a script's error: what zrPythonError tells, and where a user would look.
///
/// Only the library makes these, and hands them out by pointer. So later releases can add members
/// at the end of this structure, which hosts that were built before do not see and do not mind.
struct zrErrorReport : zrPythonError {
  /// The innermost line that ran, or what did not compile: file and line are those of
  /// zrPythonError.
  zrErrorPlace innermost;
  /// The innermost line in the text or the file that the host gave: the user's own line, where
  /// innermost lies in a module that it called. Without a file when there is none.
  zrErrorPlace own;
};

/// The error that the calling thread's last evaluation reported, in full; null when that ran clean.
/// On a thread that has not evaluated, that of the last evaluation on any. In the alert and the
/// exit callback, the error that it is called for: the error's own __str__ can run then.
/// **Owns**: the report does not change and lives as long as a pointer to it. **Threads**: any.
/// **Lock**: none is needed; taken in the callbacks.
ZR_EXPORT std::shared_ptr<const zrErrorReport> zrLastErrorReport(const zrInterpPython& interp);

/// Whether the runtime prints the errors of this interpreter's scripts to its sys.stderr, as it
/// does at first. A host that shows errors itself switches it off; all else stays: the alert, the
/// report, sys.last_value and its kin, and a sys.excepthook that a script has set.
/// **Threads**: any; holds from the next error on.
ZR_EXPORT void zrPrintErrors(zrInterpPython& interp, bool print);
