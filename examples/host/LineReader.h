// Lines that somebody types.
#pragma once

#include <optional>
#include <string>

namespace zrpyhost {

// Line by line from stdin, with editing and a history where that and stdout are a terminal.
class LineReader {
 public:
  LineReader();

  // Whether somebody types, and sees a prompt.
  bool typed() const { return typed_; }

  // Nothing at the end of the input. interrupted tells that the interrupt key ended the line, which
  // is then empty.
  std::optional<std::string> Read(const std::string& prompt, bool& interrupted);

 private:
  const bool typed_;
};

}  // namespace zrpyhost
