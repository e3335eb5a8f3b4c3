// An address list from a stranger.

#include <configapi/rfc822.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>

namespace {

constexpr std::size_t kLongestPart = 255;

void require(bool condition) {
  if (!condition) {
    std::abort();
  }
}

void check(const Recipient& recipient) {
  require(recipient.canon != nullptr && *recipient.canon != '\0');
  require(recipient.orig != nullptr && *recipient.orig != '\0');
  for (const char* part : {recipient.canon, recipient.phrase, recipient.comment,
                           recipient.local, recipient.domain}) {
    require(part != nullptr && std::strlen(part) <= kLongestPart);
  }
}

}  // namespace

// Every recipient is whole, and the table knows their number and the last.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data,
                                      std::size_t size) {
  const std::unique_ptr<char[]> text(new char[size + 1]);
  std::memcpy(text.get(), data, size);
  text[size] = '\0';
  RecipTable table{};
  const unsigned count = RecipParse(text.get(), &table, 1);
  require(count == table.count);
  unsigned chained = 0;
  const Recipient* last = nullptr;
  for (Recipient* one = table.first; one != nullptr; one = one->next) {
    check(*one);
    last = one;
    ++chained;
  }
  require(chained == count && last == table.last);
  Clear_RT(&table);
  require(table.first == nullptr && table.count == 0);
  return 0;
}
