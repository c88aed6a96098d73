// Read, evaluate, print.
#pragma once

namespace zrpyhost {

class Session;

// Reads from stdin until it ends: statements of any number of lines, and commands of the host,
// which begin with a colon. With line editing where somebody types. False when something failed
// that nobody was there to see.
bool RunDialogue(Session& session);

}  // namespace zrpyhost
