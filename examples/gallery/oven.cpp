// An application that scripts drive: an oven, which heats on a thread of its own, and three
// functions. Usage: oven INSTALLATION_ROOT, with the script on standard input:
//
//   zrhost.heat(degrees)              sets what the oven shall have; too much is an error
//   zrhost.degrees()                  what it has
//   zrhost.wait(degrees, text=None)   waits until it has that, and runs the text as it gets hotter
#include <zrpythoninterp/talk/zrPythonTalk.h>

#include <chrono>
#include <condition_variable>
#include <iostream>
#include <iterator>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

namespace {

using Values = zrStlVector<zrVariant>;
constexpr double kHottest = 250;

class Oven {
 public:
  explicit Oven(zrInterpPython& python) : python_(python), talk_(python) {
    talk_.AddFunction(
        "heat",
        [this](Values& arguments, zrVariant&, zrString& error) {
          const double degrees = arguments.at(0).GetDouble();  // what it throws is an error, too
          if (degrees > kHottest) return error = "that would burn everything", false;
          const std::lock_guard<std::mutex> lock(mutex_);
          wanted_ = degrees;
          changed_.notify_all();
          return true;
        },
        "(degrees, /)");
    talk_.AddFunction(
        "degrees",
        [this](Values&, zrVariant& result, zrString&) {
          const std::lock_guard<std::mutex> lock(mutex_);
          result = zrValue(degrees_);
          return true;
        },
        "()");
    talk_.AddFunction(
        "wait",
        [this](Values& arguments, zrVariant&, zrString& error) {
          return Wait(arguments.at(0).GetDouble(),
                      arguments.size() > 1 ? arguments[1].GetString() : "", error);
        },
        "(degrees, text=None, /)", "Waits, and runs the text as it gets hotter.");
    heating_ = std::thread([this] { Heat(); });
  }

  // The functions first: when they are gone no script is in them any more.
  ~Oven() {
    for (const char* name : {"heat", "degrees", "wait"}) talk_.RemoveFunction(name);
    {
      const std::lock_guard<std::mutex> lock(mutex_);
      off_ = true;
      changed_.notify_all();
    }
    heating_.join();
  }
  Oven(const Oven&) = delete;
  Oven& operator=(const Oven&) = delete;

 private:
  // Runs while a script waits here: scripts of other threads go on meanwhile. The oven's mutex is
  // not held where a script runs, which calls the oven's functions.
  bool Wait(double degrees, const zrString& text, zrString& error) {
    std::unique_lock<std::mutex> lock(mutex_);
    for (double seen = degrees_; seen < degrees; seen = degrees_) {
      changed_.wait(lock, [&] { return degrees_ != seen || wanted_ < degrees; });
      if (wanted_ < degrees) return error = "it will never be that hot", false;
      lock.unlock();
      if (!text.empty() && !talk_.Run(text)) {
        return error = python_.LastError().kind + " in what was to run", false;
      }
      lock.lock();
    }
    return true;
  }

  void Heat() {
    std::unique_lock<std::mutex> lock(mutex_);
    while (!off_) {
      if (degrees_ < wanted_) {
        degrees_ += 1;
        changed_.notify_all();
      }
      changed_.wait_for(lock, std::chrono::milliseconds(1));
    }
  }

  zrInterpPython& python_;
  zrPythonTalk talk_;
  std::mutex mutex_;
  std::condition_variable changed_;
  double wanted_ = 20, degrees_ = 20;
  bool off_ = false;
  std::thread heating_;
};

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) return std::cerr << "usage: oven INSTALLATION_ROOT < SCRIPT\n", 2;
  zrPythonInterpCreator creator(0, nullptr, argv[1], nullptr, "");
  const std::unique_ptr<zrInterpPython> python = zrCreatePython(creator);
  const zrString script{std::istreambuf_iterator<char>(std::cin), {}};
  const Oven oven(*python);
  return zrPythonTalk(*python).Run(script) ? 0 : 1;
}
