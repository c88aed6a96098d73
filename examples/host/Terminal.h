// What the host's own lines look like.
#pragma once

#include <string>

namespace zrpyhost {

// Whether somebody watches what goes to stdout or stderr.
bool StdoutIsTerminal();
bool StderrIsTerminal();
// Whether somebody types what comes from stdin.
bool StdinIsTerminal();

// The number of lines of the terminal behind stderr; 0 where it is not known.
int TerminalRows();

enum class Colour { kRed = 31, kGreen = 32, kYellow = 33, kBold = 1 };

// The text in a colour where stderr is a terminal that wants one, else the text alone.
std::string Paint(Colour colour, const std::string& text);

// The head of each line that the host itself writes to stderr: its name.
std::string Note();

}  // namespace zrpyhost
