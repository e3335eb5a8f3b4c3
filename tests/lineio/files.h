// What the tests of the line I/O share: a started pool and a folder of files.

#ifndef CONFIGAPI_TESTS_LINEIO_FILES_H_
#define CONFIGAPI_TESTS_LINEIO_FILES_H_

#include <configapi/lineio.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <string>
#include <string_view>

#include "support/log_capture.h"
#include "support/temp_folder.h"

namespace test {

enum class Mode { kRead, kWrite, kWriteBuffered };

inline int open_file(std::string path, Mode mode) {
  constexpr int kWriteFlag = 2;
  return fileopen(path.data(), mode == Mode::kRead ? 0 : kWriteFlag,
                  mode == Mode::kWriteBuffered ? 1 : 0);
}

inline int create_file(std::string path, Mode mode) {
  return filecreate(path.data(), 0, mode == Mode::kWriteBuffered ? 1 : 0);
}

inline int put(int handle, std::string text) {
  return putline(handle, text.data());
}

// The bytes of the next line; or "end" or "failed", which no line of these
// tests is.
inline std::string get(int handle) {
  char* line = nullptr;
  const long before = getfpos(handle);
  const int result = getline(handle, &line);
  if (result != 1) {
    EXPECT_EQ(line, nullptr);
    return result == 0 ? "end" : "failed";
  }
  const auto length = static_cast<std::size_t>(getfpos(handle) - before);
  EXPECT_EQ(line[length], '\0');
  return {line, length};
}

struct LineIo : testing::Test {
  LineIo() { EXPECT_EQ(InitLineIO(), 0); }
  ~LineIo() override { TerminateLineIO(); }
  LineIo(const LineIo&) = delete;
  LineIo& operator=(const LineIo&) = delete;
  LineIo(LineIo&&) = delete;
  LineIo& operator=(LineIo&&) = delete;

  int reader(std::string_view bytes) {
    return open_file(folder.write("read", bytes), Mode::kRead);
  }
  [[nodiscard]] std::string written() const {
    return read_file(folder.path("written"));
  }
  int writer(Mode mode) { return create_file(folder.path("written"), mode); }

  TempFolder folder;
  LogCapture log;
};

}  // namespace test

#endif  // CONFIGAPI_TESTS_LINEIO_FILES_H_
