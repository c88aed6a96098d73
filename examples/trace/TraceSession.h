// Scripts watched by a host: what is traced, and into which files.
#pragma once

#include <memory>
#include <string>

class zrInterpPython;

// What is to be watched. An empty text and false mean: not.
struct TraceOptions {
  std::string coverageFile;  // line coverage, in the form that lcov and genhtml read
  std::string timelineFile;  // calls over time, in the form of Chrome's trace viewer
  bool step = false;         // stop at lines, on the terminal: reads stdin, writes to stderr

  bool any() const { return step || !coverageFile.empty() || !timelineFile.empty(); }
};

// Watches what is evaluated during its life on the thread that made it, and on every thread that
// the scripts start. One at a time; made, finished and destroyed on the same thread, which does not
// hold the runtime's lock. The interpreter must outlive it, and must not be stopped before.
class TraceSession {
 public:
  // Starts the runtime if need be. Throws std::runtime_error, with a text for the user, when the
  // runtime does not start or a file cannot be written.
  TraceSession(zrInterpPython& interp, const TraceOptions& options);
  // As Finish, but silent.
  ~TraceSession();
  TraceSession(const TraceSession&) = delete;
  TraceSession& operator=(const TraceSession&) = delete;

  // Waits for the scripts' threads that are no daemons, stops watching and writes the files. A
  // second call does nothing. Throws std::runtime_error when a file could not be written.
  void Finish();

  // True when the user left the stepper with q; the evaluation then ends in KeyboardInterrupt.
  bool UserQuit() const;

 private:
  struct Parts;
  std::unique_ptr<Parts> parts_;
};
