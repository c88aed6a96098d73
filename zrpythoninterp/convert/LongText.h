// Big texts, both ways. The usual calls go over a text once to find its end or its kind, and once
// more to copy it, each time from main memory; here both happen on one piece that is in the cache.
#pragma once

#include <zrpythoninterp/core/GilGuard.h>
#include <zrpythoninterp/core/PyRef.h>
#include <zrpythoninterp/host/zrString.h>

#include <cstddef>

namespace zrpy {

// From this size on, in bytes, it is worth it.
constexpr std::size_t kLongText = std::size_t{1} << 18;

// The characters up to the first NUL.
zrString CopyUpToNul(const char* characters, std::size_t size);

// The text as a Python object, or null with no error pending when it is not all ASCII or has a NUL.
PyRef FromLongAscii(const zrString& text) ZR_REQUIRES_GIL;

}  // namespace zrpy
