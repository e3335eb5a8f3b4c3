// How tests hand texts to the client, whose arguments are char*.

#ifndef CONFIGAPI_TESTS_CLIENT_TEXT_H_
#define CONFIGAPI_TESTS_CLIENT_TEXT_H_

#include <cstring>
#include <memory>
#include <string_view>

namespace test {

// A copy of exactly the text's size, so that a sanitizer sees the first byte
// that is read too far.
class Text {
 public:
  // NOLINTNEXTLINE(google-explicit-constructor): stands where a char* does
  Text(std::string_view text) : bytes_(new char[text.size() + 1]) {
    std::memcpy(bytes_.get(), text.data(), text.size());
    bytes_[text.size()] = '\0';
  }
  // NOLINTNEXTLINE(google-explicit-constructor): as above
  operator char*() const { return bytes_.get(); }

 private:
  std::unique_ptr<char[]> bytes_;
};

}  // namespace test

#endif  // CONFIGAPI_TESTS_CLIENT_TEXT_H_
