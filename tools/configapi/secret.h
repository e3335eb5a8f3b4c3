// Texts that others are not to see, and what keeps the rest of the heap from
// telling them.

#ifndef CONFIGAPI_TOOLS_SECRET_H_
#define CONFIGAPI_TOOLS_SECRET_H_

#include <cstddef>
#include <utility>
#include <vector>

namespace configapi::tool {

// On the heap however short it is: a std::string would keep a short one in
// itself, and leave it there when it is moved from.
class Secret {
 public:
  Secret() = default;
  explicit Secret(std::vector<char> bytes) : bytes_(std::move(bytes)) {
    bytes_.push_back('\0');
  }

  [[nodiscard]] std::size_t size() const { return bytes_.size() - 1; }
  [[nodiscard]] const char* data() const { return bytes_.data(); }
  [[nodiscard]] char* data() { return bytes_.data(); }  // ends with a NUL byte

 private:
  std::vector<char> bytes_ = {'\0'};
};

// From here on the LDAP library, too, wipes what it gives back to the heap; the
// tool's own new and delete do so from the first. To be called before any other
// call of that library.
void wipe_what_ldap_frees();

}  // namespace configapi::tool

#endif  // CONFIGAPI_TOOLS_SECRET_H_
