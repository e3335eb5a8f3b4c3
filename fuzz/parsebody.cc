// A mailbox from a stranger: message after message is skipped.

#include <configapi/rfc822.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <vector>

namespace {

void require(bool condition) {
  if (!condition) {
    std::abort();
  }
}

}  // namespace

// Each message that is found begins with an envelope line and lies behind the
// one before it, and every byte is passed.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data,
                                      std::size_t size) {
  if (size == 0) {
    return 0;  // fmemopen() takes no empty buffer
  }
  std::vector<std::uint8_t> bytes(data, data + size);
  FILE* stream = fmemopen(bytes.data(), bytes.size(), "r");
  require(stream != nullptr);
  long position = -1;
  long end = 0;
  unsigned lines = 0;
  while (ParseBody(stream, &end, &lines) == 1) {
    require(end > position && end == std::ftell(stream));
    position = end;
    std::array<char, 1024> line{};
    require(std::fgets(line.data(), line.size(), stream) != nullptr);
    require(isNextMsgHeader(line.data()) == 1);
  }
  require(end == static_cast<long>(size));
  std::fclose(stream);
  return 0;
}
