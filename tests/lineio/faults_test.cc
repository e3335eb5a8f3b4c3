// Files that fail: what is said of it, closed descriptors, pipes, signals. That
// nothing is lost or written twice is told by the state machine in
// fuzz/lineio.cc.

#include <configapi/internals.h>
#include <configapi/winfile.h>
#include <sys/stat.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <string>
#include <thread>
#include <vector>

#include "lineio/calls.h"
#include "lineio/files.h"
#include "support/client_text.h"
#include "support/process_faults.h"

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

// Nobody is at the other end of the pipe at first; then bytes come and go a
// block at a time, which is what one read asks for.
TEST_F(LineIo, AStormOfSignalsChangesNothing) {
  const Text path(folder.path("pipe"));
  ASSERT_EQ(mkfifo(path, 0600), 0);
  std::string sent;
  for (int i = 0; i < 20 * 64; ++i) {
    sent += std::string(62, static_cast<char>('a' + i % 26)) + "\r\n";
  }
  const auto later = [] { usleep(3000); };
  std::thread other([&] {
    later();
    int end = open(path, O_WRONLY);
    for (std::size_t at = 0; at < sent.size(); at += kBlock.size(), later()) {
      EXPECT_EQ(write(end, &sent[at], kBlock.size()), 4096);
    }
    close(end);
    later();
    end = open(path, O_RDONLY);
    std::string received;
    std::array<char, 4096> bytes{};
    for (ssize_t got = 1; got > 0; later()) {
      got = read(end, bytes.data(), bytes.size());
      received.append(bytes.data(), static_cast<std::size_t>(got));
    }
    close(end);
    EXPECT_EQ(received, sent + sent);
  });
  const SignalStorm storm;
  const int source = fileopen(path, 0, 0);
  std::string lines = get(source);
  for (int byte = inch(source); byte != '\n'; byte = inch(source)) {
    lines += static_cast<char>(byte);
  }
  lines += '\n';
  while (lines.size() < sent.size() - kBlock.size()) {
    lines += get(source);
  }
  std::string block(kBlock.size(), ' ');
  unsigned long done = 0;
  EXPECT_EQ(ReadFile(source, block.data(), block.size(), &done, nullptr), 1);
  EXPECT_EQ(lines + block, sent);
  EXPECT_EQ(fileclose(source), 1);

  const int target = filecreate(path, 0, 1);
  EXPECT_EQ(put(target, sent), 1);
  EXPECT_EQ(WriteFile(target, sent.data(), sent.size(), &done, nullptr), 1);
  for (std::size_t at = done; at < sent.size(); ++at) {
    EXPECT_EQ(outch(sent[at], target), 1);
  }
  EXPECT_EQ(fileclose(target), 1);
  other.join();
  EXPECT_EQ(log.take(), LogLines{});
}

TEST_F(LineIo, WithoutDescriptorsNothingOpens) {
  const Text path(folder.write("file", "text\n"));
  const int next = next_descriptor();
  {
    const NoDescriptors none;
    for (auto* const open : {fileopen, filecreate}) {
      errno = 0;
      EXPECT_EQ(open(path, 0, 0), -1);
      EXPECT_EQ(errno, EMFILE);
    }
    EXPECT_EQ(CreateFile(path, 1), -1);
    EXPECT_EQ(FileOpen(path, 0), nullptr);
    EXPECT_EQ(FileCreate(path), nullptr);
    EXPECT_EQ(errno, EMFILE);
  }
  const std::string refused =
      "1 configapi: CreateFile failed: " + std::string(path) + ", error 24";
  EXPECT_EQ(log.take(), (LogLines{refused, "1 configapi: open failed", refused,
                                  "1 configapi: CreateFile failed."}));
  EXPECT_EQ(thread_file_pool->count, 0);
  const int handle = fileopen(path, 0, 0);
  EXPECT_EQ(handle, next);
  EXPECT_EQ(get(handle), "text\n");
}

