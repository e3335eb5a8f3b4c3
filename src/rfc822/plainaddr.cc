#include "rfc822/plainaddr.h"

#include "rfc822/adrlex.h"

namespace configapi {
namespace {

// What no word of an address begins with, up to its first "@".
constexpr unsigned kNoFirst = kWordEnd | kBlank | kParen;

// What stands in front of a local part, as far as it is plain.
struct Opening {
  const char* phrase_end;  // its beginning, when there is no phrase
  const char* next;        // behind the phrase and its blanks
  const char* at;          // the "@", when `next` is the local part; or null
};

Opening find_opening(const char* const p) {
  if (*p == '"') {
    const char* const quote = find_class(p + 1, kQuoteStop);
    return *quote == '"' ? Opening{quote + 1, skip_blanks(quote + 1), nullptr}
                         : Opening{p, p, nullptr};
  }
  Opening opening{p, p, nullptr};
  while (!is_class(*opening.next, kNoFirst)) {
    const char* const end = find_class(opening.next + 1, kWordEnd | kBlank);
    if (*end == '@') {
      opening.at = end;
      break;
    }
    const char* const gap = opening.phrase_end;
    if (gap != p && (*gap != ' ' || opening.next - gap != 1)) {
      return {p, p, nullptr};
    }
    opening.phrase_end = end;
    opening.next = skip_blanks(end);
  }
  return opening;
}

}  // namespace

bool read_plain_address(const char* const text, PlainAddress& address) {
  const auto [phrase_end, next, bare_at] = find_opening(text);
  const char* local = next;
  const char* at = bare_at;
  const bool angle = *next == '<';
  if (angle) {
    ++local;
    if (is_class(*local, kNoFirst)) {
      return false;
    }
    at = find_class(local + 1, kWordEnd | kBlank);
  } else if (phrase_end != text || at == nullptr) {
    return false;
  }
  if (*at != '@' || is_class(at[1], kNoWord)) {
    return false;
  }
  const char* last = nullptr;
  const char* const domain_end = end_of_domain(at + 1, last);
  const char* end = domain_end;
  if (angle && *end++ != '>') {
    return false;
  }
  const char* const separator = skip_blanks(end);
  if ((*separator != ',' && *separator != '\0') ||
      view(local, domain_end).size() > kPartLimit ||
      view(text, phrase_end).size() > kPartLimit) {
    return false;
  }
  address.texts = {view(local, at),
                   view(at + 1, domain_end),
                   view(text, phrase_end),
                   {},
                   view(local, domain_end)};
  address.written = view(text, end);
  address.next = *separator == ',' ? separator + 1 : separator;
  return true;
}

}  // namespace configapi
