#include "ini_text.h"

#include <algorithm>
#include <array>
#include <optional>
#include <utility>

#include "utf8.h"

namespace configapi::tool {
namespace {

constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
constexpr std::string_view kBlanks = " \t";
constexpr std::string_view kEscaped = "$\"";  // begins a value with escapes
constexpr std::string_view kHex = "0123456789ABCDEF";

struct Escape {
  char letter;
  char byte;
};

constexpr std::array kEscapes = {Escape{'n', '\n'}, Escape{'r', '\r'},
                                 Escape{'t', '\t'}, Escape{'\\', '\\'},
                                 Escape{'"', '"'}};

std::string_view trimmed(std::string_view text) {
  const std::size_t begin = text.find_first_not_of(kBlanks);
  if (begin == std::string_view::npos) {
    return {};
  }
  return text.substr(begin, text.find_last_not_of(kBlanks) + 1 - begin);
}

std::string hex(unsigned char byte) {
  return {kHex[byte >> 4U], kHex[byte & 0xFU]};
}

// Tabs are typed and mean no harm; other control bytes are an accident, and
// nobody sees them.
bool is_stray(char c) {
  const auto byte = static_cast<unsigned char>(c);
  return (byte < 0x20 && c != '\t') || byte == 0x7F;
}

bool is_comment(std::string_view text) {
  return text.starts_with(';') || text.starts_with('#');
}

std::optional<unsigned char> hex_byte(std::string_view digits) {
  unsigned value = 0;
  for (const char c : digits.substr(0, 2)) {
    const char upper =
        c >= 'a' && c <= 'f' ? static_cast<char>(c - 'a' + 'A') : c;
    const std::size_t digit = kHex.find(upper);
    if (digit == std::string_view::npos) {
      return std::nullopt;
    }
    value = value * 16 + static_cast<unsigned>(digit);
  }
  return digits.size() < 2 ? std::nullopt
                           : std::optional(static_cast<unsigned char>(value));
}

// Takes what stands behind a backslash; false when that is no escape.
bool take_escape(std::string_view* text, std::string* value) {
  if (text->starts_with('x')) {
    const auto byte = hex_byte(text->substr(1));
    if (byte) {
      value->push_back(static_cast<char>(*byte));
      text->remove_prefix(3);
    }
    return byte.has_value();
  }
  const auto* const escape = std::find_if(
      kEscapes.begin(), kEscapes.end(),
      [text](const Escape& e) { return text->starts_with(e.letter); });
  if (escape == kEscapes.end()) {
    return false;
  }
  value->push_back(escape->byte);
  text->remove_prefix(1);
  return true;
}

// Reads what stands behind $". Returns what is wrong, or nothing.
std::string read_escaped(std::string_view text, std::string* value) {
  while (!text.empty()) {
    const char c = text.front();
    text.remove_prefix(1);
    if (c == '"') {
      return text.empty() ? "" : "text behind the closing quote";
    }
    if (c != '\\') {
      value->push_back(c);
    } else if (!take_escape(&text, value)) {
      return R"(a backslash that begins none of \n \r \t \\ \" \xNN)";
    }
  }
  return "the closing quote is missing";
}

// Fills the line's value or its fault.
void read_value(std::string_view text, IniLine* line) {
  if (text.starts_with(kEscaped)) {
    line->fault = read_escaped(text.substr(kEscaped.size()), &line->value);
  } else if (text.starts_with('"') || text.starts_with('\'')) {
    if (text.size() < 2 || text.back() != text.front()) {
      line->fault = "a value that begins with a quote does not end with it";
      return;
    }
    line->value = text.substr(1, text.size() - 2);
  } else {
    line->masked = text == kMask;
    line->value = line->masked ? "" : text;
    if (line->masked && line->further) {
      line->fault = "a mask stands for all values of its key, and alone";
    }
  }
}

// Whether the bytes would not all come through as they are.
bool needs_escapes(std::string_view value) {
  while (!value.empty()) {
    const std::size_t length = utf8_printable(value);
    if (length == 0) {
      return true;
    }
    value.remove_prefix(length);
  }
  return false;
}

bool needs_quotes(std::string_view value) {
  return trimmed(value) != value || value.starts_with('"') ||
         value.starts_with('\'') || value.starts_with(kEscaped) ||
         value == kMask;
}

void append_escaped(char c, std::string* text) {
  const auto* const escape =
      std::find_if(kEscapes.begin(), kEscapes.end(),
                   [c](const Escape& e) { return e.byte == c; });
  *text += '\\';
  if (escape != kEscapes.end()) {
    *text += escape->letter;
  } else {
    *text += "x" + hex(static_cast<unsigned char>(c));
  }
}

std::string escaped(std::string_view value) {
  std::string text(kEscaped);
  while (!value.empty()) {
    const std::size_t length = utf8_printable(value);
    const char c = value.front();
    if (length == 0 || c == '\\' || c == '"') {
      append_escaped(c, &text);
      value.remove_prefix(1);
    } else {
      text += value.substr(0, length);
      value.remove_prefix(length);
    }
  }
  return text + "\"";
}

}  // namespace

IniReader::IniReader(std::string_view text) : rest_(text) {
  if (rest_.starts_with(kByteOrderMark)) {
    rest_.remove_prefix(kByteOrderMark.size());
  }
}

bool IniReader::next(IniLine* line) {
  while (!rest_.empty()) {
    const std::string_view text = take_line();
    const bool has_nul = text.find('\0') != std::string_view::npos;
    if (!has_nul && (text.empty() || is_comment(text))) {
      continue;
    }
    if (in_lost_section_ && !text.starts_with('[')) {
      continue;  // one fault is told, not one for each key
    }
    *line = IniLine{};
    line->number = number_;
    if (has_nul) {
      line->fault = "a NUL byte; settings are UTF-8, never UTF-16";
    } else {
      read(text, line);
    }
    return true;
  }
  return false;
}

std::string_view IniReader::take_line() {
  const std::size_t end = std::min(rest_.find('\n'), rest_.size());
  std::string_view text = rest_.substr(0, end);
  rest_.remove_prefix(std::min(end + 1, rest_.size()));
  ++number_;
  if (text.ends_with('\r')) {
    text.remove_suffix(1);
  }
  return trimmed(text);
}

void IniReader::read(std::string_view text, IniLine* line) {
  const auto* const stray = std::find_if(text.begin(), text.end(), is_stray);
  if (text.starts_with('[')) {
    read_section(text, line);
  } else if (stray != text.end()) {
    line->fault = "a control byte 0x" + hex(static_cast<unsigned char>(*stray));
  } else {
    read_setting(text, line);
  }
}

void IniReader::read_section(std::string_view text, IniLine* line) {
  const std::size_t end = text.find(']');
  const std::string_view name = trimmed(text.substr(1, end - 1));
  const std::string_view behind =
      end < text.size() ? trimmed(text.substr(end + 1)) : "no end";
  in_lost_section_ = name.empty() ||
                     std::any_of(name.begin(), name.end(), is_stray) ||
                     !(behind.empty() || is_comment(behind));
  if (in_lost_section_) {
    line->fault = "no [SECTION] with a name";
  } else {
    line->section = section_ = name;
  }
}

void IniReader::read_setting(std::string_view text, IniLine* line) {
  const std::size_t equals = text.find('=');
  std::string_view key = trimmed(text.substr(0, equals));
  line->further = key.ends_with('+');
  if (line->further) {
    key = trimmed(key.substr(0, key.size() - 1));
  }
  if (equals == std::string_view::npos || key.empty()) {
    line->fault = "neither [SECTION] nor KEY=VALUE nor a comment";
  } else if (section_.empty()) {
    line->fault = "a key that stands in no section";
  } else {
    line->section = section_;
    line->key = key;
    read_value(trimmed(text.substr(equals + 1)), line);
  }
}

std::string ini_value(std::string_view value) {
  if (needs_escapes(value)) {
    return escaped(value);
  }
  std::string text(value);
  return needs_quotes(value) ? "\"" + text + "\"" : text;
}

std::string ini_section(std::string_view section) {
  return "[" + std::string(section) + "]\n";
}

std::string ini_setting(std::string_view key, std::string_view value,
                        bool further) {
  return std::string(key) + (further ? "+=" : "=") + ini_value(value) + "\n";
}

std::string ini_masked(std::string_view key) {
  return std::string(key).append("=").append(kMask).append("\n");
}

}  // namespace configapi::tool
