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
#include <utility>

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
constexpr std::string_view kDnSyntax = " \"#+,;<>\\";

// The longest suffix, of labels with one letter each: the recipient parser
// gives no domain that its buffer does not hold.
static_assert(sizeof "dc=" + 4 * sizeof domainBuf < kSuffixSize);

// The components of a domain joined, as GetSuffix() hands them out.
HeapText domain_suffix(std::string_view domain) {
  if (domain.find_first_of(kDnSyntax) != std::string_view::npos) {
    return nullptr;
  }
  HeapText suffix(static_cast<char*>(std::calloc(1, kSuffixSize)));
  if (suffix == nullptr) {
    return nullptr;
  }
  char* end = suffix.get();
  while (!domain.empty()) {
    const std::string_view label = domain.substr(0, domain.find('.'));
    domain.remove_prefix(std::min(label.size() + 1, domain.size()));
    if (!label.empty()) {
      const std::string_view type = end == suffix.get() ? "dc=" : ",dc=";
      end += type.copy(end, type.size());
      end += label.copy(end, label.size());
    }
  }
  return end != suffix.get() ? std::move(suffix) : nullptr;
}

HeapText suffix_of(const char* address) {
  if (address == nullptr) {
    return nullptr;
  }
  // The parser changes the text it is given.
  const HeapText copy = heap_copy(address);
  if (copy == nullptr) {
    return nullptr;
  }
  RecipTable table{};
  HeapText suffix;
  if (RecipParse(copy.get(), &table, 1) != 0) {
    suffix = domain_suffix(table.first->domain);
  }
  Clear_RT(&table);
  return suffix;
}

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
  return configapi::suffix_of(address).release();
}

char* ldapClient::Mail2DN(char* address) {
  if (address == nullptr || std::strlen(address) > configapi::kMaxCnAddress) {
    return nullptr;
  }
  const configapi::HeapText suffix = configapi::suffix_of(address);
  if (suffix == nullptr) {
    return nullptr;
  }
  const configapi::MailName name{"cn=", address, suffix.get()};
  auto* dn = static_cast<char*>(std::malloc(name.size()));
  if (dn != nullptr) {
    name.write(dn);
  }
  return dn;
}

char* ldapClient::CreateDNFromMail(char* address) {
  const configapi::HeapText suffix = configapi::suffix_of(address);
  if (suffix == nullptr) {
    return nullptr;
  }
  const configapi::MailName name{"mail=", address, suffix.get()};
  if (name.size() > configapi::kThreadBufferSize) {
    return nullptr;
  }
  char* buffer = configapi::thread_buffer();
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
