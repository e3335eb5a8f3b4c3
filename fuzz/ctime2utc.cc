#include "fuzz/date_target.h"

// What was read can be written, whatever numbers it holds.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data,
                                      std::size_t size) {
  UTC_DATE* date = nullptr;
  if (ctime2UTC(fuzz::exact_copy(fuzz::view(data, size)).get(), &date) == 0) {
    fuzz::require(date == nullptr);
    return 0;
  }
  fuzz::require(date->year >= 1980 && date->year <= 2037);
  fuzz::require(date->day >= 0 && date->hour >= 0 && date->minute >= 0);
  fuzz::require(!fuzz::formatted(*date).empty());
  std::free(date);
  return 0;
}
