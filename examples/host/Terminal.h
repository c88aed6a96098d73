// What the host's own lines look like.
#pragma once

#include <string>
#include <vector>

namespace zrpyhost {

// Opens what of stdin, stdout and stderr is closed, so that no file or pipe that is opened later
// takes its number: an input that has ended, outputs to which nothing can be written.
void KeepStandardStreams();

// UTF-8 in and out, and in the arguments, for the length of its life. Nothing to do but on Windows,
// where the console has an encoding of its own.
class Console {
 public:
  // Puts the arguments in their place, which stay as long as this.
  Console(int& argc, char**& argv);
  ~Console();
  Console(const Console&) = delete;
  Console& operator=(const Console&) = delete;

 private:
  unsigned outputBefore_ = 0;
  unsigned inputBefore_ = 0;
  std::vector<std::string> arguments_;
  std::vector<char*> pointers_;
};

// Windows: from what the system's wide calls give.
std::string ToUtf8(const wchar_t* wide);

// Whether the terminal behind stderr understands colours.
bool TerminalKnowsColour();

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
