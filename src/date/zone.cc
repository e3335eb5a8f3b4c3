#include "date/zone.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstring>
#include <iterator>
#include <optional>
#include <string_view>

namespace {

constexpr int kZones = 64;
constexpr int kNoZone = -99;
constexpr int kMinutes = 60;  // of an hour

constexpr unsigned char fold(unsigned byte) {
  const unsigned low = byte & 0x7FU;
  const bool lower = low >= 'a' && low <= 'z';
  return static_cast<unsigned char>(lower ? low - 'a' + 'A' : low);
}

}  // namespace

#define FOLD_4(n) fold(n), fold((n) + 1), fold((n) + 2), fold((n) + 3)
#define FOLD_16(n) FOLD_4(n), FOLD_4((n) + 4), FOLD_4((n) + 8), FOLD_4((n) + 12)
#define FOLD_64(n) \
  FOLD_16(n), FOLD_16((n) + 16), FOLD_16((n) + 32), FOLD_16((n) + 48)

constexpr unsigned char CharConv[256] = {FOLD_64(0U), FOLD_64(64U),
                                         FOLD_64(128U), FOLD_64(192U)};

#undef FOLD_64
#undef FOLD_16
#undef FOLD_4

// The single letters are the military zones with the signs of RFC 822 section
// 5.1. RFC 1123 section 5.2.14 calls these wrong, but mail has used both.
// clang-format off
constexpr NameEntry zone_tbl[kZones + 1] = {
    {"A", -100},   {"AHST", -1000}, {"AST", -400},  {"AT", -200},
    {"B", -200},   {"BST", 100},    {"BT", -1100},
    {"C", -300},   {"CAT", -1000},  {"CCT", 800},   {"CDT", -500},
    {"CET", 100},  {"CST", -600},
    {"D", -400},
    {"E", -500},   {"EDT", -400},   {"EET", 200},   {"EST", -500},
    {"F", -600},
    {"G", -700},   {"GMT", 0},      {"GST", 1000},
    {"H", -800},   {"HST", -1030},
    {"I", -900},   {"IDLE", 1200},  {"IDLW", -1200}, {"IST", 530},
    {"IT", 300},
    {"JST", 900},  {"JT", 730},
    {"K", -1000},
    {"L", -1100},
    {"M", -1200},  {"MDT", -600},   {"MET", 100},   {"MST", -700},
    {"MT", 830},
    {"N", 100},    {"NFT", -330},   {"NST", 630},   {"NT", -1100},
    {"NZT", 1130},
    {"O", 200},
    {"P", 300},    {"PDT", -700},   {"PST", -800},
    {"Q", 400},
    {"R", 500},
    {"S", 600},    {"SAST", 930},   {"SST", 700},
    {"T", 700},
    {"U", 800},    {"UT", 0},
    {"V", 900},
    {"W", 1000},   {"WAT", -100},   {"WDT", 100},   {"WET", 0},
    {"X", 1100},
    {"Y", 1200},   {"YST", -900},
    {"Z", 0},
    {nullptr, kNoZone},
};
// clang-format on

namespace configapi {
namespace {

// The search bisects: a row out of order would never be found.
static_assert(std::is_sorted(std::begin(zone_tbl), std::end(zone_tbl) - 1,
                             [](const NameEntry& a, const NameEntry& b) {
                               return std::string_view(a.name) < b.name;
                             }));
unsigned char folded(char c) {
  return CharConv[static_cast<unsigned char>(c)];
}

// Turns +-hhmm read as one number into minutes. Division and remainder both
// keep the sign.
constexpr int to_minutes(int hhmm) {
  return hhmm / 100 * kMinutes + hhmm % 100;
}

// zone = ("+" / "-") 4DIGIT, with any character as a digit
std::optional<int> numeric_zone(const char* text) {
  std::array<int, 4> digits{};
  for (std::size_t i = 0; i < digits.size(); ++i) {
    const auto byte = static_cast<unsigned char>(text[i + 1]);
    if (byte == '\0') {
      return std::nullopt;
    }
    digits[i] = byte - '0';
  }
  const int hours = 10 * digits[0] + digits[1];
  const int minutes = hours * kMinutes + 10 * digits[2] + digits[3];
  return *text == '-' ? -minutes : minutes;
}

// Byte order of a key without NUL and a name, as strcmp() tells it.
int compare(std::string_view key, const char* name) {
  for (const char c : key) {
    if (c != *name) {
      return static_cast<unsigned char>(c) - static_cast<unsigned char>(*name);
    }
    ++name;
  }
  return *name == '\0' ? 0 : -1;
}

int bisect(std::string_view key, const NameEntry* table, int count) {
  const int first = key.empty() ? 0 : folded(key.front());
  int low = 0;
  int high = count - 1;
  while (high >= low) {
    const int middle = low + (high - low) / 2;
    const NameEntry& entry = table[middle];
    // Most rows part at the first letter.
    int order = first - folded(*entry.name);
    if (order == 0) {
      order = compare(key, entry.name);
    }
    if (order == 0) {
      return entry.value;
    }
    if (order < 0) {
      high = middle - 1;
    } else {
      low = middle + 1;
    }
  }
  return table[count].value;
}

std::optional<int> named_zone(std::string_view name) {
  const int value = bisect(name, zone_tbl, kZones);
  if (value == kNoZone) {
    return std::nullopt;
  }
  return to_minutes(value);
}

std::optional<int> zone_minutes(DateCursor cursor) {
  cursor.skip_space();
  if (cursor.peek() == '+' || cursor.peek() == '-') {
    return numeric_zone(cursor.position());
  }
  if (cursor.at_letter()) {
    return named_zone(cursor.letters());
  }
  return std::nullopt;
}

}  // namespace

void read_zone(DateCursor cursor, UTC_DATE* date) {
  if (const auto minutes = zone_minutes(cursor)) {
    date->zone = *minutes;
    date->flags |= DATE_ZONE;
  }
}

}  // namespace configapi

extern "C" void getzone(const char* text, UTC_DATE* date) {
  configapi::read_zone(configapi::DateCursor(text), date);
}

extern "C" int GetZoneInt(const char* text) {
  return configapi::zone_minutes(configapi::DateCursor(text)).value_or(-1);
}

extern "C" int cmd_srch(const char* key, const NameEntry* table) {
  while (table->name != nullptr && std::strcmp(key, table->name) != 0) {
    ++table;
  }
  return table->value;
}

extern "C" const char* rcmd_srch(int value, const NameEntry* table) {
  while (table->name != nullptr && table->value != value) {
    ++table;
  }
  return table->name;
}

extern "C" int cmdbsrch(const char* key, const NameEntry* table, int count) {
  return configapi::bisect(key, table, count);
}
