// Moves, steps back and what a file holds are told by the state machine in
// fuzz/lineio.cc, too, and the plain ones by that alone.

#include <configapi/lineio.h>
#include <sys/stat.h>

#include <algorithm>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

#include "lineio/files.h"
#include "support/client_text.h"

namespace test {
namespace {

using Lines = std::vector<std::string>;
using Sizes = std::vector<std::size_t>;

Lines lines_of(int handle) {
  Lines lines{get(handle)};
  while (lines.back() != "end" && lines.back() != "failed") {
    lines.push_back(get(handle));
  }
  return lines;
}

// What getline is to deliver.
Lines split(std::string_view text) {
  Lines lines;
  while (!text.empty()) {
    const std::size_t feed = std::min(text.find('\n'), text.size() - 1);
    const auto length = std::min<std::size_t>(feed + 1, LINEIO_LINE_SIZE);
    lines.emplace_back(text.substr(0, length));
    text.remove_prefix(length);
  }
  lines.emplace_back("end");
  return lines;
}

std::string run_of(std::size_t length) {
  return std::string(length, 'x');
}

// Starting one byte later moves every line against the edges of the blocks.
TEST_F(LineIo, LinesCrossTheEdgesAtEveryOffset) {
  using std::string_literals::operator""s;
  std::string text = "a\rb\r\n\n\r\n\xff\xfe\na\0b\n\0\n\0"s;
  for (const std::size_t length :
       Sizes{44, 0,  1,   130, 1023, 1024, 1025, 76, 2, 997, 14,  15,
             16, 17, 127, 128, 129,  2050, 31,   0,  0, 63,  800, 1022}) {
    text += std::string(length, static_cast<char>('a' + length % 26)) + "\n";
  }
  text += "the last line has no feed";
  const int handle = reader(text);
  for (std::size_t start = 0; start <= text.size(); ++start) {
    setfpos(handle, static_cast<long>(start));
    ASSERT_EQ(lines_of(handle), split(std::string_view(text).substr(start)))
        << start;
  }
  EXPECT_EQ(log.take(), LogLines{});
}

TEST_F(LineIo, TheEndStaysTheEndUntilAMove) {
  const int handle = reader("one");
  EXPECT_EQ(get(handle), "one");
  EXPECT_EQ(truncate(folder.path("read").c_str(), 1000), 0);
  EXPECT_EQ(get(handle), "end");
  EXPECT_EQ(inch(handle), -1);
  EXPECT_EQ(setfpos(handle, 2), 2);
  EXPECT_EQ(inch(handle), 'e');
  EXPECT_EQ(inch(handle), 0);
}

// Every way in which a text can meet the buffer.
TEST_F(LineIo, WritesWhatItWasGiven) {
  for (const Mode mode : {Mode::kWrite, Mode::kWriteBuffered}) {
    for (const std::size_t before : Sizes{0, 1, 4095, 4096}) {
      for (const std::size_t length :
           Sizes{0, 1, 2, 4094, 4095, 4096, 4097, 8191, 8192, 8193, 20000}) {
        unlink(folder.path("written").c_str());
        const int handle = writer(mode);
        for (std::size_t i = 0; i < before; ++i) {
          ASSERT_EQ(outch('b', handle), 1);
        }
        EXPECT_EQ(put(handle, run_of(length)), 1);
        EXPECT_EQ(put(handle, "end"), 1);
        EXPECT_EQ(getfpos(handle), static_cast<long>(before + length + 3));
        EXPECT_EQ(fileclose(handle), 1);
        ASSERT_EQ(written(), std::string(before, 'b') + run_of(length) + "end")
            << before << "+" << length;
      }
    }
  }
}

TEST_F(LineIo, WritesBehindInBlocks) {
  const int handle = writer(Mode::kWriteBuffered);
  EXPECT_EQ(put(handle, run_of(4095)), 1);
  EXPECT_EQ(outch(0x161, handle), 1);
  EXPECT_EQ(written(), "");
  EXPECT_EQ(outch('b', handle), 1);
  EXPECT_EQ(written(), run_of(4095) + "a");
  EXPECT_EQ(getfpos(handle), 4097);
  // A block that is written by putline sets the position.
  EXPECT_EQ(lseek(handle, 100, SEEK_SET), 100);
  EXPECT_EQ(put(handle, run_of(4095)), 1);
  EXPECT_EQ(getfpos(handle), 100 + 4096);
}

TEST_F(LineIo, AnExistingFileKeepsItsTail) {
  for (const char* text : {"0123456789", "abc"}) {
    const int handle = writer(Mode::kWriteBuffered);
    EXPECT_EQ(put(handle, text), 1);
    EXPECT_EQ(fileclose(handle), 1);
  }
  EXPECT_EQ(written(), "abc3456789");
}

TEST_F(LineIo, ADescriptorIsItsOwnersAlone) {
  umask(0);
  const int handle = writer(Mode::kWrite);
  struct stat status {};
  EXPECT_EQ(fstat(handle, &status), 0);
  EXPECT_EQ(status.st_mode & 07777U, 0600U);
  EXPECT_EQ(fcntl(handle, F_GETFD) & FD_CLOEXEC, FD_CLOEXEC);
}

TEST_F(LineIo, TheOtherDirectionIsRefused) {
  const int source = reader("one\ntwo\n");
  EXPECT_EQ(get(source), "one\n");
  EXPECT_EQ(put(source, ""), -1);
  EXPECT_EQ(outch('c', source), -1);
  EXPECT_EQ(get(source), "two\n");
  const int target = writer(Mode::kWriteBuffered);
  EXPECT_EQ(put(target, "text"), 1);
  EXPECT_EQ(inch(target), -1);
  EXPECT_EQ(get(target), "failed");
  EXPECT_EQ(fileclose(target), 1);
  EXPECT_EQ(written(), "text");
}

// There is room for a few bytes only; the rest of the file is a hole.
TEST_F(LineIo, ReadsFilesOfMoreThanTwoGigabytes) {
  const std::string path = folder.write("large", "");
  constexpr off_t kEdge = off_t{1} << 31;
  ASSERT_EQ(truncate(path.c_str(), kEdge - 3), 0);
  const int fd = open(path.c_str(), O_WRONLY | O_APPEND);
  ASSERT_EQ(write(fd, "ab\ncd\nef\n", 9), 9);
  close(fd);
  const int handle = open_file(path, Mode::kRead);
  EXPECT_EQ(setfpos(handle, static_cast<long>(kEdge - 3)), kEdge - 3);
  EXPECT_EQ(lines_of(handle), split("ab\ncd\nef\n"));
  uninch(0, handle);
  uninch(0, handle);
  EXPECT_EQ(inch(handle), 'f');
  EXPECT_EQ(getfpos(handle), static_cast<long>(kEdge + 5));
}

TEST_F(LineIo, LogsOpensWhileItIsTold) {
  setenv("QXMSCONF_DIR", folder.path("").c_str(), 1);
  const std::string path = folder.write("read", "");
  const auto logged = [&](const std::string& name, const std::string& value) {
    (void)folder.write("qxmta.ini", "[Debug]\nLogFileIO=" + value + "\n");
    fileclose(open_file(name, Mode::kRead));
    fileclose(create_file(name, Mode::kWrite));
    LogLines lines = log.take();
    FileClose(FileOpen(Text(name), 0));
    FileClose(FileCreate(Text(name)));
    EXPECT_EQ(log.take(), lines);
    return lines;
  };
  const int number = open_file(path, Mode::kRead);
  fileclose(number);
  const std::string id = "FileHandle #" + std::to_string(number);
  const LogLines all = {"1 configapi: fileopen: " + path + ", " + id,
                        "1 configapi: fileclose: " + id,
                        "1 configapi: filecreate: " + path + ", " + id,
                        "1 configapi: fileclose: " + id};
  EXPECT_EQ(logged(path, "tRue"), all);
  EXPECT_EQ(logged(path, "FALSE"), LogLines{});
  EXPECT_EQ(logged(path, "TRUE it is"), LogLines{});
  // A name that does not fit is cut with its line.
  std::string deep = folder.path("");
  while (deep.size() < 300) {
    deep += "./";
  }
  EXPECT_EQ(logged(deep + "read", "TRUE").at(0),
            "1 configapi: " + ("fileopen: " + deep).substr(0, 255));
  unsetenv("QXMSCONF_DIR");
}

}  // namespace
}  // namespace test
