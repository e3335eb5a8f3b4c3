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
  // Marks that turn the direction of what follows.
  const bool turns =
      (c >= 0x202A && c <= 0x202E) || (c >= 0x2066 && c <= 0x2069);
  return !control && !turns;
}

struct Character {
  std::size_t length;  // 0: not well-formed
  char32_t code;
};

Character first_character(std::string_view text) {
  const Form form = form_of(static_cast<unsigned char>(text.front()));
  if (form.length == 0 || text.size() < form.length) {
    return {0, 0};
  }
  char32_t code = form.lead_bits;
  for (const char byte : text.substr(1, form.length - 1)) {
    if (!is_tail(byte)) {
      return {0, 0};
    }
    code = code << 6U | (static_cast<unsigned char>(byte) & 0x3FU);
  }
  const bool surrogate = code >= 0xD800 && code < 0xE000;
  const bool known = code >= form.smallest && code <= 0x10FFFF && !surrogate;
  return {known ? form.length : 0, code};
}

}  // namespace

std::size_t utf8_printable(std::string_view text) {
  const Character character = first_character(text);
  return is_printable(character.code) ? character.length : 0;
}

bool is_utf8(std::string_view text) {
  while (!text.empty()) {
    const std::size_t length = first_character(text).length;
    if (length == 0) {
      return false;
    }
    text.remove_prefix(length);
  }
  return true;
}

std::size_t utf8_length(std::string_view text) {
  return static_cast<std::size_t>(std::count_if(
      text.begin(), text.end(), [](char byte) { return !is_tail(byte); }));
}

}  // namespace configapi::tool
