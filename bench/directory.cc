// A setting that is read from the directory, against the same search through
// the LDAP library alone. Needs a directory: CONFIGAPI_HOST and the other
// variables that `scripts/directory env` prints.

#include <configapi/config.h>
#include <ldap.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>

#include "harness.h"

namespace {

std::string variable(const char* name) {
  const char* text = std::getenv(name);
  return text != nullptr ? text : "";
}

std::string password() {
  std::ifstream file(variable("CONFIGAPI_PASSFILE"));
  std::string text;
  std::getline(file, text);
  return text;
}

cConfig& config() {
  static cConfig* const connected = [] {
    auto* one = new cConfig;
    std::string host = variable("CONFIGAPI_HOST");
    std::string dn = variable("CONFIGAPI_BINDDN");
    std::string secret = password();
    const int port = std::stoi(variable("CONFIGAPI_PORT"));
    if (one->ldapClientConnect(host.data(), port) != 0 ||
        one->ldapClientBind(dn.data(), secret.data()) != 0) {
      std::fprintf(stderr, "bench_directory: no directory\n");
      std::exit(1);
    }
    return one;
  }();
  return *connected;
}

void read_setting(std::size_t units) {
  char value[512];
  unsigned long type = 0;
  for (std::size_t i = 0; i < units; ++i) {
    config().CONFIGRefreshCache();
    if (config().CONFIGReadData("Bench", "LogDirectory", "directory", value,
                                sizeof value, &type) != 0) {
      std::exit(1);
    }
    bench::keep(value);
  }
}

// The same request and a copy of the value, and nothing else. The cache is
// emptied here too, for that is no part of a read.
void raw_search(std::size_t units) {
  char filter[] = "(cn=Bench)";
  for (std::size_t i = 0; i < units; ++i) {
    config().CONFIGRefreshCache();
    LDAPMessage* result = nullptr;
    if (ldap_search_ext_s(config().ld, nullptr, LDAP_SCOPE_SUBTREE, filter,
                          nullptr, 0, nullptr, nullptr, nullptr, LDAP_NO_LIMIT,
                          &result) != LDAP_SUCCESS) {
      std::exit(1);
    }
    berval** values = ldap_get_values_len(
        config().ld, ldap_first_entry(config().ld, result), "LogDirectory");
    const std::string value(values[0]->bv_val, values[0]->bv_len);
    bench::keep(value.data());
    ldap_value_free_len(values);
    ldap_msgfree(result);
  }
}

}  // namespace

int main(int argc, char** argv) {
  if (variable("CONFIGAPI_HOST").empty()) {
    (void)std::fputs("bench_directory: CONFIGAPI_HOST is not set\n", stderr);
    return 1;
  }
  char section[] = "Bench";
  char key[] = "LogDirectory";
  char value[] = "/var/log/gateway";
  if (config().ldapWriteProfileString(section, key, value) != 0) {
    return 1;
  }
  constexpr double kOfRawRate = 0.95;
  bench::Row row{"directory_read", "call", read_setting};
  row.peers = {{"libldap", raw_search}};
  row.bound = {"libldap", 1 / kOfRawRate};
  return bench::run(argc, argv, {row});
}
