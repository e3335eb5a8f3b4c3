// The tool's own session with the directory, for what the library's classes do
// not offer: controls, transactions, synchronisation, values of any length and
// the server's own words for a refusal.

#ifndef CONFIGAPI_TOOLS_LINK_H_
#define CONFIGAPI_TOOLS_LINK_H_

#include <ldap.h>

#include <chrono>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "connection.h"
#include "failure.h"
#include "output.h"
#include "session.h"

namespace configapi::tool {

// Owners for what the LDAP library hands out.
struct LinkFree {
  void operator()(LDAP* ld) const { ldap_unbind_ext(ld, nullptr, nullptr); }
  void operator()(LDAPMessage* message) const { ldap_msgfree(message); }
  void operator()(LDAPControl* control) const { ldap_control_free(control); }
  void operator()(LDAPControl** list) const { ldap_controls_free(list); }
  // One that walks a message, whose bytes it does not own.
  void operator()(BerElement* element) const { ber_free(element, 0); }
  void operator()(berval* value) const { ber_bvfree(value); }
  void operator()(berval** values) const { ldap_value_free_len(values); }
  void operator()(char* text) const { ldap_memfree(text); }
};
template <typename T>
using LinkOwner = std::unique_ptr<T, LinkFree>;

// The entries of a search's result, in its order and with whole values.
std::vector<Entry> copied_entries(LDAP* ld, LDAPMessage* result);

class Link {
 public:
  // Connects and binds. Throws a Failure: those of bind_password(), and
  // kUnreachable for everything that the directory has a part in.
  Link(const Connection& connection, const Output& output);

  // For requests of one's own. Every wait without a limit ends after the
  // connection's seconds with LDAP_TIMEOUT; referrals are not followed, and a
  // server that hangs up raises no signal.
  [[nodiscard]] LDAP* ld() const { return ld_.get(); }

  // As given, but with the one host of several that was taken.
  [[nodiscard]] const Connection& connection() const { return connection_; }

  // Every entry of settings that the directory lets this session see, in its
  // order and with whole values. Throws failure().
  [[nodiscard]] std::vector<Entry> entries() const;

  // The names under which the server itself has those entries, by the names
  // that it shows: they differ where it rewrites names, which it does not do to
  // requests in a transaction. Throws failure().
  [[nodiscard]] std::map<std::string, std::string> own_names() const;

  // The values of an attribute of the server's root entry; none when it does
  // not have it. Throws failure().
  [[nodiscard]] std::vector<std::string> root_values(
      const std::string& attribute) const;

  // Whether the server offers an extended operation or a feature that it lists
  // among them. Throws failure().
  [[nodiscard]] bool offers(const std::string& extension) const;

  // The failure of a request that ended with a code other than success: "...
  // refused WHAT: " and the server's own words (kRefused), or that no answer
  // came (kUnreachable). REQUIRES: no request was made since.
  [[nodiscard]] Failure failure(const std::string& what, int code) const;

  // The server's words alone: the text of the code and its own message.
  [[nodiscard]] std::string words(int code) const;

 private:
  void connect(const Output& output);
  bool reach(const std::string& host, std::chrono::milliseconds limit);
  void bind(Secret* password) const;
  [[nodiscard]] std::vector<Entry> sections(const char* attribute) const;
  [[nodiscard]] LinkOwner<LDAPMessage> search(const char* base, int scope,
                                              const char* filter,
                                              const char* attribute) const;

  Connection connection_;
  LinkOwner<LDAP> ld_;
};

}  // namespace configapi::tool

#endif  // CONFIGAPI_TOOLS_LINK_H_
