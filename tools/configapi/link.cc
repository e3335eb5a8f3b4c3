#include "link.h"

#include <sys/time.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <string_view>
#include <utility>

#include "deadline.h"
#include "ldap/host_list.h"
#include "ldap/probe.h"
#include "ldap/socket_layer.h"

namespace configapi::tool {
namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

timeval seconds(unsigned count) {
  return {static_cast<time_t>(count), 0};
}

// What a user's own configuration of the LDAP library could say otherwise.
bool set_options(LDAP* ld, unsigned limit) {
  const int version = LDAP_VERSION3;
  const int unlimited = LDAP_NO_LIMIT;
  const int never = LDAP_DEREF_NEVER;
  const timeval wait = seconds(limit);
  const std::array<std::pair<int, const void*>, 8> options = {{
      {LDAP_OPT_PROTOCOL_VERSION, &version},
      {LDAP_OPT_REFERRALS, LDAP_OPT_OFF},
      {LDAP_OPT_DEREF, &never},
      {LDAP_OPT_SIZELIMIT, &unlimited},
      {LDAP_OPT_TIMELIMIT, &unlimited},
      {LDAP_OPT_NETWORK_TIMEOUT, &wait},
      {LDAP_OPT_TIMEOUT, &wait},
      {LDAP_OPT_RESTART, LDAP_OPT_ON},  // a signal ends no wait
  }};
  return std::all_of(options.begin(), options.end(), [ld](const auto& option) {
    return ldap_set_option(ld, option.first, option.second) == LDAP_OPT_SUCCESS;
  });
}

// Kept by slapd for every entry.
constexpr std::string_view kChangeNumber = "entryCSN";

std::string copied(const berval& value) {
  return {value.bv_val, value.bv_len};
}

Entry copied_entry(LDAP* ld, LDAPMessage* message) {
  Entry entry;
  if (const LinkOwner<char> dn(ldap_get_dn(ld, message)); dn != nullptr) {
    entry.dn = dn.get();
  }
  BerElement* element = nullptr;
  LinkOwner<char> name(ldap_first_attribute(ld, message, &element));
  const LinkOwner<BerElement> walk(element);
  while (name != nullptr) {
    const LinkOwner<berval*> values(
        ldap_get_values_len(ld, message, name.get()));
    const int count = ldap_count_values_len(values.get());
    for (int i = 0; i < count; ++i) {
      entry.values.emplace_back(name.get(), copied(*values.get()[i]));
    }
    name.reset(ldap_next_attribute(ld, message, element));
  }
  return entry;
}

// It is no setting.
void take_change_number(Entry* entry) {
  const auto number = std::find_if(
      entry->values.begin(), entry->values.end(),
      [](const auto& value) { return value.first == kChangeNumber; });
  if (number != entry->values.end()) {
    entry->csn = std::move(number->second);
    entry->values.erase(number);
  }
}

}  // namespace

std::vector<Entry> copied_entries(LDAP* ld, LDAPMessage* result) {
  std::vector<Entry> entries;
  for (LDAPMessage* entry = ldap_first_entry(ld, result); entry != nullptr;
       entry = ldap_next_entry(ld, entry)) {
    entries.push_back(copied_entry(ld, entry));
  }
  return entries;
}

// NOLINTNEXTLINE(modernize-pass-by-value): one copy in a whole run
Link::Link(const Connection& connection, const Output& output)
    : connection_(connection) {
  // Asking may take the user a while, so it comes before the connection.
  Secret password = bind_password(connection_);
  connect(output);
  if (!connection_.bind_dn.empty()) {
    bind(&password);
  }
}

void Link::connect(const Output& output) {
  // Only resolving the name has no limit of its own; what has one can be
  // reported by it, so it comes a second earlier.
  const Deadline deadline(connection_.seconds + 1, no_answer(connection_),
                          output);
  const auto hosts = host_words(connection_.host);
  const auto end =
      steady_clock::now() + std::chrono::seconds(connection_.seconds);
  bool is_late = false;
  for (std::size_t i = 0; i < hosts.size(); ++i) {
    // Each has an equal part of what is left.
    const auto limit =
        std::max(std::chrono::ceil<milliseconds>(end - steady_clock::now()),
                 milliseconds(1)) /
        static_cast<long>(hosts.size() - i);
    if (reach(hosts[i], limit) && (hosts.size() == 1 || answers(ld(), limit))) {
      connection_.host = hosts[i];  // for whoever wants the same server
      return;
    }
    is_late = is_late || errno == ETIMEDOUT;
  }
  throw is_late ? no_answer(connection_)
                : unreachable(connection_, "is not reachable");
}

