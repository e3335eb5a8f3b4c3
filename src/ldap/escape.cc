#include "ldap/escape.h"

#include <cstddef>

namespace configapi {
namespace {

constexpr std::string_view kDnSpecial = "\"+,;<>\\";
// A NUL ends a text; the others OpenLDAP trims from a value like blanks.
constexpr std::string_view kDnControls{"\0\t\n\r", 4};
constexpr std::string_view kFilterSpecial{"*()\\\0", 5};

// "\NN", the form that both grammars take for any byte.
void append_hex_pair(std::string& out, char c) {
  constexpr std::string_view kDigits = "0123456789abcdef";
  const auto byte = static_cast<unsigned char>(c);
  out += '\\';
  out += kDigits[byte >> 4U];
  out += kDigits[byte & 0xFU];
}

// A blank is a character of the value only where others surround it, and a
// leading '#' would announce a value in hexadecimal BER.
bool special_by_place(std::string_view text, std::size_t i) {
  const bool first = i == 0;
  const bool last = i + 1 == text.size();
  return (text[i] == ' ' && (first || last)) || (text[i] == '#' && first);
}

}  // namespace

std::string escape_dn_value(std::string_view text) {
  std::string out;
  out.reserve(text.size() + 2);
  for (std::size_t i = 0; i < text.size(); ++i) {
    const char c = text[i];
    if (kDnControls.find(c) != std::string_view::npos) {
      append_hex_pair(out, c);
      continue;
    }
    if (kDnSpecial.find(c) != std::string_view::npos ||
        special_by_place(text, i)) {
      out += '\\';
    }
    out += c;
  }
  return out;
}

std::string escape_filter_value(std::string_view text) {
  std::string out;
  out.reserve(text.size());
  for (const char c : text) {
    if (kFilterSpecial.find(c) != std::string_view::npos) {
      append_hex_pair(out, c);
    } else {
      out += c;
    }
  }
  return out;
}

bool is_attribute_name(std::string_view text) {
  constexpr std::string_view kBytes =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-;.";
  return !text.empty() &&
         text.find_first_not_of(kBytes) == std::string_view::npos;
}

}  // namespace configapi
