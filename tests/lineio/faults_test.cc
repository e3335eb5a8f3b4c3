// Files that fail: what is said of it, closed descriptors, pipes, signals. That
// nothing is lost or written twice is told by the state machine in
// fuzz/lineio.cc.

#include <sys/stat.h>

#include <cerrno>
#include <csignal>
#include <string>
#include <thread>
#include <vector>

#include "lineio/calls.h"
#include "lineio/files.h"
#include "support/client_text.h"

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
  EXPECT_EQ(FileOpen(Text(missing), 0), nullptr);
  EXPECT_EQ(log.take(), LogLines{"1 configapi: CreateFile failed."});
  EXPECT_EQ(FileCreate(Text(missing)), nullptr);
  EXPECT_EQ(errno, ENOENT);
  EXPECT_EQ(FileOpen(Text(""), 0), nullptr);
  EXPECT_EQ(FileOpen(nullptr, 0), nullptr);
  EXPECT_EQ(FileCreate(nullptr), nullptr);
  EXPECT_EQ(open_file("", Mode::kRead), -1);
  EXPECT_EQ(fileopen(nullptr, 0, 0), -1);
  EXPECT_EQ(filecreate(nullptr, 0, 0), -1);
  EXPECT_EQ(log.take(), LogLines{});
}

TEST_F(LineIo, UnknownHandlesAreRefused) {
  const int closed = reader("text");
  EXPECT_EQ(fileclose(closed), 1);
  std::vector<Calls> unknown{by_record(nullptr)};
  for (const int handle : {-1, 0, closed, 1023, 1024, 0x7fffffff}) {
    unknown.push_back(by_handle(handle));
    EXPECT_EQ(fileclose(handle), 0);
  }
  for (const Calls& calls : unknown) {
    char* line = nullptr;
    EXPECT_EQ(calls.line(&line), -1);
    EXPECT_EQ(line, nullptr);
    EXPECT_EQ(calls.text(Text("text")), -1);
    EXPECT_EQ(calls.byte(), -1);
    calls.back();
    EXPECT_EQ(calls.put('c'), -1);
    EXPECT_EQ(calls.move(0), -1);
    EXPECT_EQ(calls.pos(), -1);
  }
  const int open = reader("text");
  EXPECT_EQ(getline(open, nullptr), -1);
  EXPECT_EQ(putline(open, nullptr), -1);
  EXPECT_EQ(log.take(), LogLines{});
}

TEST_F(LineIo, AFailedReadIsLogged) {
  std::string path = folder.write("read", kBlock + "b\n");
  for (const bool record : {false, true}) {
    const Calls calls = open_calls(record, true, false, path.data());
    char* line = nullptr;
    const auto fail = [&] {
      const Instead other(calls.fd, "/", O_RDONLY);
      EXPECT_EQ(calls.line(&line), -1);
      EXPECT_EQ(errno, EISDIR);
      EXPECT_EQ(calls.byte(), -1);
    };
    fail();
    for (int i = 0; i < 4096; ++i) {
      ASSERT_EQ(calls.byte(), 'a');
    }
    fail();
    EXPECT_EQ(log.take(), (LogLines{"1 configapi: ReadFile failed.",
                                    "1 configapi: inch: ReadFile failed.",
                                    "1 configapi: getline: ReadFile failed.",
                                    "1 configapi: inch: ReadFile failed."}));
    EXPECT_EQ(line, nullptr);
    EXPECT_EQ(calls.line(&line), 1);
    EXPECT_STREQ(line, "b\n");
    EXPECT_EQ(calls.close(), 1);
  }
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
  char full[] = "/dev/full";
  for (const bool record : {false, true}) {
    const Calls direct = open_calls(record, false, false, full);
    EXPECT_EQ(direct.text(Text("text")), -1);
    EXPECT_EQ(errno, ENOSPC);
    EXPECT_EQ(direct.put('c'), -1);
    EXPECT_EQ(direct.pos(), 0);
    EXPECT_EQ(direct.close(), 1);
    EXPECT_EQ(log.take(), LogLines{});

    const Calls calls = open_calls(record, false, true, full);
    EXPECT_EQ(calls.text(Text(kBlock.substr(1))), 1);
    EXPECT_EQ(calls.text(Text("bc")), -1);
    EXPECT_EQ(calls.put('b'), 1);
    EXPECT_EQ(calls.put('c'), -1);
    EXPECT_EQ(calls.move(7), -1);
    EXPECT_EQ(calls.pos(), 4096);
    testing::internal::CaptureStdout();
    EXPECT_EQ(calls.close(), 1);
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              record ? "" : std::to_string(ENOSPC) + "\n");
    EXPECT_EQ(log.take(),
              (LogLines{"1 configapi: putline: WriteFile failed.",
                        "1 configapi: outch: WriteFile failed.",
                        "1 configapi: setfpos: Internal file I/O error",
                        "1 configapi: fileclose: WriteFile failed."}));
  }
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
