#include "explain_addresses.h"

#include <configapi/internals.h>
#include <configapi/rfc822.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <memory>
#include <new>
#include <optional>
#include <string>

namespace configapi::tool {
namespace {

// Each address is looked at together with all that follows it, so that a list
// of any length would take for ever. Headers are never as long as this.
constexpr std::size_t kMostBytes = std::size_t{64} * 1024;

// What adrlex() returns.
enum Code {
  kNothingCloses = -1,
  kEnd = 0,
  kColon = 257,
  kComma = 258,
  kSemicolon = 259,
  kRangle = 261
};

class ParserLock {
 public:
  ParserLock() { EnterCriticalSection(&csRecipParse); }
  ~ParserLock() { LeaveCriticalSection(&csRecipParse); }
  ParserLock(const ParserLock&) = delete;
  ParserLock& operator=(const ParserLock&) = delete;
  ParserLock(ParserLock&&) = delete;
  ParserLock& operator=(ParserLock&&) = delete;
};

struct ReleaseRecipient {
  void operator()(Recipient* recipient) const {
    Clear_RP(recipient);
    std::free(recipient);
  }
};
using RecipientPtr = std::unique_ptr<Recipient, ReleaseRecipient>;

struct Token {
  int code;
  const char* begin;
  const char* end;
};

bool is_blank(char c) {
  return std::strchr(" \t\n\v\f\r", c) != nullptr;
}

char* skip_blanks(char* text) {
  while (*text != '\0' && is_blank(*text)) {
    ++text;
  }
  return text;
}

// The next token at adrLine. The lexer passes over comments without a word, so
// they are taken out of its hands: a token is to be shown by itself.
Token next_token() {
  for (;;) {
    char* const begin = adrLine = skip_blanks(adrLine);
    if (*begin != '(') {
      const int code = adrlex();
      return {code, begin, adrLine};
    }
    adrLine = begin + 1;
    if (_SkipComment() == nullptr) {
      return {kNothingCloses, begin, begin + 1};
    }
  }
}

struct Break {
  Token token;  // the one in the way
  bool first;   // nothing stood before it
};

// Cuts the address at `begin` into tokens again, up to the one behind which
// the parser gave up.
Break find_break(char* begin, const char* given_up) {
  adrLine = begin;
  LexDotSkip = 1;
  Break found{next_token(), true};
  while (found.token.code > kEnd && found.token.end < given_up) {
    found = {next_token(), false};
  }
  return found;
}

std::string_view trimmed(std::string_view text) {
  const auto around = [](char c) { return c == ',' || is_blank(c); };
  const auto* const begin = std::find_if_not(text.begin(), text.end(), around);
  text.remove_prefix(static_cast<std::size_t>(begin - text.begin()));
  while (!text.empty() && around(text.back())) {
    text.remove_suffix(1);
  }
  return text;
}

// Whether the parser gets past the end of an address that has a word more: it
// was then the end that it broke off at, and not the last token.
bool wants_more(const char* begin, Recipient* recipient) {
  std::string longer(begin);
  const std::size_t end = longer.size();
  longer += " x";
  ParseAddr(longer.data(), recipient);
  Clear_RP(recipient);
  // The last token may have taken the blank along.
  return adrLine - longer.data() > static_cast<std::ptrdiff_t>(end) + 1;
}

// A part that does not fit is cut where it is shown, but not inside of a UTF-8
// character. REQUIRES: the parser's globals tell of the address.
bool has_cut_part() {
  constexpr std::size_t kCutPart = 252;
  const std::array<const char*, 5> parts{localPart, domainPart, specPart,
                                         routePart, routeaPart};
  return std::any_of(parts.begin(), parts.end(), [](const char* part) {
    return std::strlen(part) >= kCutPart;
  });
}

// That a part is too long is found where it must be complete.
bool may_be_too_long(int code) {
  return code == kEnd || code == kColon || code == kComma ||
         code == kSemicolon || code == kRangle;
}

std::string reason(const Break& where, std::string_view token, bool too_long) {
  constexpr const char* kTooLong = "a part of the address has over 255 bytes";
  switch (where.token.code) {
    case kNothingCloses:
      return "nothing closes this " + in_quotes(token);
    case kEnd:
      return too_long ? kTooLong : "the text ends before the address does";
    case kComma:
      if (where.first) {
        return "there is no address before this ','";
      }
      break;
    default:
      break;
  }
  return too_long ? kTooLong : in_quotes(token) + " cannot stand here";
}

// The offset of the quote that nothing closes, when the quotes do not pair up.
std::optional<std::size_t> unpaired_quote(std::string_view list) {
  std::optional<std::size_t> open;
  for (std::size_t i = 0; i < list.size(); ++i) {
    if (list[i] == '\\') {
      ++i;
    } else if (list[i] == '"') {
      open = open ? std::nullopt : std::optional(i);
    }
  }
  return open;
}

// How many recipients a text has.
unsigned count_recipients(std::string text) {
  RecipTable table{};
  const unsigned count = ST_RecipParse(text.data(), &table, 1);
  Clear_RT(&table);
  return count;
}

// How many mailboxes a group has, which is all that the text holds.
unsigned count_mailboxes(std::string group) {
  adrLine = group.data();
  LexDotSkip = 1;
  Token token = next_token();
  while (token.code > kEnd && token.code != kColon) {
    token = next_token();
  }
  const auto inner = static_cast<std::size_t>(token.end - group.data());
  return count_recipients(group.substr(inner, group.rfind(';') - inner));
}

class Explainer {
 public:
  explicit Explainer(std::string_view list)
      : original_(list), list_(list), recipient_(AllocateRecipient()) {
    if (recipient_ == nullptr) {
      throw std::bad_alloc();
    }
  }

