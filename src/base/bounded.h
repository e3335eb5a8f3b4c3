// Copies into fixed fields that never pass the field's end.

#ifndef CONFIGAPI_BOUNDED_H_
#define CONFIGAPI_BOUNDED_H_

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <span>
#include <string_view>

namespace configapi {

// The longest prefix of at most `limit` bytes that ends between two UTF-8
// characters. Bytes that are no UTF-8 are cut at the limit.
inline std::string_view utf8_prefix(std::string_view text, std::size_t limit) {
  if (text.size() <= limit) {
    return text;
  }
  constexpr std::size_t kMaxTail = 3;  // continuation bytes of one character
  const auto is_tail = [&](std::size_t i) {
    return (static_cast<unsigned char>(text[i]) & 0xC0U) == 0x80U;
  };
  std::size_t end = limit;
  while (end > 0 && limit - end < kMaxTail && is_tail(end)) {
    --end;
  }
  const bool at_lead =
      !is_tail(end) && (static_cast<unsigned char>(text[end]) & 0x80U) != 0;
  return text.substr(0, end == limit || at_lead ? end : limit);
}

// Writes the text into the field, cut to the field's size less one byte, and
// terminates it. An empty field stays untouched.
inline void copy_cut(std::span<char> field, std::string_view text) {
  if (field.empty()) {
    return;
  }
  const std::size_t length = std::min(text.size(), field.size() - 1);
  std::memcpy(field.data(), text.data(), length);
  field[length] = '\0';
}

}  // namespace configapi

#endif  // CONFIGAPI_BOUNDED_H_
