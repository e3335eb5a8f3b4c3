// Sections, keys, values and mail addresses on their way to the directory. The
// first byte chooses a call, its texts are the lines behind it. Whatever they
// hold, the requests that reach the wire have the shape they always have, and
// the texts as they came in.

#include <configapi/config.h>
#include <configapi/rfc822.h>
#include <ldap.h>

#include <cstring>
#include <vector>

#include "fuzz/ldap_peer.h"
#include "fuzz/target.h"
#include "src/ldap/escape.h"

namespace {

using fuzz::require;
namespace ber = fuzz::ber;

// Whether a directory reads it as `count` RDNs of one value each, of which the
// first has this type and value.
bool is_dn(const std::string& dn, std::size_t count, std::string_view type,
           std::string_view value) {
  LDAPDN parts = nullptr;
  if (ldap_str2dn(dn.c_str(), &parts, LDAP_DN_FORMAT_LDAPV3) != LDAP_SUCCESS) {
    return false;
  }
  std::size_t found = 0;
  bool single = true;
  for (; parts != nullptr && parts[found] != nullptr; ++found) {
    single = single && parts[found][1] == nullptr;
  }
  const auto equals = [](const berval& text, std::string_view wanted) {
    return std::string_view(text.bv_val, text.bv_len) == wanted;
  };
  const bool same = found == count && single &&
                    equals(parts[0][0]->la_attr, type) &&
                    equals(parts[0][0]->la_value, value);
  ldap_dnfree(parts);
  return same;
}

// Takes the next request's operation, or nothing when there is none.
std::string_view take_operation(char tag, std::string_view* heard) {
  if (heard->empty()) {
    return {};
  }
  std::string_view message = ber::take(ber::kSequence, heard);
  ber::take(ber::kInteger, &message);
  return ber::take(tag, &message);
}

struct Search {
  std::string base;
  std::string_view filter;
};

Search take_search(std::string_view* heard) {
  constexpr int kNumbers = 4;  // scope, aliases, and two limits
  std::string_view rest = take_operation(ber::kSearch, heard);
  const std::string_view base = ber::take(ber::kText, &rest);
  for (int i = 0; i < kNumbers; ++i) {
    ber::take(i < 2 ? ber::kEnum : ber::kInteger, &rest);
  }
  ber::take(1, &rest);  // whether types only are wanted
  const std::string_view all = rest;
  ber::take(rest.front(), &rest);
  return {std::string(base), all.substr(0, all.size() - rest.size())};
}

void require_equality(std::string_view* filter, std::string_view type,
                      std::string_view value) {
  std::string_view assertion = ber::take(ber::kEquality, filter);
  require(ber::take(ber::kText, &assertion) == type);
  require(ber::take(ber::kText, &assertion) == value);
  require(assertion.empty());
}

// The attribute with the value, in a list of them.
void require_value(std::string_view* list, std::string_view type,
                   std::string_view value) {
  std::string_view attribute = ber::take(ber::kSequence, list);
  require(ber::take(ber::kText, &attribute) == type);
  std::string_view values = ber::take(ber::kSet, &attribute);
  require(ber::take(ber::kText, &values) == value);
  require(values.empty() && attribute.empty());
}

void require_modification(std::string_view* list, std::string_view type,
                          std::string_view value) {
  std::string_view change = ber::take(ber::kSequence, list);
  ber::take(ber::kEnum, &change);
  require_value(&change, type, value);
}

struct Texts {
  std::unique_ptr<char[]> section;
  std::unique_ptr<char[]> key;
  std::unique_ptr<char[]> value;

