#include "access_log.h"

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <sys/time.h>

#include <algorithm>
#include <array>
#include <utility>

#include "nearest.h"

namespace configapi::tool {
namespace {

Failure no_log(const Link& link) {
  return {ExitCode::kRefused, directory_name(link.connection()) +
                                  " shows no log of changes" +
                                  without_bind(link.connection()) +
                                  "; docs/directory.md says how to set one up"};
}

// A CSN is TIME#COUNT#SERVER#MODIFICATION, in fixed widths.
std::string server_of(const std::string& csn) {
  const std::size_t second = csn.find('#', csn.find('#') + 1);
  return second == std::string::npos ? "" : csn.substr(second, 4);
}

// Nothing may come for days; a server that is gone without a word is to be
// noticed all the same.
void watch_connection(LDAP* ld) {
  int fd = -1;
  ldap_get_option(ld, LDAP_OPT_DESC, &fd);
  constexpr std::array<std::pair<int, int>, 3> kProbes = {
      {{TCP_KEEPIDLE, 30}, {TCP_KEEPINTVL, 10}, {TCP_KEEPCNT, 3}}};
  const int on = 1;
  setsockopt(fd, SOL_SOCKET, SO_KEEPALIVE, &on, sizeof on);
  for (const auto& [option, value] : kProbes) {
    setsockopt(fd, IPPROTO_TCP, option, &value, sizeof value);
  }
}

std::vector<char*> pointers(std::vector<std::string>* texts) {
  std::vector<char*> list;
  for (auto& text : *texts) {
    list.push_back(text.data());
  }
  list.push_back(nullptr);
  return list;
}

struct BerFree {
  void operator()(BerElement* element) const { ber_free(element, 1); }
};

// The value of the control (RFC 4533 section 2.2): mode, cookie, reloadHint.
// With no hint a server that cannot go on from the cookie has to say so.
LinkOwner<LDAPControl> sync_control(const LogPosition& from) {
  constexpr ber_int_t kRefreshAndPersist = 3;
  const std::unique_ptr<BerElement, BerFree> value(ber_alloc_t(LBER_USE_DER));
  std::string cookie = from.cookie();
  berval bytes{cookie.size(), cookie.data()};
  berval encoded{};
  LDAPControl* control = nullptr;
  if (value == nullptr ||
      ber_printf(value.get(), "{eOb}", kRefreshAndPersist, &bytes, 0) < 0 ||
      ber_flatten2(value.get(), &encoded, 0) < 0 ||
      ldap_control_create(LDAP_CONTROL_SYNC, 1, &encoded, 1, &control) !=
          LDAP_SUCCESS) {
    throw std::bad_alloc();
  }
  return LinkOwner<LDAPControl>(control);
}

}  // namespace

void LogPosition::advance(const std::string& csn) {
  std::string& last = last_[server_of(csn)];
  last = std::max(last, csn);
}

bool LogPosition::has(const std::string& csn) const {
  const auto last = last_.find(server_of(csn));
  return last != last_.end() && csn <= last->second;
}

std::string LogPosition::cookie() const {
  std::string text = "rid=000";
  for (const auto& [server, csn] : last_) {
    text += (text.find("csn=") == std::string::npos ? ",csn=" : ";") + csn;
  }
  return text;
}

AccessLog::AccessLog(const Link& link) : link_(link) {
  const auto contexts = link.root_values("auditContext");
  if (contexts.empty()) {
    throw no_log(link);
  }
  base_ = contexts.front();
  watch_connection(link.ld());
}

std::vector<Entry> AccessLog::search(
    const std::string& base, int scope, const std::string& filter,
    const std::vector<std::string>& attributes) const {
  auto names = attributes;
  LDAPMessage* answer = nullptr;
  const int code = ldap_search_ext_s(
      link_.ld(), base.c_str(), scope, filter.c_str(), pointers(&names).data(),
      0, nullptr, nullptr, nullptr, LDAP_NO_LIMIT, &answer);
  const LinkOwner<LDAPMessage> result(answer);
  if (code != LDAP_SUCCESS && code != LDAP_NO_SUCH_OBJECT) {
    throw link_.failure("the search" + without_bind(link_.connection()), code);
  }
  return copied_entries(link_.ld(), result.get());
}

std::vector<std::string> AccessLog::values_of_log(
    const std::string& attribute) const {
  std::vector<std::string> values;
  for (const Entry& log :
       search(base_, LDAP_SCOPE_BASE, "(objectClass=*)", {attribute})) {
    for (const auto& [name, value] : log.values) {
      values.push_back(value);
    }
  }
  return values;
}

LogPosition AccessLog::end() const {
  LogPosition position;
  for (const auto& csn : values_of_log("contextCSN")) {
    position.advance(csn);
  }
  return position;
}

void AccessLog::follow(const LogPosition& from) {
  // The number of the newest record that the log has forgotten, or of its
  // first.
  for (const auto& csn : values_of_log("minCSN")) {
    if (!from.is_empty() && !from.has(csn)) {
      throw LogGap();
    }
  }
  const auto control = sync_control(from);
  std::array<LDAPControl*, 2> controls = {control.get(), nullptr};
  std::vector<std::string> names = {"objectClass", "entryCSN", "reqStart",
                                    "reqAuthzID",  "reqDN",    "reqNewRDN",
                                    "reqMod",      "reqOld",   "reqEntryUUID"};
  const int code = ldap_search_ext(
      link_.ld(), base_.c_str(), LDAP_SCOPE_ONELEVEL,
      "(&(objectClass=auditWriteObject)(reqResult=0))", pointers(&names).data(),
      0, controls.data(), nullptr, nullptr, LDAP_NO_LIMIT, &message_id_);
  if (code != LDAP_SUCCESS) {
    throw link_.failure("to show its log", code);
  }
  any_records_ = false;
}

bool AccessLog::poll(std::chrono::milliseconds wait,
                     std::vector<LogRecord>* records) {
  constexpr int kThousand = 1000;
  for (;; wait = {}) {  // at first what comes, then what is there
    timeval limit{
        static_cast<time_t>(wait.count() / kThousand),
        static_cast<suseconds_t>(wait.count() % kThousand) * kThousand};
    LDAPMessage* message = nullptr;
    const int type =
        ldap_result(link_.ld(), message_id_, LDAP_MSG_ONE, &limit, &message);
    const LinkOwner<LDAPMessage> owner(message);
    if (type == 0) {
      return true;
    }
    if (type < 0) {
      throw unreachable(link_.connection(), "is gone");
    }
    if (type == LDAP_RES_SEARCH_RESULT) {
      end_with(message, any_records_);
      return false;
    }
    if (type != LDAP_RES_SEARCH_ENTRY) {
      continue;  // how far the server has come
    }
    // Of a record that the log has forgotten there is but the name.
    for (const Entry& entry : copied_entries(link_.ld(), message)) {
      if (auto record = record_of(entry)) {
        records->push_back(std::move(*record));
        any_records_ = true;
      }
    }
  }
}

// Returns when the server has only had enough for once.
void AccessLog::end_with(LDAPMessage* message, bool any_records) const {
  int code = LDAP_OTHER;
  ldap_parse_result(link_.ld(), message, &code, nullptr, nullptr, nullptr,
                    nullptr, 0);
  switch (code) {
    case LDAP_SYNC_REFRESH_REQUIRED:
    case LDAP_UNWILLING_TO_PERFORM:  // the position is newer than the server
      throw LogGap();
    case LDAP_SUCCESS:  // it shuts down
    case LDAP_BUSY:
    case LDAP_UNAVAILABLE:
      throw unreachable(link_.connection(), "is gone");
    case LDAP_SIZELIMIT_EXCEEDED:
      if (any_records) {  // so the next answer is another one
        return;
      }
      throw link_.failure("to show its log", code);
    case LDAP_NO_SUCH_OBJECT:  // it may well be there
    case LDAP_INSUFFICIENT_ACCESS:
      throw no_log(link_);
    default:
      throw link_.failure("to show its log", code);
  }
}

PresentEntries AccessLog::present(const std::set<std::string>& uuids) const {
  std::string filter;
  for (const auto& uuid : uuids) {
    filter += "(entryUUID=" + uuid + ")";
  }
  PresentEntries entries;
  for (const Entry& entry : search("", LDAP_SCOPE_SUBTREE, "(|" + filter + ")",
                                   {"entryUUID", "entryCSN"})) {
    std::string uuid;
    std::string csn;
    for (const auto& [name, value] : entry.values) {
      (same_name(name, "entryUUID") ? uuid : csn) = value;
    }
    entries[uuid] = csn;
  }
  return entries;
}

}  // namespace configapi::tool
