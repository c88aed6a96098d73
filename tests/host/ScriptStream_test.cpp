// Which files are opened as scripts, and that what is read of them is whole.
#include <gtest/gtest.h>
#include <tests/support/InstallationRoot.h>
#include <tests/support/System.h>
#include <zrpythoninterp/host/ScriptStream.h>

#if ZR_CAN(PIPE)
#include <fcntl.h>
#include <pthread.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <unistd.h>
#endif

#include <atomic>
#include <csignal>
#include <filesystem>
#include <thread>

namespace {

namespace fs = std::filesystem;

bool GoOn() { return true; }

class ScriptStream : public testing::Test {
 protected:
  static zrpy::Stream Open(const zrString& path) { return zrpy::OpenScript(path, false, &GoOn); }
  zrString Place(const zrString& name) const { return folder_.path() + "/" + name; }
  const zrtest::TemporaryFolder folder_;
};

TEST_F(ScriptStream, OpensOnlyWhatHasAnEnd) {
  const zrString regular = folder_.Write("regular", "x = 1");
#if ZR_CAN(PIPE) && ZR_CAN(LINK)
  fs::create_symlink(regular, Place("link"));
  fs::create_symlink("/dev/zero", Place("device"));
  ASSERT_EQ(mkfifo(Place("pipe").c_str(), 0600), 0);
  EXPECT_TRUE(Open(Place("link")));
#endif
  fs::create_directory(Place("folder"));
  folder_.Write("huge", "");
  fs::resize_file(Place("huge"), zrpy::kLargestScript + 1);
  const std::pair<const char*, bool> cases[] = {{"regular", true}, {"device", false},
                                                {"folder", false}, {"pipe", false},
                                                {"huge", false},   {"missing", false}};
  for (const auto& [name, opens] : cases) {
    EXPECT_EQ(static_cast<bool>(Open(Place(name))), opens) << name;
  }
}

#if ZR_CAN(PIPE)
// The writer comes and goes piece by piece, amid signals that interrupt each wait.
TEST_F(ScriptStream, ReadsAPipeToItsEndWhateverInterrupts) {
  ASSERT_EQ(mkfifo(Place("pipe").c_str(), 0600), 0);
  const int both = open(Place("pipe").c_str(), O_RDWR);  // there is a writer from now on
  struct sigaction interrupts = {};
  interrupts.sa_handler = [](int) {};
  sigaction(SIGALRM, &interrupts, nullptr);
  const itimerval storm = {{0, 300}, {0, 300}}, calm = {};
  setitimer(ITIMER_REAL, &storm, nullptr);
  const zrString piece(3000, 'x');
  std::thread writer([&] {
    sigset_t alarm;
    sigemptyset(&alarm);
    sigaddset(&alarm, SIGALRM);
    pthread_sigmask(SIG_BLOCK, &alarm, nullptr);
    for (int i = 0; i < 100; ++i) {
      EXPECT_EQ(write(both, piece.data(), piece.size()), static_cast<ssize_t>(piece.size()));
      usleep(500);
    }
    close(both);
  });
  const zrpy::Stream stream = Open(Place("pipe"));
  writer.join();
  setitimer(ITIMER_REAL, &calm, nullptr);
  ASSERT_TRUE(stream);
  zrString content;
  EXPECT_TRUE(zrpy::ReadToEnd(stream.get(), content));
  EXPECT_EQ(content, zrString(100 * piece.size(), 'x'));
}
#endif

#if ZR_CAN(PIPE)
TEST_F(ScriptStream, GivesUpOnASilentWriterWhenItIsTold) {
  ASSERT_EQ(mkfifo(Place("pipe").c_str(), 0600), 0);
  const int both = open(Place("pipe").c_str(), O_RDWR);
  static std::atomic<int> asked{0};
  EXPECT_FALSE(zrpy::OpenScript(Place("pipe"), false, [] { return ++asked < 3; }));
  EXPECT_EQ(asked, 3);
  close(both);
}
#endif

#if ZR_CAN(PIPE)
TEST_F(ScriptStream, IsReadOnAnyStack) {
  struct Task {
    zrpy::Stream stream;
    zrString content;
  } task{Open(folder_.Write("large", zrString(300000, 'x'))), ""};
  pthread_attr_t small;
  pthread_attr_init(&small);
  ASSERT_EQ(pthread_attr_setstacksize(&small, 1 << 16), 0);
  pthread_t thread;
  const auto read = [](void* argument) -> void* {
    Task& own = *static_cast<Task*>(argument);
    zrpy::ReadToEnd(own.stream.get(), own.content);
    return nullptr;
  };
  ASSERT_EQ(pthread_create(&thread, &small, read, &task), 0);
  pthread_join(thread, nullptr);
  EXPECT_EQ(task.content.size(), 300000u);
}
#endif

}  // namespace
