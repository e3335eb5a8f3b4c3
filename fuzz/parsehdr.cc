// A message's header from a stranger, read from a file.

#include <configapi/lineio.h>
#include <configapi/rfc822.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

namespace {

constexpr std::size_t kLongestHeader = 63 * 1024;
constexpr std::size_t kDateText = 64;

void require(bool condition) {
  if (!condition) {
    std::abort();
  }
}

// A handle on a file with these bytes; the name under which it is opened goes
// with the descriptor.
int open_bytes(const std::uint8_t* data, std::size_t size) {
  const int fd = memfd_create("message", MFD_CLOEXEC);
  require(fd != -1);
  require(write(fd, data, size) == static_cast<ssize_t>(size));
  std::string name = "/proc/self/fd/" + std::to_string(fd);
  const int handle = fileopen(name.data(), 1, 0);
  close(fd);
  return handle;
}

void check_texts(const TextList* list) {
  for (; list != nullptr; list = list->next) {
    require(list->text != nullptr && std::strlen(list->text) < kLongestHeader);
  }
}

}  // namespace

// The record can be walked and released, and no line is counted that is not
// there.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data,
                                      std::size_t size) {
  require(InitLineIO() == 0);
  const int handle = open_bytes(data, size);
  require(handle != -1);
  Header822* header = New822Header();
  unsigned lines = 0;
  unsigned status_line = 0;
  require(ParseHdr(handle, header, &lines, &status_line) == 1);
  require(lines <= std::count(data, data + size, '\n') + 1U);
  require(status_line <= lines);
  check_texts(header->received);
  check_texts(header->other);
  if (header->date != nullptr) {
    require(std::memchr(header->date->text, '\0', kDateText) != nullptr);
  }
  Free822Header(header);
  require(fileclose(handle) == 1);
  return 0;
}
