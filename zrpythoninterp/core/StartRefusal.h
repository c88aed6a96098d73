// The end of a start that did not come to its end, and why.
#pragma once

#include <zrpythoninterp/core/zrPythonError.h>
#include <zrpythoninterp/host/zrString.h>

namespace zrpy {

// Gives up what a start that the runtime refused has left: a half runtime, its lock, and an error.
// Where the runtime counts as up it is stopped. said: the runtime's own words, may be null. Gives
// the reason for the host. forGood becomes true when the runtime is left half up, with which no
// later start in this process works.
zrString EndRefusedStart(const char* said, bool& forGood);

// The record of a start that failed, as LastError shows it.
zrPythonError RecordOfRefusal(const zrString& reason);

}  // namespace zrpy
