// A scripted stand-in for the LDAP library, linked in its place: for what a
// server does not do on demand. It keeps a readable record of the calls and
// watches over what it hands out: releasing something twice, or using it after
// its release, fails the test.

#ifndef CONFIGAPI_TESTS_FAKE_LDAP_H_
#define CONFIGAPI_TESTS_FAKE_LDAP_H_

#include <cstddef>
#include <deque>
#include <optional>
#include <string>
#include <vector>

namespace test {

struct FakeAttribute {
  std::string type;
  std::vector<std::string> values;
};

struct FakeEntry {
  std::optional<std::string> dn;  // none: the library cannot tell it
  std::vector<FakeAttribute> attributes;
};

// What a search answers.
struct FakeAnswer {
  std::vector<FakeEntry> entries = {};
  int code = 0;
  bool has_result = true;  // a library hands one out with some errors too
  bool countable = true;
  int end_code = 0;  // what the end of an entry's attributes leaves behind
};

// The library, from construction to destruction.
class FakeLdap {
 public:
  FakeLdap();
  ~FakeLdap();
  FakeLdap(const FakeLdap&) = delete;
  FakeLdap& operator=(const FakeLdap&) = delete;
  FakeLdap(FakeLdap&&) = delete;
  FakeLdap& operator=(FakeLdap&&) = delete;

  // The script.
  int open_errno = 0;      // not 0: no connection, and this in errno
  int cache_code = 0;      // of ldap_enable_cache
  int bind_id = 7;         // the message id, -1 for none
  int result_type = 0x61;  // of ldap_result: 0 time-out, -1 no connection
  int bind_code = 0;       // what the server answers
  std::deque<FakeAnswer> searches;  // one each; then answers without entries
  std::deque<int> codes;            // of updates and compares, in order; then 0

  // The calls since the last take, in order.
  std::vector<std::string> take_calls();
  void record(std::string call);

  // What was handed out and not yet released: connections, results, texts.
  [[nodiscard]] static std::size_t outstanding();

  std::vector<std::string> calls;
};

}  // namespace test

#endif  // CONFIGAPI_TESTS_FAKE_LDAP_H_
