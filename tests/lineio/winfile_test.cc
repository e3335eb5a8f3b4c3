// The calls on an ordinary file are told by the state machine in
// fuzz/lineio.cc.

#include <configapi/winfile.h>
#include <sys/stat.h>

#include <array>
#include <cerrno>
#include <climits>
#include <string>

#include "lineio/files.h"

namespace test {
namespace {

constexpr unsigned long kNoSize = 0xFFFFFFFF;
constexpr intptr_t kInvalid = -1;

struct WinFile : LineIo {
  // CreateFile of a file in the folder.
  intptr_t opened(const std::string& name, unsigned long access) {
    std::string path = folder.path(name);
    return CreateFile(path.data(), access, 0, nullptr, 3, 0x80, nullptr);
  }
  // A hole of so many bytes.
  intptr_t sparse(off_t size) {
    EXPECT_EQ(truncate(folder.write("sparse", "").c_str(), size), 0);
    return opened("sparse", 2);
  }
};

TEST_F(WinFile, OpensOrMakes) {
  EXPECT_EQ(opened("file", 1), kInvalid);
  EXPECT_EQ(GetLastError(), static_cast<unsigned long>(ENOENT));
  EXPECT_EQ(log.take(),
            LogLines{"1 configapi: CreateFile failed: " + folder.path("file") +
                     ", error " + std::to_string(ENOENT)});
  const intptr_t target = opened("file", 2);
  char text[] = "one\ntwo\n";
  EXPECT_EQ(putline(static_cast<int>(target), text), 1);
  EXPECT_EQ(CloseHandle(target), 1);
  // The mask of the Windows headers for reading has not the bit that reads.
  EXPECT_EQ(CloseHandle(opened("file", 0x80000000UL)), 1);
  EXPECT_EQ(read_file(folder.path("file")), text);
  const intptr_t source = opened("file", 1);
  EXPECT_EQ(get(static_cast<int>(source)), "one\n");
  EXPECT_EQ(SetEndOfFile(source), 0);
  EXPECT_EQ(GetLastError(), static_cast<unsigned long>(EINVAL));
  EXPECT_EQ(CloseHandle(source), 1);
  errno = 0;
  EXPECT_EQ(CreateFile(nullptr, 1), kInvalid);
  EXPECT_NE(GetLastError(), 0UL);
  TerminateLineIO();
  errno = 0;
  EXPECT_EQ(opened("file", 1), kInvalid);
  EXPECT_NE(GetLastError(), 0UL);
}

TEST_F(WinFile, RefusesWhatIsNoHandle) {
  const intptr_t closed = opened("file", 2);
  EXPECT_EQ(CloseHandle(closed), 1);
  for (const intptr_t handle : {kInvalid, closed, INTPTR_MAX, INTPTR_MIN}) {
    SCOPED_TRACE(handle);
    const bool none = handle == kInvalid || handle != static_cast<int>(handle);
    std::array<char, 4> buffer{};
    // On every bit of the word it is seen whether it was written.
    unsigned long done = ULONG_MAX;
    EXPECT_EQ(ReadFile(handle, buffer.data(), 4, &done, nullptr), 0);
    EXPECT_EQ(done, none ? ULONG_MAX : 0);
    done = ULONG_MAX;
    EXPECT_EQ(WriteFile(handle, buffer.data(), 4, &done, nullptr), 0);
    EXPECT_EQ(done, 0UL);
    EXPECT_EQ(ReadFile(handle, buffer.data(), 4, nullptr, nullptr), 0);
    EXPECT_EQ(GetFileSize(handle, nullptr), kNoSize);
    EXPECT_EQ(SetFilePointer(handle, 0, nullptr, 0), none ? 0 : -1);
    EXPECT_EQ(SetEndOfFile(handle), 0);
    errno = 0;
    EXPECT_EQ(CloseHandle(handle), 0);
    EXPECT_EQ(GetLastError(), static_cast<unsigned long>(EBADF));
  }
}

TEST_F(WinFile, MovesWithinThirtyTwoBits) {
  constexpr off_t kGiga = off_t{1} << 30U;
  const struct {
    off_t size;
    unsigned long told;  // by GetFileSize
    bool reached;        // whether the end is an offset
  } cases[] = {
      {0, 0, true},
      {2 * kGiga - 1, 0x7FFFFFFF, true},
      {3 * kGiga, 0xC0000000, true},
      {4 * kGiga - 2, 0xFFFFFFFE, true},
      {4 * kGiga - 1, kNoSize, false},
      {5 * kGiga, kNoSize, false},
  };
  for (const auto& [size, told, reached] : cases) {
    SCOPED_TRACE(size);
    const intptr_t handle = sparse(size);
    const auto offset = [fd = static_cast<int>(handle)] {
      return lseek(fd, 0, SEEK_CUR);
    };
    errno = 0;
    EXPECT_EQ(GetFileSize(handle, nullptr), told);
    EXPECT_EQ(SetFilePointer(handle, 7, nullptr, 0), 7);
    EXPECT_EQ(SetFilePointer(handle, -2, nullptr, 1), 5);
    const long end = SetFilePointer(handle, 0, nullptr, 2);
    EXPECT_EQ(end, reached ? static_cast<long>(told) : -1);
    EXPECT_EQ(GetLastError() == EOVERFLOW, !reached);
    EXPECT_EQ(offset(), reached ? size : 5);
    for (const int method : {-1, 3, 4}) {
      EXPECT_EQ(SetFilePointer(handle, 1, nullptr, method), -1);
      EXPECT_EQ(GetLastError(), static_cast<unsigned long>(EINVAL));
    }
    EXPECT_EQ(SetFilePointer(handle, -1, nullptr, 0), -1);
    EXPECT_EQ(offset(), reached ? size : 5);
    EXPECT_EQ(SetEndOfFile(handle), 1);
    struct stat status {};
    EXPECT_EQ(fstat(static_cast<int>(handle), &status), 0);
    EXPECT_EQ(status.st_size, size);
    EXPECT_EQ(CloseHandle(handle), 1);
  }
}

TEST_F(WinFile, TakesAnyDescriptor) {
  std::array<int, 2> ends{};
  ASSERT_EQ(pipe(ends.data()), 0);
  std::array<char, 100> buffer{"text"};
  unsigned long done = ULONG_MAX;
  EXPECT_EQ(WriteFile(ends[1], buffer.data(), 4, &done, nullptr), 1);
  EXPECT_EQ(done, 4UL);
  done = ULONG_MAX;
  EXPECT_EQ(ReadFile(ends[0], buffer.data(), buffer.size(), &done, nullptr), 1);
  EXPECT_EQ(done, 4UL);
  EXPECT_EQ(SetFilePointer(ends[0], 0, nullptr, 1), -1);
  EXPECT_EQ(GetLastError(), static_cast<unsigned long>(ESPIPE));
  close(ends[1]);
  EXPECT_EQ(ReadFile(ends[0], buffer.data(), buffer.size(), &done, nullptr), 1);
  EXPECT_EQ(done, 0UL);
  close(ends[0]);
}

}  // namespace
}  // namespace test
