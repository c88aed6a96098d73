// Code that is kept for the texts and files that come again.
#pragma once

#include <zrpythoninterp/core/GilGuard.h>
#include <zrpythoninterp/core/PyRef.h>

#include <cstdint>
#include <string_view>

namespace zrpy {

// What code is made of. Borrows its texts.
struct CodeSource {
  // kNoExpression: statements of a text that the compiler refused as an expression.
  enum class Kind : unsigned char {
    kExpression,
    kStatements,
    kNoExpression,
    kSourceFile,
    kCompiledFile
  };

  Kind kind;
  std::string_view path;     // of a file, as it is shown to the script; empty for a text
  std::string_view content;  // the text, or all bytes of the file
};

// What is known of a source that is about to run.
struct Sighting {
  PyRef code;               // null: to be made in the ordinary way
  bool isWorthKeeping;      // then what was made is offered to KeepCode
  std::uint32_t absence{};  // how many look-ups ago it was last seen
};

// The code that was made of exactly this, if it was kept. No error is pending afterwards.
//
// A text is worth keeping from its second sight on, so that the many that come once cost nothing. A
// file is at once, since what it costs beside its run is much more, and takes the place of what was
// kept of an earlier content.
Sighting LookUpCode(const CodeSource& source) ZR_REQUIRES_GIL;

// Keeps the code for the next sight where there is room. Nothing that is in use makes room: what
// comes in takes the place only of code that was not used for longer than it was itself absent. So
// a stream of texts that come once, or of more texts in turn than fit, pushes nothing out. What
// gave a warning when it was compiled is not to be offered, since the warning must come each time.
void KeepCode(const CodeSource& source, const Sighting& sighting, PyObject* code) ZR_REQUIRES_GIL;

}  // namespace zrpy
