// Lines that somebody types.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace zrpyhost {

// Line by line from stdin, with editing and a history where that and stdout are a terminal.
class LineReader {
 public:
  // What a word, which is not empty, can become: for the Tab key. The texts begin with the word.
  using Completions = std::function<std::vector<std::string>(const std::string& word)>;

  // One at a time. Windows: the console itself edits, and Tab is a letter.
  explicit LineReader(Completions completions);
  ~LineReader();
  LineReader(const LineReader&) = delete;
  LineReader& operator=(const LineReader&) = delete;

  // Whether somebody types, and sees a prompt.
  bool typed() const { return typed_; }

  // Nothing at the end of the input. interrupted tells that the interrupt key ended the line, which
  // is then empty.
  std::optional<std::string> Read(const std::string& prompt, bool& interrupted);

 private:
  const bool typed_;
};

}  // namespace zrpyhost
