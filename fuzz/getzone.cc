#include "fuzz/date_target.h"

// Both readers of a zone agree.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data,
                                      std::size_t size) {
  const auto text = fuzz::exact_copy(fuzz::view(data, size));
  UTC_DATE date{};
  getzone(text.get(), &date);
  const bool found = (date.flags & DATE_ZONE) != 0;
  fuzz::require(GetZoneInt(text.get()) == (found ? date.zone : -1));
  fuzz::require(found || date.zone == 0);
  return 0;
}
