#pragma once

#include <zrpythoninterp/host/zrString.h>

/// What is known of a script's error. A plain value. It is handed out by value, so it keeps its
/// members for good: zrErrorReport is what grows.
/// **Form**: all texts are UTF-8 and never null; what a text has no UTF-8 form for is
/// backslash-escaped.
struct zrPythonError {
  /// The name of the exception's class, with its module unless it is built in: "ZeroDivisionError",
  /// "json.decoder.JSONDecodeError". Empty when there was no error.
  zrString kind;
  /// The text of the exception, as str() gives it; empty when it has none. Of a text that did not
  /// compile without its place. A text of more than 65536 characters is cut and ends in "...".
  zrString message;
  /// The file of the innermost line that ran, or of the text that did not compile; "<string>" for
  /// script text. Empty when the error came from no line of Python.
  zrString file;
  /// The line in that file, from 1; 0 when there is none.
  int line = 0;
  /// What the runtime prints: the calls that led to the error, outermost first, the last line being
  /// kind and message; errors that led to this one come before. Of a long text both ends. Ends in a
  /// line feed. Empty until the error is printed, but for who asks in the alert callback.
  zrString traceback;
  /// True when the script asked the process to end (SystemExit).
  bool isExit = false;
  /// The status that the process would have ended with: 0 for none, the number given, 1 for a text.
  /// 0 when isExit is false.
  int exitStatus = 0;

  /// True when there was no error.
  bool IsEmpty() const { return kind.empty(); }
};
