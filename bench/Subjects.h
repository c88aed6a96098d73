// The subjects of the benchmark; each has a file of its own.
#pragma once

#include <bench/Host.h>

namespace zrbench {

void AddEval(Host& host);     // source text
void AddTurns(Host& host);    // many texts in turn
void AddFiles(Host& host);    // script files
void AddOut(Host& host);      // values out of the runtime
void AddIn(Host& host);       // values into the runtime
void AddMap(Host& host);      // a file over a map of variables
void AddTalk(Host& host);     // functions of the host, and what scripts print
void AddThreads(Host& host);  // from threads that did not start the runtime
void AddTrace(Host& host);    // scripts watched line by line
void AddTraceOthers();        // the same by scripts and by the other libraries

}  // namespace zrbench
