// Values on the command line.
#pragma once

#include <zrpythoninterp/host/zrVariant.h>

#include <string>

namespace zrpyhost {

// A whole number, a floating-point number, true or false where the whole text reads as one, else
// the text.
zrVariant ParseValue(const std::string& text);

// Whether something is held; None has no form in the host and comes as nothing.
bool HasValue(const zrVariant& value);

}  // namespace zrpyhost
