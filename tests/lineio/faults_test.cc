// Files that fail: full devices, limits, closed descriptors, pipes, signals.

#include <sys/resource.h>
#include <sys/stat.h>

#include <cerrno>
#include <csignal>
#include <string>
#include <thread>

#include "lineio/files.h"

namespace test {
namespace {

const std::string kBlock(LINEIO_BUFFER_SIZE, 'a');

// Puts another open file behind a descriptor, and the old one back at the end.
class Instead {
 public:
  Instead(int fd, const char* path, int access) : fd_(fd), old_(dup(fd)) {
    const int other = open(path, access);
    EXPECT_NE(other, -1);
    dup2(other, fd_);
    close(other);
  }
  ~Instead() {
    dup2(old_, fd_);
    close(old_);
  }
  Instead(const Instead&) = delete;
  Instead& operator=(const Instead&) = delete;
  Instead(Instead&&) = delete;
  Instead& operator=(Instead&&) = delete;

 private:
  int fd_;
  int old_;
};

TEST_F(LineIo, SaysWhyAFileDoesNotOpen) {
  const std::string missing = folder.path("none/file");
  EXPECT_EQ(open_file(missing, Mode::kRead), -1);
  EXPECT_EQ(errno, ENOENT);
  EXPECT_EQ(create_file(missing, Mode::kWrite), -1);
  const std::string endless(5000, 'n');
  EXPECT_EQ(open_file(endless, Mode::kWrite), -1);
  EXPECT_EQ(log.take(),
            (LogLines{"1 configapi: CreateFile failed: " + missing +
                          ", error " + std::to_string(ENOENT),
                      "1 configapi: open failed",
                      "1 configapi: " +
                          ("CreateFile failed: " + endless).substr(0, 511)}));
  EXPECT_EQ(open_file("", Mode::kRead), -1);
  EXPECT_EQ(fileopen(nullptr, 0, 0), -1);
  EXPECT_EQ(filecreate(nullptr, 0, 0), -1);
  EXPECT_EQ(log.take(), LogLines{});
}

TEST_F(LineIo, UnknownHandlesAreRefused) {
  const int closed = reader("text");
  EXPECT_EQ(fileclose(closed), 1);
  for (const int handle : {-1, 0, closed, 1023, 1024, 0x7fffffff}) {
    EXPECT_EQ(get(handle), "failed");
    EXPECT_EQ(put(handle, "text"), -1);
    EXPECT_EQ(inch(handle), -1);
    uninch('c', handle);
    EXPECT_EQ(outch('c', handle), -1);
    EXPECT_EQ(setfpos(handle, 0), -1);
    EXPECT_EQ(getfpos(handle), -1);
    EXPECT_EQ(fileclose(handle), 0);
  }
  const int open = reader("text");
  EXPECT_EQ(getline(open, nullptr), -1);
  EXPECT_EQ(putline(open, nullptr), -1);
  EXPECT_EQ(log.take(), LogLines{});
}

// The second block is refused in the middle of a line, then delivered.
TEST_F(LineIo, ALineOutlivesAFailedRead) {
  const std::string head = std::string(999, 'a') + "\n";
  const std::string line = std::string(1000, 'b') + "\n";
  const std::string text = head + head + head + head.substr(1) + line;
  const int handle = reader(text);
  for (int i = 0; i < 4; ++i) {
    get(handle);
  }
  {
    const Instead other(handle, "/", O_RDONLY);
    for (int i = 0; i < 2; ++i) {
      EXPECT_EQ(get(handle), "failed");
    }
    EXPECT_EQ(errno, EISDIR);
    EXPECT_EQ(getfpos(handle), 3999);
  }
  EXPECT_EQ(log.take(), LogLines(2, "1 configapi: getline: ReadFile failed."));
  EXPECT_EQ(get(handle), line);
  EXPECT_EQ(getfpos(handle), static_cast<long>(text.size()));
}

TEST_F(LineIo, BytesOutliveAFailedRead) {
  const int handle = reader(kBlock + "b\n");
  for (int i = 0; i < 4096; ++i) {
    ASSERT_EQ(inch(handle), 'a');
  }
  {
    const Instead other(handle, "/", O_RDONLY);
    EXPECT_EQ(inch(handle), -1);
    EXPECT_EQ(get(handle), "failed");
  }
  EXPECT_EQ(log.take(), (LogLines{"1 configapi: inch: ReadFile failed.",
                                  "1 configapi: ReadFile failed."}));
  EXPECT_EQ(get(handle), "b\n");
}

// Both ends of a pipe: the tests' and the library's.
struct Pipe {
  Pipe(const TempFolder& folder, Mode mode) {
    const std::string path = folder.path("pipe");
    EXPECT_EQ(mkfifo(path.c_str(), 0600), 0);
    ours = open(path.c_str(), O_RDWR | O_NONBLOCK);
    handle = open_file(path, mode);
  }
  ~Pipe() { close(ours); }
  Pipe(const Pipe&) = delete;
  Pipe& operator=(const Pipe&) = delete;
  Pipe(Pipe&&) = delete;
  Pipe& operator=(Pipe&&) = delete;

