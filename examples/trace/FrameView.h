// What observers ask the runtime about a frame. Each function takes the runtime's lock itself, so a
// caller holds no mutex that another observer could want. All texts are UTF-8.
#pragma once

#include <string>

struct _object;
typedef struct _object PyObject;

// The function, class body or module that a frame runs. Read once for each code object, since there
// are few of them and many calls, and good until ForgetCode, before which the runtime must not
// stop.
struct RunningCode {
  std::string name;  // as def has it; "<module>", "<lambda>", ...
  int firstLine = 0;
};
const RunningCode& CodeOf(PyObject* frame);
void ForgetCode();

// The name that the script gave the calling thread; empty for a thread without one.
std::string ThreadName();

// The value of an expression in the frame's namespaces, as repr() shows it, or the error.
std::string Evaluate(PyObject* frame, const std::string& expression);
