#include <examples/host/InterruptKey.h>
#include <fcntl.h>
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

}  // namespace

InterruptKey::Running::Running() { running = true; }
InterruptKey::Running::~Running() { running = false; }

InterruptKey::Pipe::Pipe() {
  if (pipe(ends) != 0) throw std::system_error(errno, std::generic_category(), "pipe");
  for (const int end : ends) fcntl(end, F_SETFD, FD_CLOEXEC);  // not for what scripts start
}

InterruptKey::Pipe::~Pipe() {
  close(ends[0]);
  close(ends[1]);
}

bool InterruptKey::TakeIdle() {
  bool taken = false;
  char hit = 0;
  while (read(idleDescriptor, &hit, 1) == 1) taken = true;
  return taken;
}

int InterruptKey::IdleDescriptor() { return idleDescriptor; }

InterruptKey::InterruptKey(zrInterpPython& interp) : interp_(interp) {
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

  struct sigaction action = {};
  action.sa_handler = &OnSignal;
  action.sa_flags = SA_RESTART;
  sigaction(SIGINT, &action, &before_);
}

InterruptKey::~InterruptKey() {
  sigaction(SIGINT, &before_, nullptr);
  while (!Send(hits_.ends[1], kEnd)) std::this_thread::yield();
  thread_.join();
  idleDescriptor = -1;
}

void InterruptKey::Wait() {
  for (;;) {
    char what = kEnd;
    const ssize_t got = read(hits_.ends[0], &what, 1);
    if (got < 0 && errno == EINTR) continue;
    if (got != 1 || what == kEnd) return;
    if (running) interp_.InterruptScript();
  }
}

}  // namespace zrpyhost
