#include "fuzz/date_target.h"

// What was read is in its ranges, and is read again from the text made of it.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data,
                                      std::size_t size) {
  UTC_DATE* date = nullptr;
  if (rfc2UTC(fuzz::exact_copy(fuzz::view(data, size)).get(), &date) == 0) {
    fuzz::require(date == nullptr);
    return 0;
  }
  fuzz::require(date->year >= 1980 && date->year <= 2037);
  fuzz::require(date->hour >= 0 && date->hour <= 23);
  // A zone of 100 hours, which takes a hostile text, has no four digits.
  if (std::abs(date->zone) < 6000) {
    UTC_DATE* again = nullptr;
    fuzz::require(rfc2UTC(fuzz::formatted(*date).c_str(), &again) == 1);
    date->flags |= DATE_ZONE;
    fuzz::require(std::memcmp(date, again, sizeof *date) == 0);
    std::free(again);
  }
  std::free(date);
  return 0;
}
