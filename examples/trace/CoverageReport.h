// The counts of one source file as a record of lcov's tracefile form.
#pragma once

#include <examples/trace/Coverage.h>

#include <ostream>
#include <string>

// The path is absolute. Adds the lines and functions of the source that never ran, with a count of
// 0. Takes the runtime's lock, for its compiler knows them.
void WriteFileCoverage(std::ostream& out, const std::string& path, const FileCounts& counts);
