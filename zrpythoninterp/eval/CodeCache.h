// Code of texts that are evaluated again and again.
#pragma once

#include <zrpythoninterp/core/GilGuard.h>
#include <zrpythoninterp/core/PyRef.h>
#include <zrpythoninterp/eval/RunText.h>

namespace zrpy {

struct KnownText {
  PyRef code;  // null: to be compiled in the ordinary way
  PyRef name;  // the text itself, where it is nothing but a name
};

// The code object of a text that was seen before in this mode, or nothing, with no error pending:
// then whoever asks compiles the text in the ordinary way. Compiling costs many times what a small
// text's run does. A text is entered at its second sight, so that the many that come once cost
// nothing; one that does not compile, or not without a warning, is never entered, so that its error
// or its warning comes each time. The store is bounded in texts and bytes, and ends with the life
// of the runtime.
KnownText LookUpText(const zrString& script, TextMode mode) ZR_REQUIRES_GIL;

}  // namespace zrpy
