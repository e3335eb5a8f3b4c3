// A mailbox from a stranger: message after message is skipped.

#include <configapi/rfc822.h>

#include <cstdio>
#include <vector>

#include "fuzz/target.h"

// Each message that is found begins with an envelope line and lies behind the
// one before it, and every byte is passed.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data,
                                      std::size_t size) {
  if (size == 0) {
    return 0;  // fmemopen() takes no empty buffer
  }
  std::vector<std::uint8_t> bytes(data, data + size);
  FILE* stream = fmemopen(bytes.data(), bytes.size(), "r");
  fuzz::require(stream != nullptr);
  long position = -1;
  long end = 0;
  unsigned lines = 0;
  while (ParseBody(stream, &end, &lines) == 1) {
    fuzz::require(end > position && end == std::ftell(stream));
    position = end;
    char line[1024];
    fuzz::require(std::fgets(line, sizeof line, stream) != nullptr);
    fuzz::require(isNextMsgHeader(line) == 1);
  }
  fuzz::require(end == static_cast<long>(size));
  std::fclose(stream);
  return 0;
}
