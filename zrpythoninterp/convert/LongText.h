// Big texts out of the runtime. The usual calls go over a text once to find its end, and once more
// to copy it, each time from main memory; here both happen on one piece that is in the cache.
#pragma once

#include <zrpythoninterp/host/zrString.h>

#include <cstddef>

namespace zrpy {

// From this size on, in bytes, it is worth it.
constexpr std::size_t kLongText = std::size_t{1} << 18;

// The characters up to the first NUL.
zrString CopyUpToNul(const char* characters, std::size_t size);

}  // namespace zrpy
