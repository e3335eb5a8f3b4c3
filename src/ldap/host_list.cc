#include "ldap/host_list.h"

#include <algorithm>
#include <charconv>

namespace configapi {
namespace {

// Whether what stands behind the last ':' is a port, or nothing stands there.
bool is_port(std::string_view text) {
  int port = 0;
  const auto [end, error] =
      std::from_chars(text.data(), text.data() + text.size(), port);
  return error == std::errc() && end == text.data() + text.size() &&
         port >= 0 && port <= kMaxPort;
}

}  // namespace

std::vector<std::string> host_words(std::string_view text) {
  constexpr std::string_view kBlanks = " \t";
  std::vector<std::string> found;
  while (true) {
    text.remove_prefix(std::min(text.find_first_not_of(kBlanks), text.size()));
    if (text.empty()) {
      return found;
    }
    const std::string_view word = text.substr(0, text.find_first_of(kBlanks));
    found.emplace_back(word);
    text.remove_prefix(word.size());
  }
}

std::string uri_of(const std::string& host, int port) {
  // A name or an address has nothing in it that would mean more there.
  constexpr std::string_view kMeaning = "/?#%,";
  const bool is_uri = host.find("://") != std::string::npos;
  if (host.find_first_of(is_uri ? "," : kMeaning) != std::string::npos) {
    return {};
  }
  if (is_uri) {
    return host;
  }
  const auto colons = std::ranges::count(host, ':');
  // The LDAP library would take this machine for it.
  if (host.starts_with("[]") || (colons == 1 && host.front() == ':')) {
    return {};
  }
  if (colons > 1 && host.front() != '[') {  // an IPv6 address (RFC 4291)
    return "ldap://[" + host + "]:" + std::to_string(port);
  }
  const std::size_t colon = host.rfind(':');
  const std::size_t bracket = host.rfind(']');
  if (colon == std::string::npos ||
      (bracket != std::string::npos && colon < bracket)) {
    return "ldap://" + host + ":" + std::to_string(port);
  }
  return is_port(std::string_view(host).substr(colon + 1)) ? "ldap://" + host
                                                           : "";
}

}  // namespace configapi