  Remarks explain();

 private:
  [[nodiscard]] std::size_t offset(const char* p) const {
    return static_cast<std::size_t>(p - list_.data());
  }
  // As it was written: parsing blanks quoted quotes.
  [[nodiscard]] std::string_view written(const char* begin,
                                         const char* end) const {
    return original_.substr(offset(begin),
                            static_cast<std::size_t>(end - begin));
  }

  // A word's token takes the blank behind it along.
  [[nodiscard]] std::string shown(const Token& token) const {
    auto text = written(token.begin, token.end);
    while (text.size() > 1 && is_blank(text.back())) {
      text.remove_suffix(1);
    }
    return std::string(text);
  }

  char* pass_address(char* begin);
  void compare_group(const std::string& form, const char* begin,
                     std::string_view group);

  std::string_view original_;
  std::string list_;
  RecipientPtr recipient_;
  Remarks remarks_;
};

// Walks the list as RecipParse() does.
Remarks Explainer::explain() {
  char* cursor = skip_blanks(list_.data());
  if (*cursor == '\0') {
    return {{"there is nothing in it", std::nullopt, ""}};
  }
  if (const auto quote = unpaired_quote(list_)) {
    return {{"nothing of the list is read: nothing closes this double quote",
             *quote, "\""}};
  }
  while (*cursor != '\0') {
    if (remarks_.size() == kMostRemarks || offset(cursor) >= kMostBytes) {
      remarks_.push_back({"and so on: from here the list is not explained",
                          offset(cursor), ""});
      break;
    }
    cursor = pass_address(skip_blanks(*cursor == ',' ? cursor + 1 : cursor));
  }
  return std::move(remarks_);
}

char* Explainer::pass_address(char* begin) {
  char* const next = ParseAddr(begin, recipient_.get());
  const bool left_out = recipient_->canon == nullptr;
  const std::string form = left_out ? "" : recipient_->canon;
  Clear_RP(recipient_.get());
  const auto address = trimmed(written(begin, next));
  if (form.ends_with(';')) {
    compare_group(form, begin, address);
  }
  if (left_out && (!address.empty() || *next != '\0')) {
    const bool too_long = has_cut_part();
    Break where = find_break(begin, adrLine);
    if (where.token.code > kEnd && *where.token.end == '\0' &&
        wants_more(begin, recipient_.get())) {
      where = {{kEnd, where.token.end, where.token.end}, false};
    }
    const std::string token = shown(where.token);
    std::string text =
        reason(where, token, too_long && may_be_too_long(where.token.code));
    if (!address.empty()) {
      text += "; " + in_quotes(address) + " is left out";
    }
    remarks_.push_back({text, offset(where.token.begin), token});
  }
  return next;
}

// A group's form has 255 bytes at most, and only whole mailboxes.
void Explainer::compare_group(const std::string& form, const char* begin,
                              std::string_view group) {
  const unsigned all = count_mailboxes(std::string(group));
  const unsigned kept = count_mailboxes(form);
  if (kept < all) {
    remarks_.push_back({std::to_string(all - kept) + " of the group's " +
                            std::to_string(all) +
                            " mailboxes are left out: its form has no room "
                            "for them",
                        offset(begin), ""});
  }
}

}  // namespace

Remarks explain_addresses(std::string_view list) {
  const ParserLock lock;
  return Explainer(list).explain();
}

}  // namespace configapi::tool
