#include "rfc822/headertable.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <iterator>

#include "base/ascii.h"

// clang-format off
// NOLINTNEXTLINE(bugprone-reserved-identifier,cert-dcl37-c): interface name
constexpr HdrName _htbl[30] = {
    {"to:", configapi::kTo, 7},
    {"resent-to:", configapi::kResentTo, 7},
    {"cc:", configapi::kCc, 7},
    {"resent-cc:", configapi::kResentCc, 7},
    {"bcc:", configapi::kBcc, 7},
    {"resent-bcc:", configapi::kResentBcc, 7},
    {"from:", configapi::kFrom, 7},
    {"resent-from:", configapi::kResentFrom, 7},
    {"resent-date:", configapi::kResentDate, 7},
    {"received:", configapi::kReceived, 1},
    {"reply-to:", configapi::kReplyTo, 6},
    {"return-receipt-to:", configapi::kReturnReceiptTo, 4},
    {"subject:", configapi::kSubject, 0},
    {"date:", configapi::kDate, 0},
    {"sender:", configapi::kSender, 6},
    {"message-id:", configapi::kMessageId, 0},
    {"resent-message-id:", configapi::kResentMessageId, 0},
    {"in-reply-to:", configapi::kInReplyTo, 0},
    {"references:", configapi::kReferences, 0},
    {"return-path:", configapi::kReturnPath, 0},
    {"from ", configapi::kEnvelope, 0},
    {"status:", configapi::kStatus, 0},
    {"recvdate:", configapi::kRecvDate, 0},
    {"mime-version:", configapi::kMimeVersion, 0},
    {"content-type:", configapi::kContentType, 1},
    {"content-transfer-encoding:", configapi::kContentTransferEncoding, 1},
    {"content-id:", configapi::kContentId, 1},
    {"content-description:", configapi::kContentDescription, 1},
    {"other:", configapi::kOther, 1},
    {nullptr, 0, 0},
};
// clang-format on

namespace configapi {
namespace {

constexpr std::size_t kRows = std::size(_htbl) - 1;
constexpr std::size_t kOtherRow = kRows - 1;
constexpr std::size_t kSlots = 64;
constexpr std::uint8_t kNoRow = 0xFF;

struct Row {
  std::string_view name;  // without the character that ends it
  char end = '\0';
};

constexpr auto kNames = [] {
  std::array<Row, kRows> rows{};
  std::ranges::transform(
      std::begin(_htbl), std::end(_htbl) - 1, rows.begin(),
      [](const HdrName& row) {
        const std::string_view key = row.key;
        return Row{key.substr(0, key.size() - 1), key.back()};
      });
  return rows;
}();

// A perfect hash over the names that end in ':'. The factors were found by
// trying; a table that they do not fit any more fails to compile below.
constexpr std::size_t slot_of(std::string_view name) {
  const auto letter = [](char c) {
    return static_cast<std::size_t>(static_cast<unsigned char>(c) | 0x20U);
  };
  return (name.size() + 5 * letter(name.front()) + 23 * letter(name.back())) %
         kSlots;
}

constexpr auto kSlotRows = [] {
  std::array<std::uint8_t, kSlots> slots{};
  slots.fill(kNoRow);
  for (std::size_t row = 0; row < kRows; ++row) {
    if (kNames[row].end == ':') {
      slots[slot_of(kNames[row].name)] = static_cast<std::uint8_t>(row);
    }
  }
  return slots;
}();

constexpr std::size_t kEnvelopeRow = [] {
  return static_cast<std::size_t>(std::ranges::find(kNames, ' ', &Row::end) -
                                  kNames.begin());
}();

static_assert(std::ranges::count(kNames, ' ', &Row::end) == 1);
static_assert(std::ranges::count(kSlotRows, kNoRow) == kSlots - (kRows - 1),
              "two names share a slot");

constexpr auto kLower = [] {
  std::array<char, 256> table{};
  for (std::size_t c = 0; c < table.size(); ++c) {
    table[c] = ascii_lower(static_cast<char>(c));
  }
  return table;
}();

bool has_name(std::size_t row, std::string_view name) {
  const std::string_view key = kNames[row].name;
  if (key.size() != name.size()) {
    return false;
  }
  std::size_t i = 0;
  while (i < key.size() &&
         key[i] == kLower[static_cast<unsigned char>(name[i])]) {
    ++i;
  }
  return i == key.size();
}

}  // namespace

const HdrName* find_header_name(std::string_view name, char end) {
  if (end != ':') {
    return has_name(kEnvelopeRow, name) ? &_htbl[kEnvelopeRow] : nullptr;
  }
  if (!name.empty()) {
    const std::size_t row = kSlotRows[slot_of(name)];
    if (row != kNoRow && has_name(row, name)) {
      return &_htbl[row];
    }
  }
  return &_htbl[kOtherRow];
}

}  // namespace configapi
