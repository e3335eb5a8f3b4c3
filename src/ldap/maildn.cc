// Directory names of mail addresses.

#include <configapi/internals.h>
#include <configapi/ldapclient.h>
#include <configapi/rfc822.h>
#include <pthread.h>

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <string_view>

#include "base/heap_text.h"

CONFIGAPI_BEGIN_C
pthread_key_t key;
CONFIGAPI_END_C

namespace configapi {
namespace {

constexpr std::size_t kSuffixSize = 2048;
constexpr std::size_t kThreadBufferSize = 2000;
constexpr std::size_t kMaxCnAddress = 255;

// What ends or begins a part of a DN, or is trimmed from it (RFC 4514). No
// domain has such a character; a literal like "[a,dc=b]" may.
constexpr std::string_view kDnSyntax = " \t\n\r\"#+,;<>\\";

// The longest suffix, of labels with one letter each: the recipient parser
// gives no domain that its buffer does not hold.
static_assert(sizeof "dc=" + 4 * sizeof domainBuf < kSuffixSize);

// Writes the components of a domain, as GetSuffix() hands them out, without a
// NUL. Returns their length, 0 when there are none.
std::size_t write_components(std::string_view domain, char* to) {
  if (domain.find_first_of(kDnSyntax) != std::string_view::npos) {
    return 0;
  }
  char* end = to;
  while (!domain.empty()) {
    const std::string_view label = domain.substr(0, domain.find('.'));
    domain.remove_prefix(std::min(label.size() + 1, domain.size()));
    if (!label.empty()) {
      const std::string_view type = end == to ? "dc=" : ",dc=";
      end += type.copy(end, type.size());
      end += label.copy(end, label.size());
    }
  }
  return static_cast<std::size_t>(end - to);
}

// The same for the domain of an address, into kSuffixSize bytes.
std::size_t write_suffix(const char* address, char* to) {
  // The parser changes the text it is given.
  const HeapText copy = address != nullptr ? heap_copy(address) : nullptr;
  if (copy == nullptr) {
    return 0;
  }
  RecipTable table{};
  const std::size_t length = RecipParse(copy.get(), &table, 1) != 0
                                 ? write_components(table.first->domain, to)
                                 : 0;
  Clear_RT(&table);
  return length;
}

// The suffix of an address on its way into a DN; empty when there is none.
class Suffix {
 public:
  explicit Suffix(const char* address)
      : length_(write_suffix(address, bytes_)) {}
  [[nodiscard]] std::string_view text() const { return {bytes_, length_}; }

 private:
  char bytes_[kSuffixSize];
  std::size_t length_;
};

// An address in front of its suffix.
struct MailName {
  std::string_view type;
  std::string_view address;
  std::string_view suffix;

  // With the "," and the NUL.
  [[nodiscard]] std::size_t size() const {
    return type.size() + address.size() + suffix.size() + 2;
  }
  void write(char* to) const {
    to += type.copy(to, type.size());
    to += address.copy(to, address.size());
    *to++ = ',';
    to += suffix.copy(to, suffix.size());
    *to = '\0';
  }
};

pthread_once_t keycreated = PTHREAD_ONCE_INIT;
int key_error = 0;  // written once, before anyone reads it

// The buffer of this thread, or null.
char* thread_buffer() {
  if (InitDN() != 0) {
    return nullptr;
  }
  if (void* present = pthread_getspecific(key)) {
    return static_cast<char*>(present);
  }
  HeapText fresh(static_cast<char*>(std::malloc(kThreadBufferSize)));
  if (fresh == nullptr || pthread_setspecific(key, fresh.get()) != 0) {
    return nullptr;
  }
  return fresh.release();
}

}  // namespace
}  // namespace configapi

// The interface fixes what is const and pointer to const.
// NOLINTBEGIN(readability-convert-member-functions-to-static)
// NOLINTBEGIN(readability-non-const-parameter)

char* ldapClient::GetSuffix(char* address) {
  configapi::HeapText suffix(
      static_cast<char*>(std::calloc(1, configapi::kSuffixSize)));
  return suffix != nullptr && configapi::write_suffix(address, suffix.get()) > 0
             ? suffix.release()
             : nullptr;
}

char* ldapClient::Mail2DN(char* address) {
  if (address == nullptr || std::strlen(address) > configapi::kMaxCnAddress) {
    return nullptr;
  }
  const configapi::Suffix suffix(address);
  const configapi::MailName name{"cn=", address, suffix.text()};
  auto* dn = name.suffix.empty() ? nullptr
                                 : static_cast<char*>(std::malloc(name.size()));
  if (dn != nullptr) {
    name.write(dn);
  }
  return dn;
}

char* ldapClient::CreateDNFromMail(char* address) {
  const configapi::Suffix suffix(address);
  if (suffix.text().empty()) {
    return nullptr;
  }
  const configapi::MailName name{"mail=", address, suffix.text()};
  char* buffer = name.size() <= configapi::kThreadBufferSize
                     ? configapi::thread_buffer()
                     : nullptr;
  if (buffer != nullptr) {
    name.write(buffer);
  }
  return buffer;
}

// NOLINTEND(readability-non-const-parameter)
// NOLINTEND(readability-convert-member-functions-to-static)

extern "C" int InitDN(void) {
  const int error = pthread_once(&configapi::keycreated,
                                 [] { configapi::key_error = InitDN2(); });
  return error != 0 ? error : configapi::key_error;
}

extern "C" int InitDN2(void) {
  return pthread_key_create(&key, free_key);
}

extern "C" void free_key(void* buffer) {
  std::free(buffer);
}
