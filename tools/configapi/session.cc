#include "session.h"

#include <ldap.h>
#include <sys/time.h>

#include <array>
#include <cstring>
#include <string_view>

#include "deadline.h"
#include "host.h"
#include "ldap/host_list.h"

namespace configapi::tool {
namespace {

// Scopes of a search (RFC 4511 section 4.5.1.2).
constexpr int kBaseObject = 0;
constexpr int kSubtree = 2;
constexpr int kNeverDereference = 0;

// What the library asks for in a buffer that takes any directory value.
constexpr std::size_t kValueSize = 512;

std::vector<Entry> copied(const SearchReq* list) {
  std::vector<Entry> entries;
  for (const SearchReq* entry = list; entry->next != nullptr;
       entry = entry->next) {
    Entry& copy = entries.emplace_back();
    copy.dn = entry->dn;
    for (const attrval* value = entry->attrs; value->next != nullptr;
         value = value->next) {
      copy.values.emplace_back(value->name, value->value);
    }
  }
  return entries;
}

// What the library logs when the server answered a bind, and said no.
constexpr std::string_view kBindRefused = "Error on ldap_resul2error";

// What it logs when a search failed, which finding nothing does not.
constexpr std::string_view kSearchFailed = "ldap_search failed";

}  // namespace

// NOLINTNEXTLINE(modernize-pass-by-value): one copy in a whole run
Session::Session(const Connection& connection, const Output& output)
    : connection_(connection), output_(output) {
  // Asking may take the user a while, so it comes before the connection.
  Secret password = bind_password(connection_);
  connect();
  if (!connection_.bind_dn.empty()) {
    bind(&password);
  }
}

Session::~Session() {
  config_.ldapClientUnbind();
  explicit_bzero(config_.bindPassword, sizeof config_.bindPassword);
}

void Session::connect() {
  const Deadline deadline(connection_.seconds, no_answer(connection_), output_);
  // The first of several hosts must not have all of the time.
  if (const auto hosts = host_words(connection_.host).size(); hosts > 1) {
    const timeval part{static_cast<time_t>(connection_.seconds / hosts),
                       static_cast<suseconds_t>(connection_.seconds % hosts *
                                                1000000 / hosts)};
    ldap_set_option(nullptr, LDAP_OPT_NETWORK_TIMEOUT, &part);
  }
  std::string host = connection_.host;
  if (config_.ldapClientConnect(host.data(), connection_.port) != 0) {
    throw unreachable(connection_, "is not reachable");
  }
}

// A bind that fails closes the connection too.
void Session::bind(Secret* password) {
  const Deadline deadline(connection_.seconds, no_answer(connection_), output_);
  std::string dn = connection_.bind_dn;
  if (config_.ldapClientBind(dn.data(), password->data()) != 0) {
    const std::string reason = take_last_error();
    throw reason == kBindRefused
        ? bind_refused(connection_)
        : unreachable(connection_, "gave no answer to the bind: " + reason);
  }
}

Failure Session::late() const {
  const Failure failure = no_answer(connection_);
  return {failure.code(), failure.what() + aside_};
}

std::optional<std::string> Session::read(const Setting& setting) {
  const Deadline deadline(connection_.seconds, late(), output_);
  take_last_error();
  std::array<char, kValueSize> value{};
  unsigned long type = 0;
  const int code =
      config_.CONFIGReadData(setting.section, setting.key->key, "directory",
                             value.data(), value.size(), &type);
  // Code 3 is said of a section without an entry and of a directory that has
  // gone away alike; an entry that lacks the key gives an empty text.
  if (code != 0) {
    require_found_nothing();
  }
  if (code != 0 || value.front() == '\0') {
    return std::nullopt;
  }
  return value.data();
}

std::vector<Entry> Session::entries() {
  const Deadline deadline(connection_.seconds, late(), output_);
  take_last_error();
  const SearchResult found =
      search(nullptr, kSubtree, "(objectclass=qxconfig)");
  if (found != nullptr) {
    return copied(found.get());
  }
  require_found_nothing();
  return {};
}

// REQUIRES: the last error had been taken before the search.
void Session::require_found_nothing() {
  const bool failed = take_last_error() == kSearchFailed;
  if (!answers()) {
    throw unreachable(connection_, "does not answer");
  }
  if (failed) {
    throw Failure(ExitCode::kRefused,
                  directory_name(connection_) + " refused the search" +
                      (connection_.bind_dn.empty()
                           ? without_bind(connection_)
                           : ", or has more entries than it shows at once"));
  }
}

// A search that failed and one that found nothing have the same code. The
// root entry is there in every server (RFC 4512 section 5.1).
bool Session::answers() {
  std::string base;
  return search(base.data(), kBaseObject, "(objectclass=*)") != nullptr;
}

Session::SearchResult Session::search(char* base, int scope,
                                      std::string filter) {
  int code = 0;
  return {config_.ldapClientSearch(base, scope, kNeverDereference,
                                   filter.data(), &code),
          {&config_}};
}

std::string read_table(const Setting& setting) {
  cConfig config;
  std::array<char, kValueSize> value{};
  unsigned long type = 0;
  config.CONFIGReadData(setting.section, setting.key->key, nullptr,
                        value.data(), value.size(), &type);
  return value.data();
}

Failure absent(std::string text, const Connection& connection) {
  if (connection.bind_dn.empty()) {
    text += ", or not shown to a session without a bind (-D, -y)";
  }
  return {ExitCode::kNo, text};
}

}  // namespace configapi::tool
