#include <configapi/lineio.h>
#include <sys/stat.h>

#include <algorithm>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

#include "lineio/files.h"

namespace test {
namespace {

using Lines = std::vector<std::string>;
using Sizes = std::vector<std::size_t>;

Lines lines_of(int handle) {
  Lines lines;
  int result = 1;
  while (result == 1) {
    lines.push_back(get(handle, &result));
  }
  EXPECT_EQ(result, 0);
  lines.pop_back();
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
  return lines;
}

std::string bytes_of(int handle) {
  std::string bytes;
  for (int byte = inch(handle); byte != -1; byte = inch(handle)) {
    EXPECT_TRUE(byte >= 0 && byte <= 255);
    bytes.push_back(static_cast<char>(byte));
  }
  return bytes;
}

std::string run_of(std::size_t length) {
  return std::string(length, 'x');
}

TEST_F(LineIo, DeliversLines) {
  using std::string_literals::operator""s;
  const struct {
    const char* what;
    std::string text;
  } cases[] = {
      {"empty file", ""},
      {"one line feed", "\n"},
      {"CRLF, last line without", "a\r\nb"},
      {"empty lines", "\n\r\n\n"},
      {"lone carriage returns", "a\rb\r"},
      {"NUL bytes", "a\0b\n\0\n\0"s},
      {"8-bit bytes", "\xff\xfe\n\x80"},
      {"a piece and its line feed", run_of(1023) + "\n" + run_of(1024) + "\n"},
      {"3000 bytes", run_of(2999) + "\nnext\n"},
      {"one block without a line feed", run_of(4000) + "\n" + run_of(95)},
      {"one block", run_of(95) + "\n" + run_of(3999) + "\n"},
      {"two blocks and one byte", run_of(8191) + "\n\n"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    const int handle = reader(c.text);
    EXPECT_EQ(lines_of(handle), split(c.text));
    EXPECT_EQ(getfpos(handle), static_cast<long>(c.text.size()));
    EXPECT_EQ(setfpos(handle, 0), 0);
    EXPECT_EQ(bytes_of(handle), c.text);
    EXPECT_EQ(fileclose(handle), 1);
  }
  EXPECT_EQ(log.take(), LogLines{});
}

// Starting one byte later moves every line against the edges of the blocks.
TEST_F(LineIo, LinesCrossTheEdgesAtEveryOffset) {
  std::string text;
  for (const std::size_t length :
       Sizes{5,  44, 0,   1,   130, 1023, 1024, 1025, 76, 2,  997, 14,  15,
             16, 17, 127, 128, 129, 2050, 31,   0,    0,  63, 800, 1022}) {
    text += std::string(length, static_cast<char>('a' + length % 26)) + "\n";
  }
  text += "the last line, which does not end";
  const int handle = reader(text);
  for (std::size_t start = 0; start < text.size(); ++start) {
    setfpos(handle, static_cast<long>(start));
    ASSERT_EQ(lines_of(handle), split(std::string_view(text).substr(start)))
        << start;
  }
}

TEST_F(LineIo, TheEndStaysTheEndUntilAMove) {
  const int handle = reader("one");
  EXPECT_EQ(get(handle), "one");
  EXPECT_EQ(truncate(folder.path("read").c_str(), 1000), 0);
  int result = -1;
  EXPECT_EQ(get(handle, &result), "");
  EXPECT_EQ(result, 0);
  EXPECT_EQ(inch(handle), -1);
  EXPECT_EQ(setfpos(handle, 2), 2);
  EXPECT_EQ(inch(handle), 'e');
  EXPECT_EQ(inch(handle), 0);
}

TEST_F(LineIo, StepsBack) {
  const int handle = reader(run_of(4095) + "yz\n");
  uninch('q', handle);
  EXPECT_EQ(getfpos(handle), 0);
  EXPECT_EQ(get(handle).size(), 1024U);
  uninch('q', handle);
  EXPECT_EQ(inch(handle), 'x');
  // From the first byte of the second block, three steps over the edge.
  for (int i = 1024; i <= 4096; ++i) {
    inch(handle);
  }
  EXPECT_EQ(getfpos(handle), 4097);
  for (int i = 0; i < 4; ++i) {
    uninch(0, handle);
  }
  EXPECT_EQ(getfpos(handle), 4093);
  EXPECT_EQ(get(handle), "xxyz\n");
  // At the end, and with nothing loaded.
  EXPECT_EQ(inch(handle), -1);
  uninch(0, handle);
  EXPECT_EQ(inch(handle), '\n');
  EXPECT_EQ(setfpos(handle, 4097), 4097);
  uninch(0, handle);
  uninch(0, handle);
  EXPECT_EQ(getfpos(handle), 4095);
  EXPECT_EQ(get(handle), "yz\n");
}

// Every way in which a text can meet the buffer.
TEST_F(LineIo, WritesWhatItWasGiven) {
  for (const Mode mode : {Mode::kWrite, Mode::kWriteBuffered}) {
    for (const std::size_t before : Sizes{0, 1, 4095, 4096}) {
      for (const std::size_t length :
           Sizes{0, 1, 2, 4094, 4095, 4096, 4097, 8191, 8192, 8193, 20000}) {
        SCOPED_TRACE(std::to_string(before) + "+" + std::to_string(length));
        unlink(folder.path("written").c_str());
        const int handle = writer(mode);
        for (std::size_t i = 0; i < before; ++i) {
          ASSERT_EQ(outch('b', handle), 1);
        }
        ASSERT_EQ(put(handle, run_of(length)), 1);
        ASSERT_EQ(put(handle, "end"), 1);
        EXPECT_EQ(getfpos(handle), static_cast<long>(before + length + 3));
        EXPECT_EQ(fileclose(handle), 1);
        ASSERT_EQ(written(), std::string(before, 'b') + run_of(length) + "end");
      }
    }
  }
}

TEST_F(LineIo, WritesBehindInBlocks) {
  const int handle = writer(Mode::kWriteBuffered);
  for (int i = 0; i < 4096; ++i) {
    EXPECT_EQ(outch(0x161, handle), 1);
  }
  EXPECT_EQ(written(), "");
  EXPECT_EQ(outch('b', handle), 1);
  EXPECT_EQ(written().size(), 4096U);
  EXPECT_EQ(getfpos(handle), 4097);
  EXPECT_EQ(put(handle, ""), 1);
  EXPECT_EQ(fileclose(handle), 1);
  EXPECT_EQ(written(), std::string(4096, 'a') + "b");
}

TEST_F(LineIo, ABlockThatIsWrittenSetsThePosition) {
  const int handle = writer(Mode::kWriteBuffered);
  EXPECT_EQ(lseek(handle, 100, SEEK_SET), 100);
  EXPECT_EQ(put(handle, run_of(4095)), 1);
  EXPECT_EQ(getfpos(handle), 4095);
  EXPECT_EQ(put(handle, run_of(3)), 1);
  EXPECT_EQ(getfpos(handle), 100 + 4098);
}

TEST_F(LineIo, MovesWriteWhatWaits) {
  const int handle = writer(Mode::kWriteBuffered);
  put(handle, "0123456789");
  uninch(0, handle);
  EXPECT_EQ(written(), "0123456789");
  EXPECT_EQ(getfpos(handle), 9);
  put(handle, "X");
  EXPECT_EQ(setfpos(handle, 2), 2);
  EXPECT_EQ(written(), "012345678X");
  put(handle, "YY");
  EXPECT_EQ(fileclose(handle), 1);
  EXPECT_EQ(written(), "01YY45678X");
}

TEST_F(LineIo, AnExistingFileKeepsItsTail) {
  const std::string path = folder.write("written", run_of(100));
  for (const Mode mode : {Mode::kWrite, Mode::kWriteBuffered}) {
    const int created = create_file(path, mode);
    EXPECT_EQ(put(created, "0123456789"), 1);
    EXPECT_EQ(fileclose(created), 1);
    EXPECT_EQ(written(), "0123456789" + run_of(90));
    const int opened = open_file(path, mode);
    EXPECT_EQ(put(opened, "abc"), 1);
    EXPECT_EQ(fileclose(opened), 1);
    EXPECT_EQ(written(), "abc3456789" + run_of(90));
  }
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
  const int source = open_file(folder.write("read", "one\ntwo\n"), Mode::kRead);
  EXPECT_EQ(get(source), "one\n");
  EXPECT_EQ(put(source, "text"), -1);
  EXPECT_EQ(outch('c', source), -1);
  EXPECT_EQ(get(source), "two\n");
  const int target = writer(Mode::kWriteBuffered);
  EXPECT_EQ(put(target, "text"), 1);
  EXPECT_EQ(inch(target), -1);
  int result = 0;
  EXPECT_EQ(get(target, &result), "");
  EXPECT_EQ(result, -1);
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
  ASSERT_NE(handle, -1);
  EXPECT_EQ(setfpos(handle, static_cast<long>(kEdge - 3)), kEdge - 3);
  EXPECT_EQ(lines_of(handle), (Lines{"ab\n", "cd\n", "ef\n"}));
  uninch(0, handle);
  uninch(0, handle);
  EXPECT_EQ(inch(handle), 'f');
  EXPECT_EQ(getfpos(handle), static_cast<long>(kEdge + 5));
}

TEST_F(LineIo, LogsOpensWhileItIsTold) {
  setenv("QXMSCONF_DIR", folder.path("").c_str(), 1);
  const std::string path = folder.write("read", "");
  const auto logged = [&](const char* value) {
    (void)folder.write("qxmta.ini",
                       std::string("[Debug]\nLogFileIO=") + value + "\n");
    const int handle = open_file(path, Mode::kRead);
    fileclose(handle);
    const int created = create_file(path, Mode::kWrite);
    EXPECT_EQ(created, handle);
    fileclose(created);
    return log.take();
  };
  const int number = open_file(path, Mode::kRead);
  fileclose(number);
  const std::string id = std::to_string(number);
  const LogLines all = {
      "1 configapi: fileopen: " + path + ", FileHandle #" + id,
      "1 configapi: fileclose: FileHandle #" + id,
      "1 configapi: filecreate: " + path + ", FileHandle #" + id,
      "1 configapi: fileclose: FileHandle #" + id};
  EXPECT_EQ(logged("TRUE"), all);
  EXPECT_EQ(logged("tRue"), all);
  EXPECT_EQ(logged("FALSE"), LogLines{});
  EXPECT_EQ(logged("TRUE it is"), LogLines{});
  // A name that does not fit is cut with its line.
  std::string deep = folder.path("");
  while (deep.size() < 300) {
    deep += "./";
  }
  (void)folder.write("qxmta.ini", "[debug]\nlogfileio=true\n");
  EXPECT_EQ(fileclose(open_file(deep + "read", Mode::kRead)), 1);
  EXPECT_EQ(log.take().at(0),
            "1 configapi: " + ("fileopen: " + deep).substr(0, 255));
  unsetenv("QXMSCONF_DIR");
}

}  // namespace
}  // namespace test
