// The interpreter and what the host makes of its answers.
#pragma once

#include <zrpythoninterp/core/zrInterpPython.h>

#include <memory>
#include <string>
#include <vector>

namespace zrpyhost {

// One interpreter, started and stopped with the object. Values go to stdout, everything else to
// stderr. One at a time.
class Session {
 public:
  // A text, and what it is.
  struct Text {
    std::string text;
    enum class Kind {
      kExpression,
      kStatements,
      kUnfinished
    } kind;  // unfinished: a line is to come
  };
  // How a run ended.
  struct Outcome {
    std::shared_ptr<const zrErrorReport> error;  // null when it ran to its end
    zrVariant value;
    bool ok() const { return !error || (error->isExit && error->exitStatus == 0); }
  };

  Session(const std::string& root, const std::string& user);
  ~Session();
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;

  // Starts the runtime. Throws std::runtime_error when there is none to start.
  void Start();
  zrInterpPython& interp() { return *interp_; }

  // Where everything below takes place; the empty name is __main__.
  void SetContext(const std::string& context) { context_ = context; }
  const std::string& context() const { return context_; }

  // Sets sys.argv, and puts the folder of the first argument in front of the search path.
  void SetArguments(const std::vector<std::string>& arguments);
  Text Read(const std::string& text);
  // These two evaluate nothing else, so that whoever watches sees the script alone.
  Outcome RunFile(const std::string& file);
  Outcome Evaluate(const Text& text);
  // Prints the value, if there is one, and tells on stderr what went wrong, if something did. what
  // names that which ran. Gives whether all went well.
  bool Report(const std::string& what, const Outcome& outcome);

  bool Set(const std::string& assignment);
  bool Get(const std::string& expression);  // prints "expression = value"

 private:
  bool Flush();  // false, and told on stderr, when something that was printed is lost

  std::unique_ptr<zrInterpPython> interp_;
  std::string context_;
};

}  // namespace zrpyhost
