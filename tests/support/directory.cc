#include "support/directory.h"

#include <ldap.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <memory>
#include <stdexcept>
#include <string_view>
#include <vector>

#include "support/temp_folder.h"

namespace test {
namespace {

using Variables = std::map<std::string, std::string, std::less<>>;

// Lines "export NAME=VALUE". The values that scripts/directory prints need no
// quotes: its own folder and names are all there is in them.
Variables read_exports(const std::string& file) {
  constexpr std::string_view kExport = "export ";
  std::ifstream in(file);
  Variables variables;
  for (std::string line; std::getline(in, line);) {
    const auto equals = line.find('=');
    if (!line.starts_with(kExport) || equals == std::string::npos) {
      throw std::runtime_error(file + ": not all lines are exports");
    }
    variables[line.substr(kExport.size(), equals - kExport.size())] =
        line.substr(equals + 1);
  }
  return variables;
}

struct Unbind {
  void operator()(LDAP* session) const {
    ldap_unbind_ext(session, nullptr, nullptr);
  }
};
using Session = std::unique_ptr<LDAP, Unbind>;

struct FreeMessage {
  void operator()(LDAPMessage* message) const { ldap_msgfree(message); }
};
using Message = std::unique_ptr<LDAPMessage, FreeMessage>;

void check(int code, const std::string& what) {
  if (code != LDAP_SUCCESS) {
    throw std::runtime_error(what + ": " + ldap_err2string(code));
  }
}

Session bound_session(const Directory& directory) {
  const std::string url =
      "ldap://" + directory.host() + ":" + std::to_string(directory.port());
  LDAP* handle = nullptr;
  check(ldap_initialize(&handle, url.c_str()), url);
  Session session(handle);
  const int version = LDAP_VERSION3;
  ldap_set_option(handle, LDAP_OPT_PROTOCOL_VERSION, &version);
  std::string password = directory.password();
  berval credentials{password.size(), password.data()};
  check(ldap_sasl_bind_s(handle, directory.bind_dn().c_str(), LDAP_SASL_SIMPLE,
                         &credentials, nullptr, nullptr, nullptr),
        "bind as " + directory.bind_dn());
  // A referral is an entry here, to be found and removed like any other.
  std::string manage = LDAP_CONTROL_MANAGEDSAIT;
  LDAPControl control{manage.data(), {}, 1};
  std::array<LDAPControl*, 2> controls{&control, nullptr};
  ldap_set_option(handle, LDAP_OPT_SERVER_CONTROLS, controls.data());
  return session;
}

// What the server shows at once; it may limit a list's length.
std::vector<std::string> some_names(LDAP* session) {
  std::string no_attributes = LDAP_NO_ATTRS;
  std::vector<char*> attributes{no_attributes.data(), nullptr};
  LDAPMessage* list = nullptr;
  const int code = ldap_search_ext_s(session, "", LDAP_SCOPE_SUBTREE,
                                     "(objectClass=*)", attributes.data(), 0,
                                     nullptr, nullptr, nullptr, 0, &list);
  const Message owner(list);
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
  return names;
}

}  // namespace

std::optional<Directory> Directory::find() {
  const char* file = std::getenv("CONFIGAPI_TEST_DIRECTORY");
  if (file == nullptr || !std::filesystem::exists(file)) {
    return std::nullopt;
  }
  Variables variables = read_exports(file);
  Directory directory;
  directory.host_ = variables["CONFIGAPI_HOST"];
  directory.port_ = std::stoi(variables["CONFIGAPI_PORT"]);
  directory.bind_dn_ = variables["CONFIGAPI_BINDDN"];
  directory.password_ = read_file(variables["CONFIGAPI_PASSFILE"]);
  return directory;
}

void Directory::clear() const {
  const Session session = bound_session(*this);
  for (auto names = some_names(session.get()); !names.empty();
       names = some_names(session.get())) {
    // An entry below another one has the longer name, and goes first.
    std::ranges::sort(names, std::ranges::greater{}, &std::string::size);
    for (const auto& name : names) {
      check(ldap_delete_ext_s(session.get(), name.c_str(), nullptr, nullptr),
            "delete " + name);
    }
  }
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
