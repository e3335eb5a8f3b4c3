#include <configapi/lineio.h>
#include <configapi/winfile.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>

namespace configapi {
namespace {

constexpr int kNoHandle = -1;
constexpr std::uint32_t kNoSize = 0xFFFFFFFF;

// A value that no int holds must not be cut to somebody else's descriptor.
int descriptor(std::intptr_t handle) {
  const auto fd = static_cast<int>(handle);
  if (fd != handle || fd == kNoHandle) {
    errno = EBADF;
    return kNoHandle;
  }
  return fd;
}

template <typename Call>
auto uninterrupted(Call call) {
  auto result = call();
  while (result == -1 && errno == EINTR) {
    result = call();
  }
  return result;
}

// What a read or write gave, as its callers tell it.
int report(ssize_t moved, unsigned long* done) {
  if (done != nullptr) {
    *done = moved < 0 ? 0 : static_cast<unsigned long>(moved);
  }
  return moved < 0 ? 0 : 1;
}

off_t size_of(int fd) {
  struct stat status {};
  return fstat(fd, &status) == 0 ? status.st_size : -1;
}

}  // namespace
}  // namespace configapi

using configapi::descriptor;
using configapi::kNoHandle;
using configapi::uninterrupted;

// NOLINTNEXTLINE(cert-dcl50-cpp): callers pass what they pass on Windows.
extern "C" intptr_t CreateFile(char* name, unsigned long access, ...) {
  constexpr unsigned long kRead = 1;
  return (access & kRead) != 0 ? fileopen(name, 1, 0) : filecreate(name, 2, 0);
}

extern "C" int ReadFile(intptr_t handle, void* buffer, unsigned long length,
                        unsigned long* done, void* /*overlapped*/) {
  const int fd = descriptor(handle);
  if (fd == kNoHandle) {
    return 0;
  }
  return configapi::report(
      uninterrupted([=] { return read(fd, buffer, length); }), done);
}

extern "C" int WriteFile(intptr_t handle, void* buffer, unsigned long length,
                         unsigned long* done, void* /*overlapped*/) {
  const int fd = descriptor(handle);
  return configapi::report(
      uninterrupted([=] { return write(fd, buffer, length); }), done);
}

extern "C" int CloseHandle(intptr_t handle) {
  if (fileclose(descriptor(handle)) != 0) {
    return 1;
  }
  errno = EBADF;
  return 0;
}

extern "C" unsigned long GetFileSize(intptr_t handle, void* /*high*/) {
  const off_t size = configapi::size_of(descriptor(handle));
  if (size >= configapi::kNoSize) {
    errno = EOVERFLOW;
    return configapi::kNoSize;
  }
  return size >= 0 ? static_cast<unsigned long>(size) : configapi::kNoSize;
}

extern "C" long SetFilePointer(intptr_t handle, long distance, void* /*high*/,
                               int method) {
  const int fd = descriptor(handle);
  if (fd == kNoHandle) {
    return 0;
  }
  // Not handed on: the system knows more methods, which find holes.
  if (method != SEEK_SET && method != SEEK_CUR && method != SEEK_END) {
    errno = EINVAL;
    return -1;
  }
  const off_t before = lseek(fd, 0, SEEK_CUR);
  const off_t offset = lseek(fd, distance, method);
  if (offset >= configapi::kNoSize) {
    lseek(fd, before, SEEK_SET);
    errno = EOVERFLOW;
    return -1;
  }
  return static_cast<long>(offset);
}

extern "C" int SetEndOfFile(intptr_t handle) {
  const int fd = descriptor(handle);
  // Not GetFileSize(): a large file would be cut to what that tells of it.
  const off_t size = configapi::size_of(fd);
  if (size == -1) {
    return 0;
  }
  return uninterrupted([=] { return ftruncate(fd, size); }) == 0 ? 1 : 0;
}

extern "C" unsigned long GetLastError(void) {
  return static_cast<unsigned long>(errno);
}
