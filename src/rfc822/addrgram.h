// Recognises one address by the grammar of addrgram.cc and builds its parts.

#ifndef CONFIGAPI_ADDRGRAM_H_
#define CONFIGAPI_ADDRGRAM_H_

#include <array>
#include <cstddef>
#include <string_view>

#include "base/bounded.h"
#include "rfc822/adrlex.h"

namespace configapi {

// A part of an address. While its pieces stand side by side in the text it is
// a view of the text; otherwise they are gathered here, as many of them as a
// part may have. Its size is that of the whole part in either case.
class Part {
 public:
  void clear() { set({}); }
  void set(std::string_view text) {
    data_ = text.data();
    size_ = text.size();
  }
  void set_joined(const Part& first, char byte, const Part& second);
  void append(std::string_view text);
  void append(const Part& part);
  // Appends a byte and a text.
  void join(char byte, std::string_view text) {
    if (is_followed_by(byte, text.data())) {
      size_ += 1 + text.size();
    } else {
      append({&byte, 1});
      append(text);
    }
  }

  [[nodiscard]] bool written() const { return data_ != nullptr; }
  [[nodiscard]] std::size_t size() const { return size_; }
  // The part as its buffer holds it: cut, but not inside a UTF-8 character.
  [[nodiscard]] std::string_view text() const {
    return size_ <= kPartLimit ? std::string_view(data_, size_)
                               : utf8_prefix(kept(), kPartLimit);
  }

 private:
  // What there is of the part: one byte more than a part may have, since that
  // byte tells whether the cut is inside a character.
  [[nodiscard]] std::string_view kept() const {
    return {data_, size_ < kPartSize ? size_ : kPartSize};
  }
  // Whether the part is a view of the text, which goes on with the byte and
  // then with what is at `next`.
  [[nodiscard]] bool is_followed_by(char byte, const char* next) const {
    return data_ != gathered_.data() && data_ + size_ + 1 == next &&
           data_[size_] == byte;
  }
  void keep(std::size_t at, std::string_view text);

  const char* data_ = nullptr;
  std::size_t size_ = 0;
  std::array<char, kPartSize> gathered_;  // not cleared: there are many of them
};

// What a recipient takes over from an address.
struct AddressTexts {
  std::string_view local;
  std::string_view domain;
  std::string_view phrase;
  std::string_view comment;
  std::string_view canonical;
};

class AddressParser {
 public:
  // What ended an address that was recognised.
  enum class Ending {
    kNextToken,  // the token behind it
    kAngle,      // its ">"
    kGroup,      // the ";" of the group
  };

  // The lexer is at the beginning of the address.
  explicit AddressParser(const Lexer& lexer) : lexer_(lexer) {}
  ~AddressParser() = default;
  // Its parts are views into one another.
  AddressParser(const AddressParser&) = delete;
  AddressParser& operator=(const AddressParser&) = delete;
  AddressParser(AddressParser&&) = delete;
  AddressParser& operator=(AddressParser&&) = delete;

  // Recognises one address. False: it breaks the grammar, or one of its parts
  // does not fit. Where the lexer fails the result is true, but only of a
  // group there may be an address by then.
  bool parse();

  // Stands behind the token that ended the address or at which it broke off.
  Lexer& lexer() { return lexer_; }
  [[nodiscard]] Ending ending() const { return ending_; }
  // Whether it broke off at a comma that is not its first token.
  [[nodiscard]] bool broke_at_comma() const {
    return token_ == kComma && !at_first_token_;
  }

  [[nodiscard]] bool has_address() const { return !canonical_.empty(); }
  [[nodiscard]] AddressTexts texts() const {
    return {local_.text(), domain_.text(), phrase_.text(),
            utf8_prefix(lexer_.comment, kPartLimit), canonical_};
  }

  // Writes the lexer's globals and the buffer of each part that there is.
  void publish() const;

 private:
  enum class Found { kNothing, kMailbox, kGroupName };

  void advance() { token_ = lexer_.next(); }
  void take_word();
  bool read_address();
  bool read_group();
  Found read_mailbox(bool in_group);
  bool read_route_address();
  bool read_route();
  bool read_spec(bool closes_angle);
  bool read_local();
  bool read_domain();
  bool read_sub_domain();
  [[nodiscard]] bool is_word() const {
    return token_ == kAtom || token_ == kQuotedString;
  }
  [[nodiscard]] bool ends_spec() const;
  [[nodiscard]] bool parts_fit() const;
  void begin_group();
  void add_to_group();

  Lexer lexer_;
  Token token_ = kEnd;
  bool at_first_token_ = true;
  bool read_on_ = false;  // at a mailbox's end: token_ is the one behind it
  Ending ending_ = Ending::kNextToken;
  std::string_view word_;
  std::string_view canonical_;
  const Part* value_ = nullptr;  // the part that is a mailbox's canonical form
  Part local_;
  Part domain_;
  Part phrase_;
  Part spec_;
  Part route_;
  Part route_address_;
  std::array<char, kPartSize> group_;
  std::size_t group_size_ = 0;
  bool group_is_empty_ = true;
};

}  // namespace configapi

#endif  // CONFIGAPI_ADDRGRAM_H_
