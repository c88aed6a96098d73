// Many scripts, one after the other.
#pragma once

#include <string>
#include <vector>

namespace zrpyhost {

class Session;

// Runs all of them, whichever fail, with a line of result for each and one for all on stderr, and a
// bar meanwhile where that is a terminal. Gives whether all went well.
bool RunBatch(Session& session, const std::vector<std::string>& scripts);

}  // namespace zrpyhost
