// The grammar of an address (RFC 822 section 6.1), from the top down.
//
// It is that of an LALR(1) parser, and settles what can be read in two ways by
// the token behind a word: before "@" or "." it is a local part, before a ","
// or the end an address, otherwise it begins a phrase. What the actions do is
// seen by whoever looks at the parts of an address that broke off, so each is
// carried out as early as it is certain: before the next token is read where
// nothing else can follow, and otherwise only if that token may stand there.
// Nothing recurses: the nesting of the grammar is bounded.

#include "rfc822/addrgram.h"

#include <configapi/internals.h>

#include <algorithm>
#include <cstring>

extern "C" {

char localBuf[256];
char domainBuf[256];
char phraseBuf[256];
char specBuf[256];
char routeaBuf[256];
char routeBuf[256];
char canonbuf[256];
char wordBuf[256];
char* localPart = localBuf;
char* domainPart = domainBuf;
char* phrasePart = phraseBuf;
char* specPart = specBuf;
char* routeaPart = routeaBuf;
char* routePart = routeBuf;
char* adrCanon = canonbuf;
char* wordPart = wordBuf;

}  // extern "C"

namespace configapi {
namespace {

void write_part(char* buffer, std::string_view text) {
  std::memcpy(buffer, text.data(), text.size());
  buffer[text.size()] = '\0';
}

void write_part(char* buffer, const Part& part) {
  if (part.written()) {
    write_part(buffer, part.text());
  }
}

}  // namespace

void Part::keep(std::size_t at, std::string_view text) {
  if (at < gathered_.size()) {
    std::memcpy(gathered_.data() + at, text.data(),
                std::min(text.size(), gathered_.size() - at));
  }
}

void Part::append(std::string_view text) {
  if (data_ != gathered_.data()) {
    if (written()) {
      keep(0, kept());
    }
    data_ = gathered_.data();
  }
  keep(size_, text);
  size_ += text.size();
}

void Part::append(const Part& part) {
  append(part.kept());
  size_ += part.size_ - part.kept().size();
}

void Part::set_joined(const Part& first, char byte, const Part& second) {
  if (first.is_followed_by(byte, second.data_)) {
    set({first.data_, first.size_ + 1 + second.size_});
  } else {
    clear();
    append(first);
    append({&byte, 1});
    append(second);
  }
}

bool AddressParser::parse() {
  return read_address() || token_ == kLexError;
}

// address : word | mailbox | group_list SEMICOLON
bool AddressParser::read_address() {
  advance();
  if (!is_word() && token_ != kLangle && token_ != kAt) {
    return false;
  }
  at_first_token_ = false;
  const Found found = read_mailbox(false);
  if (found == Found::kGroupName) {
    return read_group();
  }
  if (found == Found::kNothing || !parts_fit()) {
    return false;
  }
  canonical_ = value_->text();
  ending_ = token_ == kRangle ? Ending::kAngle : Ending::kNextToken;
  return true;
}

// group_list : phrase_part COLON mailbox | group_list COMMA mailbox
bool AddressParser::read_group() {
  begin_group();
  do {
    advance();
    if (read_mailbox(true) == Found::kNothing || !parts_fit()) {
      return false;
    }
    add_to_group();
    if (!read_on_) {
      advance();
    }
  } while (token_ == kComma);
  if (token_ != kSemicolon) {
    return false;
  }
  group_[group_size_++] = ';';
  canonical_ = {group_.data(), group_size_};
  ending_ = Ending::kGroup;
  return true;
}

// mailbox : addr_spec | phrase_part route_addr | route_addr
// phrase_part : word | phrase_part word
//
// A lone word at the top level comes out as a mailbox too: both are a local
// part. The name of a group is a phrase_part before a COLON.
AddressParser::Found AddressParser::read_mailbox(bool in_group) {
  if (is_word()) {
    take_word();
    advance();
    if (token_ == kAt || token_ == kDot || token_ == kComma ||
        token_ == (in_group ? kSemicolon : kEnd)) {
      local_.set(word_);
      return read_spec(false) ? Found::kMailbox : Found::kNothing;
    }
    const bool names_group = token_ == kColon && !in_group;
    if (!is_word() && token_ != kLangle && !names_group) {
      return Found::kNothing;
    }
    phrase_.set(word_);
    while (is_word()) {
      take_word();
      phrase_.join(' ', word_);
      advance();
    }
    if (token_ == kColon && !in_group) {
      return Found::kGroupName;
    }
  }
  return read_route_address() ? Found::kMailbox : Found::kNothing;
}

// route_addr : LANGLE route COLON addr_spec RANGLE | route COLON addr_spec
//            | LANGLE addr_spec RANGLE | LANGLE local_part RANGLE
bool AddressParser::read_route_address() {
  const bool angle = token_ == kLangle;
  if (angle) {
    advance();
  }
  const bool routed = token_ == kAt;
  if ((!angle && !routed) || (routed && !read_route()) || !is_word()) {
    return false;
  }
  take_word();
  local_.set(word_);
  advance();
  if (!read_spec(angle && !routed) || (angle && token_ != kRangle)) {
    return false;
  }
  if (routed) {
    route_address_.set("<");
    route_address_.append(route_);
    route_address_.append(":");
    route_address_.append(*value_);
    route_address_.append(">");
    value_ = &route_address_;
  }
  read_on_ = !angle;
  return true;
}

// route : AT domain_part | route COMMA AT domain_part
//       | route COLON AT domain_part
//
// Reads on behind the COLON that ends it. `domain` is the mailbox's domain
// only, so that of the route does not stay there.
bool AddressParser::read_route() {
  for (bool first = true, after_colon = false;; first = false) {
    if (!read_domain() || (token_ != kColon && token_ != kComma)) {
      return false;
    }
    if (first) {
      route_.clear();
    } else {
      route_.append(after_colon ? ":" : ",");
    }
    route_.append("@");
    route_.append(domain_);
    domain_.set("");
    after_colon = token_ == kColon;
    advance();
    if (token_ != kAt) {
      return after_colon;
    }
  }
}

// addr_spec : local_part AT domain_part | local_part
//
// Begins behind the local part's first word and reads on behind its end. Right
// behind "<" a local part alone must be followed by ">".
bool AddressParser::read_spec(bool closes_angle) {
  read_on_ = true;
  if (!read_local()) {
    return false;
  }
  if (token_ == kAt) {
    if (!read_domain() || !ends_spec()) {
      return false;
    }
    spec_.set_joined(local_, '@', domain_);
    value_ = &spec_;
    return true;
  }
  value_ = &local_;
  return closes_angle ? token_ == kRangle : ends_spec();
}

// local_part : word | local_part DOT word | local_part DOT
bool AddressParser::read_local() {
  while (token_ == kDot) {
    advance();
    if (is_word()) {
      take_word();
      local_.join('.', word_);
      advance();
    } else if (token_ == kAt || token_ == kDot || ends_spec()) {
      local_.append(".");
    } else {
      return false;
    }
  }
  return true;
}

// domain_part : subdomain | domain_part DOT subdomain
//
// Begins on the AT and reads on behind its end.
bool AddressParser::read_domain() {
  if (!read_sub_domain()) {
    return false;
  }
  domain_.set(lexer_.text);
  advance();
  while (token_ == kDot) {
    if (!read_sub_domain()) {
      return false;
    }
    domain_.join('.', lexer_.text);
    advance();
  }
  return true;
}

// subdomain : ATOM | DOMLIT
bool AddressParser::read_sub_domain() {
  token_ = lexer_.next_domain();
  return token_ == kAtom || token_ == kDomainLiteral;
}

bool AddressParser::ends_spec() const {
  return token_ == kEnd || token_ == kComma || token_ == kSemicolon ||
         token_ == kRangle;
}

// word : ATOM | QSTRING
void AddressParser::take_word() {
  word_ = lexer_.text;
}

// Mail must not go elsewhere because a name was cut. A phrase may be cut.
bool AddressParser::parts_fit() const {
  return local_.size() <= kPartLimit && domain_.size() <= kPartLimit &&
         spec_.size() <= kPartLimit && route_.size() <= kPartLimit &&
         route_address_.size() <= kPartLimit;
}

void AddressParser::begin_group() {
  constexpr std::size_t kColonAndSemicolon = 2;
  const auto name =
      utf8_prefix(phrase_.text(), kPartLimit - kColonAndSemicolon);
  std::memcpy(group_.data(), name.data(), name.size());
  group_[name.size()] = ':';
  group_size_ = name.size() + 1;
  group_is_empty_ = true;
}

// A mailbox that does not fit with the final ";" is left out as a whole.
void AddressParser::add_to_group() {
  const std::string_view separator = group_is_empty_ ? " " : ", ";
  const std::string_view mailbox = value_->text();
  char* end = group_.data() + group_size_;
  if (group_size_ + separator.size() + mailbox.size() < kPartLimit) {
    std::memcpy(end, separator.data(), separator.size());
    end += separator.size();
    std::memcpy(end, mailbox.data(), mailbox.size());
    group_size_ += separator.size() + mailbox.size();
    group_is_empty_ = false;
  }
  canonical_ = {group_.data(), group_size_};
}

void AddressParser::publish() const {
  lexer_.publish();
  write_part(localPart, local_);
  write_part(domainPart, domain_);
  write_part(phrasePart, phrase_);
  write_part(specPart, spec_);
  write_part(routePart, route_);
  write_part(routeaPart, route_address_);
  if (word_.data() != nullptr) {
    write_part(wordPart, utf8_prefix(word_, kPartLimit));
  }
  if (!canonical_.empty()) {
    write_part(adrCanon, canonical_);
  }
}

}  // namespace configapi

extern "C" {

int adrparse() {
  configapi::AddressParser parser(configapi::Lexer::from_globals());
  const bool recognised = parser.parse();
  parser.publish();
  if (!recognised) {
    adrerror("syntax error");
  }
  return recognised ? 0 : 1;
}

void adrerror(const char* /*message*/) {}

}  // extern "C"
