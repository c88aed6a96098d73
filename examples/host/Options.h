// What the command line asks for.
#pragma once

#include <examples/trace/TraceSession.h>

#include <optional>
#include <string>
#include <vector>

namespace zrpyhost {

struct Options {
  std::string home;                      // the installation root; empty: a temporary one
  std::string user;                      // the user's directory, or empty
  std::string context;                   // where scripts run; empty: __main__
  std::vector<std::string> assignments;  // NAME=VALUE, each
  std::vector<std::string> expressions;
  std::optional<std::string> text;  // of -e
  bool interactive = false;
  bool batch = false;
  std::vector<std::string> scripts;    // more than one only with batch
  std::vector<std::string> arguments;  // of the one script or text, without its name
  TraceOptions trace;
};

// Fills options and gives nothing, or gives the exit status with which the program ends at once:
// after --help, after --version, and after a wrong command line, which it has told on stderr.
std::optional<int> ParseOptions(int count, char** arguments, Options& options);

}  // namespace zrpyhost
