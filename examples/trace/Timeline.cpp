// Calls over time. The form: a list of objects, in which ph is "B" for the begin of a call, "E" for
// its end and "M" for names; ts is in microseconds, pid and tid say to which row the event belongs.
#include <examples/trace/FrameView.h>
#include <examples/trace/Timeline.h>
#include <zrpythoninterp/trace/zrInterpTraceInfoPython.h>

#include <atomic>
#include <cstdio>
#include <stdexcept>
#include <utility>

namespace {

// Never the same for two threads: the system gives the identifiers of ended threads out again.
int ThisThread() {
  static std::atomic<int> count{0};
  thread_local const int number = ++count;
  return number;
}

// UTF-8 text as a JSON text.
std::string Json(const std::string& text) {
  std::string out = "\"";
  for (const char c : text) {
    if (c == '"' || c == '\\') {
      out += '\\';
      out += c;
    } else if (static_cast<unsigned char>(c) < 0x20) {
      char escape[8];
      std::snprintf(escape, sizeof escape, "\\u%04x", static_cast<unsigned>(c));
      out += escape;
    } else {
      out += c;
    }
  }
  return out + '"';
}

std::string NameOf(const char* what, int thread, const std::string& name) {
  return std::string(R"({"ph":"M","pid":1,"tid":)") + std::to_string(thread) + R"(,"name":")" +
         what + R"(","args":{"name":)" + Json(name) + "}}";
}

}  // namespace

Timeline::Timeline(const std::string& file) : file_(file), out_(file) {
  if (!out_) throw std::runtime_error("cannot write " + file);
  out_ << R"({"displayTimeUnit":"ms","traceEvents":[)";
  write(NameOf("process_name", 0, "scripts"));
}

// What the runtime is asked, it is asked without the mutex: whoever holds the runtime's lock may
// wait for the mutex.
void Timeline::Notify(const zrxNotifierEvent<zrInterpTraceInfo*>& event) {
  auto& info = static_cast<zrInterpTraceInfoPython&>(*event.data_);
  const std::string what = info.GetEvent();
  if (what == "line") return;
  const std::string path = info.GetFile();
  if (path.rfind("<frozen", 0) == 0) return;  // modules inside the runtime, such as its importer
  const int thread = ThisThread();
  const int depth = info.GetDepth();
  std::unique_lock<std::mutex> lock(mutex_);
  if (what == "return") {
    endDeeperThan(depth - 1, thread);
    return;
  }
  const bool isNew = tracks_.count(thread) == 0;
  lock.unlock();
  RunningCode code = CodeOf(info.GetFrame());
  std::string name = isNew ? ThreadName() : std::string();
  lock.lock();
  if (isNew) {
    if (name.empty()) name = "thread " + std::to_string(thread);
    write(NameOf("thread_name", thread, name));
  }
  endDeeperThan(depth - 1, thread);
  writeCall(
      'B', thread, code.name,
      R"(,"args":{"file":)" + Json(path) + R"(,"line":)" + std::to_string(code.firstLine) + "}");
  tracks_[thread].push_back({depth, std::move(code.name)});
}

void Timeline::Finish() {
  for (const auto& [thread, track] : tracks_) endDeeperThan(-1, thread);
  out_ << "\n]}\n";
  out_.close();
  if (!out_) throw std::runtime_error("cannot write " + file_);
}

// A call that the thread was in before the tracing has no begin, so its end is passed over.
void Timeline::endDeeperThan(int depth, int thread) {
  Track& track = tracks_[thread];
  for (; !track.empty() && track.back().depth > depth; track.pop_back()) {
    writeCall('E', thread, track.back().name, "");
  }
}

void Timeline::writeCall(char phase, int thread, const std::string& name, const std::string& more) {
  const std::chrono::duration<double, std::micro> time = std::chrono::steady_clock::now() - start_;
  char stamp[32];
  std::snprintf(stamp, sizeof stamp, "%.3f", time.count());
  write(std::string(R"({"ph":")") + phase + R"(","pid":1,"tid":)" + std::to_string(thread) +
        R"(,"ts":)" + stamp + R"(,"cat":"python","name":)" + Json(name) + more + "}");
}

void Timeline::write(const std::string& event) {
  out_ << (empty_ ? "\n" : ",\n") << event;
  empty_ = false;
}
