// Files that fail: full devices, limits, closed descriptors, pipes, signals.

#include <sys/resource.h>
#include <sys/stat.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <string>
#include <thread>

#include "lineio/files.h"

namespace test {
namespace {

std::string block(char byte) {
  std::string bytes(LINEIO_BUFFER_SIZE, byte);
  return bytes;
}

TEST_F(LineIo, SaysWhyAFileDoesNotOpen) {
  const std::string missing = folder.path("none/file");
  EXPECT_EQ(open_file(missing, Mode::kRead), -1);
  EXPECT_EQ(errno, ENOENT);
  EXPECT_EQ(create_file(missing, Mode::kWrite), -1);
  EXPECT_EQ(log.take(), (LogLines{"1 configapi: CreateFile failed: " + missing +
                                      ", error " + std::to_string(ENOENT),
                                  "1 configapi: open failed"}));
  const std::string endless(5000, 'n');
  EXPECT_EQ(open_file(endless, Mode::kWrite), -1);
  EXPECT_EQ(log.take(),
            (LogLines{"1 configapi: " +
                      ("CreateFile failed: " + endless).substr(0, 511)}));
  EXPECT_EQ(open_file("", Mode::kRead), -1);
  EXPECT_EQ(create_file("", Mode::kWrite), -1);
  EXPECT_EQ(fileopen(nullptr, 0, 0), -1);
  EXPECT_EQ(filecreate(nullptr, 0, 0), -1);
  EXPECT_EQ(log.take(), LogLines{});
}

TEST_F(LineIo, UnknownHandlesAreRefused) {
  const int closed = reader("text");
  EXPECT_EQ(fileclose(closed), 1);
  for (const int handle : {-1, 0, closed, 1023, 1024, 0x7fffffff}) {
    char* line = nullptr;
    EXPECT_EQ(getline(handle, &line), -1);
    EXPECT_EQ(line, nullptr);
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

TEST_F(LineIo, AFolderDoesNotRead) {
  const int handle = open_file(folder.path(""), Mode::kRead);
  ASSERT_NE(handle, -1);
  int result = 0;
  for (int i = 0; i < 2; ++i) {
    EXPECT_EQ(get(handle, &result), "");
    EXPECT_EQ(result, -1);
    EXPECT_EQ(errno, EISDIR);
    EXPECT_EQ(inch(handle), -1);
    EXPECT_EQ(log.take(), (LogLines{"1 configapi: ReadFile failed.",
                                    "1 configapi: inch: ReadFile failed."}));
  }
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
  int result = 0;
  {
    const Instead other(handle, "/", O_RDONLY);
    for (int i = 0; i < 2; ++i) {
      EXPECT_EQ(get(handle, &result), "");
      EXPECT_EQ(result, -1);
    }
    EXPECT_EQ(errno, EISDIR);
    EXPECT_EQ(getfpos(handle), 3999);
  }
  EXPECT_EQ(log.take(), LogLines(2, "1 configapi: getline: ReadFile failed."));
  EXPECT_EQ(get(handle), line);
  EXPECT_EQ(getfpos(handle), static_cast<long>(text.size()));
}

TEST_F(LineIo, BytesOutliveAFailedRead) {
  const int handle = reader(block('a') + "b\n");
  for (int i = 0; i < 4096; ++i) {
    ASSERT_EQ(inch(handle), 'a');
  }
  {
    const Instead other(handle, "/", O_RDONLY);
    EXPECT_EQ(inch(handle), -1);
    int result = 0;
    get(handle, &result);
    EXPECT_EQ(result, -1);
  }
  EXPECT_EQ(log.take(), (LogLines{"1 configapi: inch: ReadFile failed.",
                                  "1 configapi: ReadFile failed."}));
  EXPECT_EQ(get(handle), "b\n");
}

TEST_F(LineIo, AShortReadEndsAPipe) {
  const std::string path = folder.path("pipe");
  ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
  const int feeder = open(path.c_str(), O_RDWR);
  const int handle = open_file(path, Mode::kRead);
  ASSERT_EQ(write(feeder, "one\ntwo", 7), 7);
  EXPECT_EQ(setfpos(handle, 0), -1);
  EXPECT_EQ(errno, ESPIPE);
  EXPECT_EQ(log.take(),
            LogLines{"1 configapi: setfpos: Internal file I/O error"});
  EXPECT_EQ(get(handle), "one\n");
  EXPECT_EQ(setfpos(handle, 0), -1);
  EXPECT_EQ(get(handle), "two");
  ASSERT_EQ(write(feeder, "more\n", 5), 5);
  EXPECT_EQ(inch(handle), -1);
  // Back over what was read ahead, no further.
  for (int i = 0; i < 20; ++i) {
    uninch(0, handle);
  }
  EXPECT_EQ(getfpos(handle), 0);
  EXPECT_EQ(get(handle), "one\n");
  close(feeder);
}

TEST_F(LineIo, AnInterruptedReadIsReadAgain) {
  struct sigaction action {};
  action.sa_handler = [](int) {};
  sigaction(SIGUSR1, &action, nullptr);
  const std::string path = folder.path("pipe");
  ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
  const int feeder = open(path.c_str(), O_RDWR);
  const int handle = open_file(path, Mode::kRead);
  std::thread other([feeder, reading = pthread_self()] {
    for (int i = 0; i < 20; ++i) {
      usleep(2000);
      pthread_kill(reading, SIGUSR1);
    }
    EXPECT_EQ(write(feeder, "text\n", 5), 5);
  });
  EXPECT_EQ(get(handle), "text\n");
  other.join();
  close(feeder);
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
  EXPECT_EQ(put(handle, block('a').substr(1)), 1);
  EXPECT_EQ(put(handle, "bc"), -1);
  EXPECT_EQ(put(handle, block('b') + block('b')), -1);
  EXPECT_EQ(getfpos(handle), 4095);
  EXPECT_EQ(outch('b', handle), 1);
  EXPECT_EQ(outch('c', handle), -1);
  EXPECT_EQ(setfpos(handle, 7), -1);
  uninch(0, handle);
  EXPECT_EQ(getfpos(handle), 4096);
  EXPECT_EQ(log.take(),
            (LogLines{"1 configapi: putline: WriteFile failed.",
                      "1 configapi: putline: WriteFile failed.",
                      "1 configapi: outch: WriteFile failed.",
                      "1 configapi: setfpos: Internal file I/O error"}));
  testing::internal::CaptureStdout();
  EXPECT_EQ(fileclose(handle), 1);
  EXPECT_EQ(testing::internal::GetCapturedStdout(),
            std::to_string(ENOSPC) + "\n");
  EXPECT_EQ(log.take(), LogLines{"1 configapi: fileclose: WriteFile failed."});
}

// What waits when the disk is full is written once there is room again.
TEST_F(LineIo, OutputOutlivesAFullDevice) {
  const int handle = writer(Mode::kWriteBuffered);
  EXPECT_EQ(put(handle, block('a').substr(1)), 1);
  {
    const Instead full(handle, "/dev/full", O_WRONLY);
    EXPECT_EQ(put(handle, "lost"), -1);
    EXPECT_EQ(setfpos(handle, 0), -1);
  }
  EXPECT_EQ(put(handle, "kept"), 1);
  EXPECT_EQ(fileclose(handle), 1);
  EXPECT_EQ(written(), block('a').substr(1) + "kept");
}

class FileSizeLimit {
 public:
  explicit FileSizeLimit(rlim_t bytes) {
    (void)std::signal(SIGXFSZ, SIG_IGN);
    getrlimit(RLIMIT_FSIZE, &old_);
    const rlimit limit = {bytes, old_.rlim_max};
    setrlimit(RLIMIT_FSIZE, &limit);
  }
  ~FileSizeLimit() { setrlimit(RLIMIT_FSIZE, &old_); }
  FileSizeLimit(const FileSizeLimit&) = delete;
  FileSizeLimit& operator=(const FileSizeLimit&) = delete;
  FileSizeLimit(FileSizeLimit&&) = delete;
  FileSizeLimit& operator=(FileSizeLimit&&) = delete;

 private:
  rlimit old_{};
};

// The limit lets a part of a block through. Whoever tries again after that
// must find nothing twice in the file.
TEST_F(LineIo, AHalfWrittenBlockIsWrittenOnce) {
  const struct {
    const char* what;
    std::size_t waiting;  // bytes in the buffer when a text meets the limit
    rlim_t limit;
    long counted;  // the position after the failure
  } cases[] = {
      {"in the waiting bytes", 100, 50, 100},
      {"in the head of the text", 100, 200, 100},
      {"in the second block", 100, 5000, 4096},
      {"at an edge", 100, 8192, 8192},
      {"nothing waiting", 0, 4000, 0},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    unlink(folder.path("written").c_str());
    const int handle = writer(Mode::kWriteBuffered);
    const std::string text = block('b') + block('c') + block('d');
    ASSERT_EQ(put(handle, std::string(c.waiting, 'a')), 1);
    {
      const FileSizeLimit limit(c.limit);
      EXPECT_EQ(put(handle, text), -1);
      EXPECT_EQ(getfpos(handle), c.counted);
    }
    EXPECT_EQ(log.take(), LogLines{"1 configapi: putline: WriteFile failed."});
    const auto done = static_cast<std::size_t>(c.counted) - c.waiting;
    EXPECT_EQ(put(handle, text.substr(done)), 1);
    EXPECT_EQ(fileclose(handle), 1);
    EXPECT_EQ(written(), std::string(c.waiting, 'a') + text);
  }
  const int direct = writer(Mode::kWrite);
  {
    const FileSizeLimit limit(10);
    EXPECT_EQ(put(direct, "0123456789abc"), -1);
    EXPECT_EQ(getfpos(direct), 0);
  }
  EXPECT_EQ(put(direct, "ABC"), 1);
  EXPECT_EQ(fileclose(direct), 1);
  EXPECT_EQ(written().substr(0, 12), "ABC3456789bb");
}

// A pipe cannot step back: what it took must be gone from the buffer.
TEST_F(LineIo, APipeIsSentEveryByteOnce) {
  const std::string path = folder.path("pipe");
  ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
  const int drain = open(path.c_str(), O_RDWR | O_NONBLOCK);
  const int handle = open_file(path, Mode::kWriteBuffered);
  fcntl(handle, F_SETFL, O_NONBLOCK);
  const int size = fcntl(drain, F_SETPIPE_SZ, 4096);
  std::string sent;
  int refused = 0;
  std::string received;
  for (int i = 0; i < 2000; ++i) {
    const char byte = static_cast<char>('a' + i % 26);
    const std::string text(static_cast<std::size_t>(i % 97), byte);
    if (put(handle, text) == 1) {
      sent += text;
      continue;
    }
    ++refused;
    // Less than a block, so that the next attempt is cut short.
    std::string room(static_cast<std::size_t>(size / 3), '\0');
    const auto got = read(drain, room.data(), room.size());
    received += room.substr(0, got > 0 ? static_cast<std::size_t>(got) : 0);
  }
  EXPECT_GT(refused, 0);
  EXPECT_EQ(getfpos(handle), static_cast<long>(sent.size()));
  std::string rest(1 << 16, '\0');
  const auto got = read(drain, rest.data(), rest.size());
  received += rest.substr(0, got > 0 ? static_cast<std::size_t>(got) : 0);
  EXPECT_EQ(sent.substr(0, received.size()), received);
  EXPECT_EQ(fileclose(handle), 1);
  close(drain);
}

TEST_F(LineIo, AFailedMoveMovesNothing) {
  const int handle = reader("one\ntwo\n");
  EXPECT_EQ(get(handle), "one\n");
  EXPECT_EQ(setfpos(handle, -1), -1);
  EXPECT_EQ(errno, EINVAL);
  EXPECT_EQ(log.take(),
            LogLines{"1 configapi: setfpos: Internal file I/O error"});
  EXPECT_EQ(getfpos(handle), 4);
  EXPECT_EQ(get(handle), "two\n");
}

TEST_F(LineIo, ADescriptorClosedByTheHostIsAFailure) {
  const int source = reader("text\n");
  close(source);
  int result = 0;
  get(source, &result);
  EXPECT_EQ(result, -1);
  EXPECT_EQ(setfpos(source, 0), -1);
  uninch(0, source);
  EXPECT_EQ(inch(source), -1);
  // Its number comes back: the handle now means the newer file.
  const int again = reader("newer\n");
  ASSERT_EQ(again, source);
  EXPECT_EQ(get(again), "newer\n");
  EXPECT_EQ(fileclose(again), 1);
  get(again, &result);
  EXPECT_EQ(result, -1);
  EXPECT_EQ(fileclose(again), 1);
  EXPECT_EQ(fileclose(again), 0);
}

}  // namespace
}  // namespace test
