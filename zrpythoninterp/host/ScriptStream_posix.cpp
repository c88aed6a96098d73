// POSIX: the opening of a script file. Private here: the copy of a pipe. Test:
// tests/host/ScriptStream_test.cpp.
#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>
#include <zrpythoninterp/host/ScriptStream.h>

#include <cerrno>
#include <vector>

namespace zrpy {
namespace {

// A descriptor, closed at the end of its life unless a stream has taken it over.
class Descriptor {
 public:
  explicit Descriptor(int number) : number_(number) {}
  ~Descriptor() {
    if (number_ >= 0) close(number_);
  }
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;

  int number() const { return number_; }
  Stream ToStream() {
    Stream stream(fdopen(number_, "r"));
    if (stream) number_ = -1;
    return stream;
  }

 private:
  int number_;
};

bool IsRefused(int error) { return error != EINTR && error != EAGAIN && error != EWOULDBLOCK; }

// The pipe's bytes, up to where its last writer closes it, in a file without a name. Null when
// nobody writes. The descriptor does not block, so that nothing here waits but poll.
Stream CopyOf(int pipe, bool (*goOn)()) {
  Stream copy(std::tmpfile());
  if (!copy) return nullptr;
  std::vector<char> block(std::size_t{1} << 16);
  std::size_t size = 0;
  while (goOn()) {
    const ssize_t got = read(pipe, block.data(), block.size());
    if (got == 0) {  // a pipe at which nobody was gives the same at once
      if (size == 0 || std::fseek(copy.get(), 0, SEEK_SET) != 0) return nullptr;
      return copy;
    }
    if (got > 0) {
      const std::size_t count = static_cast<std::size_t>(got);
      size += count;
      if (size > kLargestScript || std::fwrite(block.data(), 1, count, copy.get()) != count) break;
    } else if (IsRefused(errno)) {
      break;
    } else {
      constexpr int kMilliseconds = 50;
      pollfd wait = {pipe, POLLIN, 0};
      poll(&wait, 1, kMilliseconds);
    }
  }
  return nullptr;
}

}  // namespace

// What does not block cannot wait in open for a writer either. It stays so afterwards, for the
// files of the system's own that look regular and wait for news.
Stream OpenScript(const zrString& path, bool /*text*/, bool (*goOn)()) {
  constexpr int kHow = O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY;
  int number = open(path.c_str(), kHow);
  while (number < 0 && errno == EINTR) number = open(path.c_str(), kHow);
  Descriptor file(number);
  struct stat status;
  if (number < 0 || fstat(number, &status) != 0) return nullptr;
  if (S_ISFIFO(status.st_mode)) return CopyOf(number, goOn);
  const bool fits = static_cast<std::size_t>(status.st_size) <= kLargestScript;
  return S_ISREG(status.st_mode) && fits ? file.ToStream() : nullptr;
}

}  // namespace zrpy