// The system takes what there is room for, and then refuses, with a signal
// that ends a host that does not expect it.
TEST_F(LineIo, AFileAtItsLimitTakesNoMore) {
  constexpr rlim_t kLimit = 6000;
  std::string text(5999, 't');
  std::string more = "more";
  auto* const before = std::signal(SIGXFSZ, SIG_IGN);
  for (const bool buffered : {false, true}) {
    const int handle = writer(buffered ? Mode::kWriteBuffered : Mode::kWrite);
    unsigned long done = 99;
    {
      const ProcessLimit limit(RLIMIT_FSIZE, kLimit);
      EXPECT_EQ(put(handle, text), 1);
      EXPECT_EQ(put(handle, more), buffered ? 1 : -1);
      EXPECT_EQ(setfpos(handle, 5999), buffered ? -1 : 5999);
      EXPECT_EQ(errno, EFBIG);
      EXPECT_EQ(getfpos(handle), buffered ? 6003 : 5999);
    }
    // Nothing of what was refused is lost, and nothing written twice.
    EXPECT_EQ(buffered ? setfpos(handle, 6003) : put(handle, more),
              buffered ? 6003 : 1);
    EXPECT_EQ(written(), text + more);
    {
      const ProcessLimit limit(RLIMIT_FSIZE, kLimit + 4);
      EXPECT_EQ(WriteFile(handle, more.data(), 4, &done, nullptr), 1);
      EXPECT_EQ(done, 1U);
      EXPECT_EQ(WriteFile(handle, more.data(), 4, &done, nullptr), 0);
      EXPECT_EQ(GetLastError(), static_cast<unsigned long>(EFBIG));
    }
    EXPECT_EQ(fileclose(handle), 1);
    unlink(folder.path("written").c_str());
  }
  std::signal(SIGXFSZ, SIG_DFL);
  EXPECT_EXIT(
      {
        const int handle = writer(Mode::kWrite);
        const ProcessLimit limit(RLIMIT_FSIZE, 0);
        put(handle, more);
      },
      testing::KilledBySignal(SIGXFSZ), "");
  std::signal(SIGXFSZ, before);
}

// What was read ahead is still delivered.
TEST_F(LineIo, AFileThatIsCutWhileItIsReadEndsThere) {
  const std::string header = "X: " + std::string(200, 'x') + "\n";
  std::string headers;
  while (headers.size() < 3 * kBlock.size()) {
    headers += header;
  }
  const std::string path = folder.write("read", headers);
  const struct {
    off_t size;        // what it is cut to
    std::size_t ends;  // how much there is to be read
  } rows[] = {{0, 4096}, {5000, 5000}, {8192, 8192}};
  for (const auto& row : rows) {
    for (const bool by_line : {true, false}) {
      EXPECT_EQ(folder.write("read", headers), path);
      const int handle = open_file(path, Mode::kRead);
      std::string got = get(handle);
      EXPECT_EQ(truncate(path.c_str(), row.size), 0);
      for (std::string line = "x"; by_line && line != "end";) {
        line = get(handle);
        got += line != "end" ? line : "";
      }
      for (int byte = 0; !by_line && byte != -1;) {
        byte = inch(handle);
        got += byte != -1 ? std::string(1, static_cast<char>(byte)) : "";
      }
      EXPECT_EQ(got, headers.substr(0, row.ends));
      EXPECT_EQ(fileclose(handle), 1);
    }
    EXPECT_EQ(folder.write("read", headers), path);
    const int handle = open_file(path, Mode::kRead);
    EXPECT_EQ(get(handle), header);
    EXPECT_EQ(truncate(path.c_str(), row.size), 0);
    Header822* record = New822Header();
    unsigned lines = 0;
    unsigned status_line = 0;
    EXPECT_EQ(ParseHdr(handle, record, &lines, &status_line), 1);
    EXPECT_EQ(lines, (row.ends + header.size() - 1) / header.size() - 1);
    Free822Header(record);
    EXPECT_EQ(fileclose(handle), 1);
  }
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
