#include <examples/host/InterruptKey.h>
#include <pthread.h>
#include <unistd.h>
#include <zrpythoninterp/core/zrInterpPython.h>

#include <atomic>
#include <cerrno>
#include <system_error>

namespace zrpyhost {

namespace {

// What the signal handler may touch.
std::atomic<bool> running{false};
std::atomic<bool> idle{false};
std::atomic<int> wakeUp{-1};

constexpr char kInterrupt = 'i';
constexpr char kEnd = 'e';

void Send(int descriptor, char what) {
  while (write(descriptor, &what, 1) < 0 && errno == EINTR) {
  }
}

// InterruptScript waits for the runtime's lock, which a signal handler must not: the thread does.
void OnSignal(int /*signal*/) {
  const int keep = errno;
  if (running) {
    Send(wakeUp, kInterrupt);
  } else {
    idle = true;
  }
  errno = keep;
}

}  // namespace

InterruptKey::Running::Running() { running = true; }
InterruptKey::Running::~Running() { running = false; }

bool InterruptKey::TakeIdle() { return idle.exchange(false); }

InterruptKey::InterruptKey(zrInterpPython& interp) : interp_(interp) {
  if (pipe(pipe_) != 0) throw std::system_error(errno, std::generic_category(), "pipe");
  wakeUp = pipe_[1];
  // The new thread inherits the mask: the signal stays with the threads that read and run.
  sigset_t blocked;
  sigset_t mask;
  sigemptyset(&blocked);
  sigaddset(&blocked, SIGINT);
  pthread_sigmask(SIG_BLOCK, &blocked, &mask);
  thread_ = std::thread([this] { Wait(); });
  pthread_sigmask(SIG_SETMASK, &mask, nullptr);

  struct sigaction action = {};
  action.sa_handler = &OnSignal;
  action.sa_flags = SA_RESTART;
  sigaction(SIGINT, &action, &before_);
}

InterruptKey::~InterruptKey() {
  sigaction(SIGINT, &before_, nullptr);
  Send(pipe_[1], kEnd);
  thread_.join();
  wakeUp = -1;
  close(pipe_[0]);
  close(pipe_[1]);
}

void InterruptKey::Wait() {
  for (;;) {
    char what = kEnd;
    const ssize_t got = read(pipe_[0], &what, 1);
    if (got < 0 && errno == EINTR) continue;
    if (got != 1 || what == kEnd) return;
    if (running) interp_.InterruptScript();
  }
}

}  // namespace zrpyhost
