#include "utf8.h"

#include <algorithm>

namespace configapi::tool {
namespace {

bool is_tail(char byte) {
  return (static_cast<unsigned char>(byte) & 0xC0U) == 0x80U;
}

struct Form {
  std::size_t length;
  char32_t lead_bits;
  char32_t smallest;  // less would be an overlong form
};

Form form_of(unsigned char lead) {
  if (lead < 0x80) {
    return {1, lead, 0};
  }
  if ((lead & 0xE0U) == 0xC0U) {
    return {2, lead & 0x1FU, 0x80};
  }
  if ((lead & 0xF0U) == 0xE0U) {
    return {3, lead & 0x0FU, 0x800};
  }
  if ((lead & 0xF8U) == 0xF0U) {
    return {4, lead & 0x07U, 0x10000};
  }
  return {0, 0, 0};
}

bool is_printable(char32_t c) {
  const bool control = c < 0x20 || (c >= 0x7F && c < 0xA0);
  const bool surrogate = c >= 0xD800 && c < 0xE000;
  // Marks that turn the direction of what follows.
  const bool turns =
      (c >= 0x202A && c <= 0x202E) || (c >= 0x2066 && c <= 0x2069);
  return !control && !surrogate && !turns && c <= 0x10FFFF;
}

}  // namespace

std::size_t utf8_printable(std::string_view text) {
  const Form form = form_of(static_cast<unsigned char>(text.front()));
  if (form.length == 0 || text.size() < form.length) {
    return 0;
  }
  char32_t character = form.lead_bits;
  for (const char byte : text.substr(1, form.length - 1)) {
    if (!is_tail(byte)) {
      return 0;
    }
    character = character << 6U | (static_cast<unsigned char>(byte) & 0x3FU);
  }
  return character >= form.smallest && is_printable(character) ? form.length
                                                               : 0;
}

std::size_t utf8_length(std::string_view text) {
  return static_cast<std::size_t>(std::count_if(
      text.begin(), text.end(), [](char byte) { return !is_tail(byte); }));
}

}  // namespace configapi::tool