  int ours;
  int handle;
};

TEST_F(LineIo, AShortReadEndsAPipe) {
  const Pipe pipe(folder, Mode::kRead);
  const int handle = pipe.handle;
  ASSERT_EQ(write(pipe.ours, "one\ntwo", 7), 7);
  EXPECT_EQ(get(handle), "one\n");
  // A move that fails moves nothing.
  EXPECT_EQ(setfpos(handle, 0), -1);
  EXPECT_EQ(errno, ESPIPE);
  EXPECT_EQ(get(handle), "two");
  ASSERT_EQ(write(pipe.ours, "more\n", 5), 5);
  EXPECT_EQ(inch(handle), -1);
  // Back over what was read ahead, no further.
  for (int i = 0; i < 20; ++i) {
    uninch(0, handle);
  }
  EXPECT_EQ(getfpos(handle), 0);
  EXPECT_EQ(get(handle), "one\n");
}

TEST_F(LineIo, AnInterruptedReadIsReadAgain) {
  struct sigaction action {};
  action.sa_handler = [](int) {};
  sigaction(SIGUSR1, &action, nullptr);
  const Pipe pipe(folder, Mode::kRead);
  std::thread other([&pipe, reading = pthread_self()] {
    for (int i = 0; i < 20; ++i) {
      usleep(2000);
      pthread_kill(reading, SIGUSR1);
    }
    EXPECT_EQ(write(pipe.ours, "text\n", 5), 5);
  });
  EXPECT_EQ(get(pipe.handle), "text\n");
  other.join();
  EXPECT_EQ(log.take(), LogLines{});
}

TEST_F(LineIo, AFullDeviceTakesNothing) {
  const int direct = open_file("/dev/full", Mode::kWrite);
  EXPECT_EQ(put(direct, "text"), -1);
  EXPECT_EQ(errno, ENOSPC);
  EXPECT_EQ(outch('c', direct), -1);
  EXPECT_EQ(getfpos(direct), 0);
  EXPECT_EQ(fileclose(direct), 1);
  EXPECT_EQ(log.take(), LogLines{});

  const int handle = open_file("/dev/full", Mode::kWriteBuffered);
  EXPECT_EQ(put(handle, kBlock.substr(1)), 1);
  EXPECT_EQ(put(handle, "bc"), -1);
  EXPECT_EQ(put(handle, kBlock + kBlock), -1);
  EXPECT_EQ(getfpos(handle), 4095);
  EXPECT_EQ(outch('b', handle), 1);
  EXPECT_EQ(outch('c', handle), -1);
  EXPECT_EQ(setfpos(handle, 7), -1);
  uninch(0, handle);
  EXPECT_EQ(getfpos(handle), 4096);
  testing::internal::CaptureStdout();
  EXPECT_EQ(fileclose(handle), 1);
  EXPECT_EQ(testing::internal::GetCapturedStdout(),
            std::to_string(ENOSPC) + "\n");
  EXPECT_EQ(log.take(),
            (LogLines{"1 configapi: putline: WriteFile failed.",
                      "1 configapi: putline: WriteFile failed.",
                      "1 configapi: outch: WriteFile failed.",
                      "1 configapi: setfpos: Internal file I/O error",
                      "1 configapi: fileclose: WriteFile failed."}));
}

// What waits when the disk is full is written once there is room again.
TEST_F(LineIo, OutputOutlivesAFullDevice) {
  const int handle = writer(Mode::kWriteBuffered);
  EXPECT_EQ(put(handle, kBlock.substr(1)), 1);
  {
    const Instead full(handle, "/dev/full", O_WRONLY);
    EXPECT_EQ(put(handle, "lost"), -1);
    EXPECT_EQ(setfpos(handle, 0), -1);
  }
  EXPECT_EQ(put(handle, "kept"), 1);
  EXPECT_EQ(fileclose(handle), 1);
  EXPECT_EQ(written(), kBlock.substr(1) + "kept");
}

// What `put` gives while files may have no more than so many bytes.
int put_limited(rlim_t bytes, int handle, const std::string& text) {
  (void)std::signal(SIGXFSZ, SIG_IGN);
  rlimit old{};
  getrlimit(RLIMIT_FSIZE, &old);
  const rlimit limit = {bytes, old.rlim_max};
  setrlimit(RLIMIT_FSIZE, &limit);
  const int result = put(handle, text);
  setrlimit(RLIMIT_FSIZE, &old);
  return result;
}

// The limit lets a part of a block through. Whoever tries again after that
// must find nothing twice in the file.
TEST_F(LineIo, AHalfWrittenBlockIsWrittenOnce) {
  const struct {
    std::size_t waiting;  // bytes in the buffer when a text meets the limit
    rlim_t limit;
    std::size_t counted;  // the position after the failure
  } cases[] = {
      {100, 50, 100},     // in the waiting bytes
      {100, 200, 100},    // in the head of the text
      {100, 5000, 4096},  // in the second block
      {100, 8192, 8192},  // at an edge
      {0, 4000, 0},       // nothing waiting
  };
  const std::string text = kBlock + std::string(4096, 'c') + kBlock;
  for (const auto& c : cases) {
    SCOPED_TRACE(c.limit);
    unlink(folder.path("written").c_str());
    const int handle = writer(Mode::kWriteBuffered);
    const std::string waiting(c.waiting, 'w');
    ASSERT_EQ(put(handle, waiting), 1);
    EXPECT_EQ(put_limited(c.limit, handle, text), -1);
    EXPECT_EQ(getfpos(handle), static_cast<long>(c.counted));
    EXPECT_EQ(log.take(), LogLines{"1 configapi: putline: WriteFile failed."});
    EXPECT_EQ(put(handle, text.substr(c.counted - c.waiting)), 1);
    EXPECT_EQ(fileclose(handle), 1);
    EXPECT_EQ(written(), waiting + text);
  }
  unlink(folder.path("written").c_str());
  const int direct = writer(Mode::kWrite);
  EXPECT_EQ(put_limited(10, direct, "0123456789abc"), -1);
  EXPECT_EQ(getfpos(direct), 0);
  EXPECT_EQ(put(direct, "ABC"), 1);
  EXPECT_EQ(written(), "ABC3456789");
}

// A pipe cannot step back: what it took must be gone from the buffer.
TEST_F(LineIo, APipeIsSentEveryByteOnce) {
  const Pipe pipe(folder, Mode::kWriteBuffered);
  fcntl(pipe.handle, F_SETFL, O_NONBLOCK);
  fcntl(pipe.ours, F_SETPIPE_SZ, 4096);
  std::string sent;
  std::string received;
  const auto receive = [&](std::size_t most) {
    std::string bytes(most, '\0');
    const auto got = read(pipe.ours, bytes.data(), bytes.size());
    received += bytes.substr(0, got > 0 ? static_cast<std::size_t>(got) : 0);
  };
  int refused = 0;
  for (int i = 0; i < 2000; ++i) {
    const std::string text(static_cast<std::size_t>(i % 97),
                           static_cast<char>('a' + i % 26));
    if (put(pipe.handle, text) == 1) {
      sent += text;
    } else {
      ++refused;
      receive(1365);  // less than a block: the next attempt is cut short
    }
  }
  receive(1 << 16);
  EXPECT_GT(refused, 0);
  EXPECT_EQ(getfpos(pipe.handle), static_cast<long>(sent.size()));
  EXPECT_EQ(sent.substr(0, received.size()), received);
  EXPECT_EQ(fileclose(pipe.handle), 1);
}

TEST_F(LineIo, ADescriptorClosedByTheHostIsAFailure) {
  const int source = reader("text\n");
  close(source);
  EXPECT_EQ(get(source), "failed");
  EXPECT_EQ(setfpos(source, 0), -1);
  uninch(0, source);
  EXPECT_EQ(inch(source), -1);
  // Its number comes back: the handle now means the newer file.
  const int again = reader("newer\n");
  ASSERT_EQ(again, source);
  EXPECT_EQ(get(again), "newer\n");
  EXPECT_EQ(fileclose(again), 1);
  EXPECT_EQ(get(again), "failed");
  EXPECT_EQ(fileclose(again), 1);
  EXPECT_EQ(fileclose(again), 0);
}

}  // namespace
}  // namespace test
