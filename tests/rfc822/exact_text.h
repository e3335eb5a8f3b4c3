// A writable text on a heap block of exactly its size, so that a sanitizer
// sees the first byte that is read or written too far.

#ifndef CONFIGAPI_TESTS_EXACT_TEXT_H_
#define CONFIGAPI_TESTS_EXACT_TEXT_H_

#include <cstddef>
#include <cstring>
#include <memory>
#include <string>

namespace test {

class ExactText {
 public:
  explicit ExactText(const std::string& text)
      : bytes_(std::make_unique<char[]>(text.size() + 1)) {
    std::memcpy(bytes_.get(), text.c_str(), text.size() + 1);
  }

  [[nodiscard]] char* get() const { return bytes_.get(); }
  [[nodiscard]] std::size_t offset_of(const char* position) const {
    return static_cast<std::size_t>(position - bytes_.get());
  }

 private:
  std::unique_ptr<char[]> bytes_;
};

}  // namespace test

#endif  // CONFIGAPI_TESTS_EXACT_TEXT_H_
