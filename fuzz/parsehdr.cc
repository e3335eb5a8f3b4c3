// A message's header from a stranger, read from a file.

#include <configapi/lineio.h>
#include <configapi/rfc822.h>

#include <algorithm>
#include <cstring>

#include "fuzz/target.h"

// The record can be walked and released, and no line is counted that is not
// there.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data,
                                      std::size_t size) {
  constexpr std::size_t kLongestHeader = std::size_t{63} * 1024;
  constexpr std::size_t kDateText = 64;
  fuzz::require(InitLineIO() == 0);
  fuzz::MemoryFile file(fuzz::view(data, size));
  const int handle = fileopen(file.path(), 1, 0);
  Header822* header = New822Header();
  unsigned lines = 0;
  unsigned status_line = 0;
  fuzz::require(ParseHdr(handle, header, &lines, &status_line) == 1);
  fuzz::require(lines <= std::count(data, data + size, '\n') + 1U);
  fuzz::require(status_line <= lines);
  for (const auto* list : {header->received, header->other}) {
    for (; list != nullptr; list = list->next) {
      fuzz::require(std::strlen(list->text) < kLongestHeader);
    }
  }
  if (header->date != nullptr) {
    fuzz::require(std::memchr(header->date->text, '\0', kDateText) != nullptr);
  }
  Free822Header(header);
  fuzz::require(fileclose(handle) == 1);
  return 0;
}