// Connects to one host. Else the reason is in errno.
bool Link::reach(const std::string& host, milliseconds limit) {
  const std::string uri = uri_of(host, connection_.port);
  LDAP* made = nullptr;
  errno = EINVAL;
  if (uri.empty() || ldap_initialize(&made, uri.c_str()) != LDAP_SUCCESS) {
    return false;
  }
  ld_.reset(made);
  const timeval wait = as_timeval(limit);
  return set_options(made, connection_.seconds) &&
         ldap_set_option(made, LDAP_OPT_NETWORK_TIMEOUT, &wait) ==
             LDAP_OPT_SUCCESS &&
         connect_within(made, limit,
                        std::chrono::seconds(connection_.seconds)) ==
             LDAP_SUCCESS;
}

void Link::bind(Secret* password) const {
  berval secret{password->size(), password->data()};
  const int code =
      ldap_sasl_bind_s(ld(), connection_.bind_dn.c_str(), LDAP_SASL_SIMPLE,
                       &secret, nullptr, nullptr, nullptr);
  if (code == LDAP_TIMEOUT) {
    throw no_answer(connection_);
  }
  if (code < LDAP_SUCCESS) {
    throw unreachable(connection_, "gave no answer to the bind");
  }
  if (code != LDAP_SUCCESS) {
    throw bind_refused(connection_);
  }
}

std::vector<Entry> Link::entries() const {
  return sections(nullptr);
}

std::map<std::string, std::string> Link::own_names() const {
  std::map<std::string, std::string> names;
  for (Entry& entry : sections("entryDN")) {
    names[entry.dn] = entry.values.empty()
                          ? entry.dn
                          : std::move(entry.values.front().second);
  }
  return names;
}

std::vector<Entry> Link::sections(const char* attribute) const {
  const auto found =
      search(nullptr, LDAP_SCOPE_SUBTREE, "(objectclass=qxconfig)", attribute);
  auto entries = copied_entries(ld(), found.get());
  for (Entry& entry : entries) {
    take_change_number(&entry);
  }
  return entries;
}

std::vector<std::string> Link::root_values(const std::string& attribute) const {
  const auto found =
      search("", LDAP_SCOPE_BASE, "(objectclass=*)", attribute.c_str());
  std::vector<std::string> values;
  for (Entry& root : copied_entries(ld(), found.get())) {
    for (auto& [name, value] : root.values) {
      values.push_back(std::move(value));
    }
  }
  return values;
}

bool Link::offers(const std::string& extension) const {
  const auto all = root_values("supportedExtension");
  return std::find(all.begin(), all.end(), extension) != all.end();
}

// Finding no such object is an answer, and an empty one.
LinkOwner<LDAPMessage> Link::search(const char* base, int scope,
                                    const char* filter,
                                    const char* attribute) const {
  std::string wanted =
      attribute != nullptr ? attribute : LDAP_ALL_USER_ATTRIBUTES;
  std::string number(kChangeNumber);
  std::array<char*, 3> attributes = {wanted.data(), number.data(), nullptr};
  LDAPMessage* answer = nullptr;
  const int code =
      ldap_search_ext_s(ld(), base, scope, filter, attributes.data(), 0,
                        nullptr, nullptr, nullptr, LDAP_NO_LIMIT, &answer);
  LinkOwner<LDAPMessage> result(answer);
  if (code != LDAP_SUCCESS && code != LDAP_NO_SUCH_OBJECT) {
    throw failure("the search" + without_bind(connection_), code);
  }
  return result;
}

Failure Link::failure(const std::string& what, int code) const {
  if (code == LDAP_TIMEOUT) {
    return no_answer(connection_);
  }
  if (code < LDAP_SUCCESS) {
    return unreachable(connection_, "does not answer: " + words(code));
  }
  return {ExitCode::kRefused, directory_name(connection_) + " refused " + what +
                                  ": " + words(code)};
}

std::string Link::words(int code) const {
  std::string text = ldap_err2string(code);
  char* message = nullptr;
  ldap_get_option(ld(), LDAP_OPT_DIAGNOSTIC_MESSAGE, &message);
  const LinkOwner<char> owner(message);
  if (message != nullptr && *message != '\0') {
    text.append(" (").append(message).append(")");
  }
  return text;
}

}  // namespace configapi::tool
