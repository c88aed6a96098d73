// Which files are traced, as a function on strings.
#pragma once

#include <zrpythoninterp/host/zrString.h>

namespace zrpy {

// What decided. The user's base is consulted last, and may change while the rest stays.
enum class TraceVerdict { kTraced, kDropped, kTracedUnlessInUserBase };

// All in backslash form; a text is contained wherever it stands in the file's, and the empty text
// everywhere. What lies in the installation is traced only in its tutorials, what lies in the
// runtime's directory is not.
TraceVerdict JudgeFile(const zrString& file, const zrString& homePath, const zrString& pythonPath);

}  // namespace zrpy
