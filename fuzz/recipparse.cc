// Address lists: the table is sound, every part fits, and an address comes out
// the same when its canonical form is parsed again.

#include <configapi/rfc822.h>

#include <algorithm>
#include <cstring>

#include "fuzz/target.h"

namespace {

using fuzz::require;

constexpr std::size_t kPart = 255;

// What cannot be told from outside: a quote that belongs to another address,
// and a group that broke off inside.
bool may_not_parse(std::string_view canon) {
  return std::count(canon.begin(), canon.end(), '"') % 2 != 0 ||
         canon.find(':') != std::string_view::npos;
}

void check_again(const Recipient& r) {
  const auto text = fuzz::exact_copy(r.canon);
  RecipTable table{};
  const unsigned int count = RecipParse(text.get(), &table, 1);
  require(count == 1 || may_not_parse(r.canon));
  if (count == 1) {
    require(std::strcmp(table.first->canon, r.canon) == 0);
    require(std::strcmp(table.first->local, r.local) == 0);
  }
  Clear_RT(&table);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data,
                                      std::size_t size) {
  const auto text = fuzz::exact_copy(fuzz::view(data, size));
  const std::size_t length = std::strlen(text.get());
  RecipTable table{};
  const unsigned int count = RecipParse(text.get(), &table, 1);
  require(std::strlen(text.get()) == length);
  require(count == table.count || count == 0);
  unsigned int found = 0;
  for (const Recipient* r = table.first; r != nullptr; r = r->next) {
    require(r->next != nullptr || r == table.last);
    for (const char* part :
         {r->canon, r->phrase, r->comment, r->local, r->domain}) {
      require(std::strlen(part) <= kPart);
    }
    require(*r->canon != '\0' && *r->local != '\0' && *r->orig != '\0');
    require(std::strlen(r->orig) <= length);
    // A longer list may have a group that was cut.
    if (length <= kPart) {
      check_again(*r);
    }
    ++found;
  }
  require(found == table.count);
  Clear_RT(&table);
  return 0;
}