  [[nodiscard]] bool is_dn_of_section(const std::string& dn) const {
    return is_dn(dn, 1, "cn", section.get());
  }
};

// Each call, and what it may have sent.

void read_profile(cConfig* client, const fuzz::Peer& peer, const Texts& texts) {
  peer.say(ber::result(1, ber::kSearchDone));
  int rc = -1;
  require(client->ldapGetProfileString(texts.section.get(), texts.key.get(),
                                       &rc) == nullptr);
  require(rc == 1);
  const std::string bytes = peer.heard();
  std::string_view heard = bytes;
  if (heard.empty()) {
    return;  // such a key cannot be
  }
  const Search search = take_search(&heard);
  require(texts.is_dn_of_section(search.base));
  std::string_view filter = search.filter;
  std::string_view parts = ber::take(ber::kAnd, &filter);
  require_equality(&parts, "cn", texts.section.get());
  require(ber::take(ber::kPresent, &parts) == texts.key.get());
  require_equality(&parts, "objectclass", "qxconfig");
  require(parts.empty() && filter.empty() && heard.empty());
}

void read_section(cConfig* client, const fuzz::Peer& peer, const Texts& texts) {
  peer.say(ber::result(1, ber::kSearchDone));
  require(client->ldapGetProfileString(texts.section.get(), texts.key.get()) ==
          nullptr);
  const std::string bytes = peer.heard();
  std::string_view heard = bytes;
  if (heard.empty()) {
    require(std::strlen(texts.section.get()) > 1020);
    return;
  }
  Search search = take_search(&heard);
  require(texts.is_dn_of_section(search.base));
  require_equality(&search.filter, "objectclass", "qxconfig");
  require(search.filter.empty() && heard.empty());
}

void read_setting(cConfig* client, const fuzz::Peer& peer, const Texts& texts) {
  peer.say(ber::result(1, ber::kSearchDone));
  int status = -1;
  client->ldapGetConfigString(texts.section.get(), texts.key.get(), nullptr,
                              nullptr, &status);
  require(status == 1);
  const std::string bytes = peer.heard();
  std::string_view heard = bytes;
  if (heard.empty()) {
    require(std::strlen(texts.section.get()) > 94);
    return;
  }
  Search search = take_search(&heard);
  require_equality(&search.filter, "cn", texts.section.get());
  require(search.filter.empty() && heard.empty());
}

void write_setting(cConfig* client, const fuzz::Peer& peer,
                   const Texts& texts) {
  peer.say(ber::result(1, ber::kModified, LDAP_NO_SUCH_OBJECT) +
           ber::result(2, ber::kAdded));
  client->ldapWriteConfigString(texts.section.get(), texts.key.get(),
                                texts.value.get());
  const std::string bytes = peer.heard();
  std::string_view heard = bytes;
  if (heard.empty()) {
    return;  // refused
  }
  for (const char tag : {ber::kModify, ber::kAdd}) {
    std::string_view rest = take_operation(tag, &heard);
    require(texts.is_dn_of_section(std::string(ber::take(ber::kText, &rest))));
    std::string_view list = ber::take(ber::kSequence, &rest);
    const auto require_next =
        tag == ber::kModify ? require_modification : require_value;
    require_next(&list, "objectclass", "qxconfig");
    require_next(&list, texts.key.get(), texts.value.get());
    require(list.empty());
  }
  require(heard.empty());
}

void write_profile(cConfig* client, const fuzz::Peer& peer,
                   const Texts& texts) {
  peer.say(ber::result(1, ber::kSearchDone) + ber::result(2, ber::kModified));
  const int code = client->ldapWriteProfileString(
      texts.section.get(), texts.key.get(), texts.value.get());
  const std::string bytes = peer.heard();
  std::string_view heard = bytes;
  require((code == 0) == !heard.empty());
  if (heard.empty()) {
    return;  // refused
  }
  Search search = take_search(&heard);
  require_equality(&search.filter, "cn", texts.section.get());
  std::string_view rest = take_operation(ber::kModify, &heard);
  require(texts.is_dn_of_section(std::string(ber::take(ber::kText, &rest))));
  std::string_view list = ber::take(ber::kSequence, &rest);
  require_modification(&list, texts.key.get(), texts.value.get());
  require_modification(&list, "ConfigSerial", "0");
  require(list.empty() && heard.empty());
}

// Names of mail addresses: the suffix has the domain's components, and an
// address that is escaped in front of it stays one value.
void name_address(const char* address) {
  ldapClient client;
  const auto text = fuzz::exact_copy(address);
  char* const suffix = client.GetSuffix(text.get());
  char* const cn_name = client.Mail2DN(text.get());
  const char* const mail_name = client.CreateDNFromMail(text.get());
  require(std::strcmp(text.get(), address) == 0);
  if (suffix == nullptr) {
    require(cn_name == nullptr && mail_name == nullptr);
    return;
  }
  const std::string behind = std::string(",").append(suffix);
  require(cn_name == nullptr || "cn=" + (address + behind) == cn_name);
  require(mail_name == nullptr || "mail=" + (address + behind) == mail_name);
  std::string_view first(suffix);
  const auto count =
      static_cast<std::size_t>(std::ranges::count(first, ',')) + 1;
  first = first.substr(3, first.find(',') - 3);
  require(is_dn(suffix, count, "dc", first));
  require(is_dn("mail=" + configapi::escape_dn_value(address) + behind,
                count + 1, "mail", address));
  client.free(suffix);
  client.free(cn_name);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data,
                                      std::size_t size) {
  using Call = void (*)(cConfig*, const fuzz::Peer&, const Texts&);
  constexpr std::array<Call, 5> kCalls = {
      read_profile, read_section, read_setting, write_setting, write_profile};
  std::string_view rest = fuzz::view(data, size);
  const unsigned chosen = size == 0 ? 0 : data[0] % (kCalls.size() + 1);
  rest.remove_prefix(std::min<std::size_t>(1, size));
  if (chosen == kCalls.size()) {
    name_address(fuzz::exact_copy(rest).get());
    return 0;
  }
  Texts texts;
  texts.section = fuzz::take_line(&rest);
  texts.key = fuzz::take_line(&rest);
  texts.value = fuzz::exact_copy(rest);
  cConfig client;
  const fuzz::Peer peer(&client);
  kCalls[chosen](&client, peer, texts);
  client.ldapClientUnbind();
  return 0;
}
