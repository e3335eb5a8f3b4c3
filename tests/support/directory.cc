#include "support/directory.h"

#include <ldap.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <map>
#include <stdexcept>
#include <string_view>
#include <vector>

#include "support/temp_folder.h"

namespace test {
namespace {

void check(int code, const std::string& what) {
  if (code != LDAP_SUCCESS) {
    throw std::runtime_error(what + ": " + ldap_err2string(code));
  }
}

// What the server shows at once; it may limit a list's length.
std::vector<std::string> some_names(LDAP* session) {
  std::string no_attributes = LDAP_NO_ATTRS;
  std::array<char*, 2> attributes{no_attributes.data(), nullptr};
  LDAPMessage* list = nullptr;
  const int code =
      ldap_search_s(session, "", LDAP_SCOPE_SUBTREE, "(objectClass=*)",
                    attributes.data(), 0, &list);
  if (code != LDAP_NO_SUCH_OBJECT && code != LDAP_SIZELIMIT_EXCEEDED) {
    check(code, "search");
  }
  std::vector<std::string> names;
  for (LDAPMessage* entry = ldap_first_entry(session, list); entry != nullptr;
       entry = ldap_next_entry(session, entry)) {
    char* name = ldap_get_dn(session, entry);
    names.emplace_back(name);
    ldap_memfree(name);
  }
  ldap_msgfree(list);
  // An entry below another one has the longer name, and goes first.
  std::ranges::sort(names, std::ranges::greater{}, &std::string::size);
  return names;
}

}  // namespace

std::optional<Directory> Directory::find() {
  const char* file = std::getenv("CONFIGAPI_TEST_DIRECTORY");
  std::ifstream in(file != nullptr ? file : "");
  std::map<std::string, std::string> variables;
  // "export NAME=VALUE"; the values are such that they need no quotes.
  for (std::string word, name, value; in >> word >> std::ws &&
                                      std::getline(in, name, '=') &&
                                      std::getline(in, value);) {
    variables[name] = value;
  }
  if (variables.empty()) {
    return std::nullopt;
  }
  Directory directory;
  directory.host_ = variables.at("CONFIGAPI_HOST");
  directory.port_ = std::stoi(variables.at("CONFIGAPI_PORT"));
  directory.bind_dn_ = variables.at("CONFIGAPI_BINDDN");
  const std::string& password_file = variables.at("CONFIGAPI_PASSFILE");
  directory.password_ = read_file(password_file);
  directory.folder_ = password_file.substr(0, password_file.rfind('/'));
  return directory;
}

void Directory::clear() const {
  LDAP* session = ldap_init(host_.c_str(), port_);
  const int version = LDAP_VERSION3;
  ldap_set_option(session, LDAP_OPT_PROTOCOL_VERSION, &version);
  check(ldap_simple_bind_s(session, bind_dn_.c_str(), password_.c_str()),
        "bind as " + bind_dn_);
  // A referral is an entry here, to be found and removed like any other.
  std::string manage = LDAP_CONTROL_MANAGEDSAIT;
  LDAPControl control{manage.data(), {}, 1};
  std::array<LDAPControl*, 2> controls{&control, nullptr};
  ldap_set_option(session, LDAP_OPT_SERVER_CONTROLS, controls.data());
  for (auto names = some_names(session); !names.empty();
       names = some_names(session)) {
    for (const auto& name : names) {
      check(ldap_delete_s(session, name.c_str()), "delete " + name);
    }
  }
  ldap_unbind(session);
}

void DirectoryTest::SetUp() {
  directory_ = Directory::find();
  if (directory_) {
    directory_->clear();
    return;
  }
  const char* required = std::getenv("CONFIGAPI_REQUIRE_DIRECTORY");
  if (required != nullptr && std::string_view(required) == "1") {
    FAIL() << "no directory server was started";
  }
  GTEST_SKIP() << "skipped: slapd is not installed";
}

}  // namespace test
