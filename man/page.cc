#include "page.h"

#include <algorithm>
#include <sstream>

namespace man {
namespace {

constexpr std::size_t kWidth = 78;

// In code each character is to come out as typed, so that it can be copied.
void append_escaped(std::string* text, char c, bool code) {
  constexpr std::string_view kTyped = "'`^~-";
  constexpr std::string_view kNames[] = {"\\(aq", "\\(ga", "\\(ha", "\\(ti",
                                         "\\-"};
  const std::size_t at = kTyped.find(c);
  if (c == '\\') {
    *text += "\\e";
  } else if (at != std::string_view::npos && (code || c == '^' || c == '~')) {
    *text += kNames[at];
  } else {
    *text += c;
  }
}

std::string escaped(std::string_view text, bool code) {
  std::string result;
  for (const char c : text) {
    append_escaped(&result, c, code);
  }
  return result;
}

// `code` in bold. A lone ` is one.
std::string marked_up(std::string_view text) {
  std::string result;
  while (!text.empty()) {
    const std::size_t open = text.find('`');
    result += escaped(text.substr(0, open), false);
    const std::size_t close =
        open == std::string_view::npos ? open : text.find('`', open + 1);
    if (close == std::string_view::npos) {
      text.remove_prefix(std::min(open, text.size()));
      return result + escaped(text, true);
    }
    result += "\\fB" + escaped(text.substr(open + 1, close - open - 1), true) +
              "\\fR";
    text.remove_prefix(close + 1);
  }
  return result;
}

// A line that begins with one of these would be a request.
std::string guarded(const std::string& line) {
  return line.starts_with('.') || line.starts_with('\'') ? "\\&" + line : line;
}

std::string wrapped(const std::string& text) {
  std::istringstream words(text);
  std::string result;
  std::string line;
  for (std::string word; words >> word;) {
    if (!line.empty() && line.size() + 1 + word.size() > kWidth) {
      result += guarded(line) + "\n";
      line.clear();
    }
    line += (line.empty() ? "" : " ") + word;
  }
  return line.empty() ? result : result + guarded(line) + "\n";
}

}  // namespace

Page::Page(const std::string& name, int section, const std::string& version,
           const std::string& date, std::string_view purpose) {
  text_ = ".\\\" Generated. Do not edit.\n.TH " + upper(name) + " " +
          std::to_string(section) + " " + date + " \"configapi " + version +
          "\" \"Mail gateway\"\n.SH NAME\n" + name + " \\- ";
  text_ += marked_up(purpose) + "\n";
}

void Page::request(std::string_view name, std::string_view argument) {
  text_.append(".").append(name);
  if (!argument.empty()) {
    text_.append(" ").append(argument);
  }
  text_ += '\n';
}

void Page::heading(std::string_view text) {
  request("SH", escaped(upper(text), false));
  beside_ = true;
}

void Page::subheading(std::string_view text) {
  request("SS", escaped(text, false));
  beside_ = true;
}

void Page::paragraph(std::string_view text) {
  if (!beside_) {
    request(in_item_ ? "IP" : "PP");
  }
  beside_ = false;
  text_ += wrapped(marked_up(text));
}

void Page::code(const Lines& lines) {
  if (!beside_) {
    request(in_item_ ? "IP" : "PP");
  }
  beside_ = false;
  request("EX");
  for (const auto& line : lines) {
    text_ += guarded(escaped(line, true)) + "\n";
  }
  request("EE");
}

void Page::tag(std::string_view text) {
  request("TP");
  text_ += guarded(marked_up(text)) + "\n";
  beside_ = true;
}

void Page::bullet() {
  request("IP", "\\(bu 2");
  beside_ = true;
}

std::string filled(const Lines& lines) {
  std::string text;
  for (const auto& line : lines) {
    text += (text.empty() ? "" : " ") + line;
  }
  return text;
}

std::string upper(std::string_view text) {
  std::string result(text);
  std::transform(result.begin(), result.end(), result.begin(), [](char c) {
    return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
  });
  return result;
}

bool is_blank(std::string_view line) {
  return line.find_first_not_of(' ') == std::string_view::npos;
}

}  // namespace man
