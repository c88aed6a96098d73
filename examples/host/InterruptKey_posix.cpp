// POSIX: a signal, and a thread that may wait.
#include <examples/host/InterruptKey.h>
#include <fcntl.h>
#include <pthread.h>
#include <unistd.h>
#include <zrpythoninterp/core/zrInterpPython.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <system_error>
#include <thread>

namespace zrpyhost {

namespace {

// What the signal handler may touch.
std::atomic<bool> running{false};
std::atomic<int> hitsEnd{-1};
std::atomic<int> idleEnd{-1};

std::atomic<int> idleDescriptor{-1};

constexpr char kInterrupt = 'i';
constexpr char kEnd = 'e';

// False when nothing fits: then enough hits wait already.
bool Send(int descriptor, char what) {
  ssize_t sent = -1;
  do {
    sent = write(descriptor, &what, 1);
  } while (sent < 0 && errno == EINTR);
  return sent == 1;
}

// InterruptScript waits for the runtime's lock, which a signal handler must not: the thread does.
void OnSignal(int /*signal*/) {
  const int keep = errno;
  Send(running ? hitsEnd : idleEnd, kInterrupt);
  errno = keep;
}

void TakeKey(struct sigaction* before) {
  struct sigaction action = {};
  action.sa_handler = &OnSignal;
  action.sa_flags = SA_RESTART;
  sigaction(SIGINT, &action, before);
}

struct Pipe {
  Pipe() {
    if (pipe(ends) != 0) throw std::system_error(errno, std::generic_category(), "pipe");
    for (const int end : ends) fcntl(end, F_SETFD, FD_CLOEXEC);  // not for what scripts start
  }

  ~Pipe() {
    close(ends[0]);
    close(ends[1]);
  }
  Pipe(const Pipe&) = delete;
  Pipe& operator=(const Pipe&) = delete;
  int ends[2];  // to read from, to write to
};

}  // namespace

class InterruptKey::System {
 public:
  explicit System(zrInterpPython& interp);
  ~System();
  System(const System&) = delete;
  System& operator=(const System&) = delete;

 private:
  void Wait();

  zrInterpPython& interp_;
  Pipe hits_;
  Pipe idle_;
  struct sigaction before_;
  std::thread thread_;
};

InterruptKey::Running::Running() { running = true; }
InterruptKey::Running::~Running() {
  running = false;
  if (idleDescriptor >= 0) TakeKey(nullptr);  // the script may have set a handler of its own
}

bool InterruptKey::TakeIdle() {
  bool taken = false;
  char hit = 0;
  while (read(idleDescriptor, &hit, 1) == 1) taken = true;
  return taken;
}

int InterruptKey::IdleDescriptor() { return idleDescriptor; }

InterruptKey::System::System(zrInterpPython& interp) : interp_(interp) {
  for (const int end : {idle_.ends[0], idle_.ends[1], hits_.ends[1]}) {
    fcntl(end, F_SETFL, O_NONBLOCK);  // the handler must not wait, nor may TakeIdle
  }
  hitsEnd = hits_.ends[1];
  idleEnd = idle_.ends[1];
  idleDescriptor = idle_.ends[0];
  // The new thread inherits the mask: the signal stays with the threads that read and run.
  sigset_t blocked;
  sigset_t mask;
  sigemptyset(&blocked);
  sigaddset(&blocked, SIGINT);
  pthread_sigmask(SIG_BLOCK, &blocked, &mask);
  thread_ = std::thread([this] { Wait(); });
  pthread_sigmask(SIG_SETMASK, &mask, nullptr);
  TakeKey(&before_);
}

InterruptKey::System::~System() {
  sigaction(SIGINT, &before_, nullptr);
  while (!Send(hits_.ends[1], kEnd)) std::this_thread::yield();
  thread_.join();
  idleDescriptor = -1;
}

void InterruptKey::System::Wait() {
  for (;;) {
    char what = kEnd;
    const ssize_t got = read(hits_.ends[0], &what, 1);
    if (got < 0 && errno == EINTR) continue;
    if (got != 1 || what == kEnd) return;
    if (running) interp_.InterruptScript();
  }
}

InterruptKey::InterruptKey(zrInterpPython& interp) : system_(std::make_unique<System>(interp)) {}
InterruptKey::~InterruptKey() = default;

}  // namespace zrpyhost
