// The server takes what is asked of it, and counts: what is not sent changes
// nothing there.

#include <configapi/config.h>
#include <gtest/gtest.h>

#include <string>

#include "base/heap_text.h"
#include "support/client_test.h"
#include "support/stub_server.h"
#include "sweep/rows.h"

namespace test {
namespace {

using configapi::HeapText;

// Longer than what a text of the standard library holds in itself.
const std::string kName(20, 'n');

std::string answer(int id, char asked) {
  constexpr char kSearch = 0x63;
  constexpr char kCompare = 0x6e;
  constexpr int kCompareTrue = 6;
  if (asked == kSearch) {
    return ldap_entry(id, "cn=" + kName, "HelpFile", "x");
  }
  return ldap_message(id, static_cast<char>(asked + 1),
                      ldap_result(asked == kCompare ? kCompareTrue : 0));
}

// A host that is connected and bound.
class Host {
 public:
  explicit Host(StubServer& server) : server_(server) {
    EXPECT_EQ(connect(), 0);
    EXPECT_EQ(client.ldapClientBind(Text("cn=x"), Text("pw")), 0);
    log.take();
    sent_before_ = server_.requests();
    ClearCache();
  }
  ~Host() {
    client.ldapClientUnbind();
    ClearCache();
  }
  Host(const Host&) = delete;
  Host& operator=(const Host&) = delete;
  Host(Host&&) = delete;
  Host& operator=(Host&&) = delete;

  int connect() { return client.ldapClientConnect(address, server_.port()); }
  // "result, requests sent; first line of the log"
  std::string told(int result) {
    return std::to_string(result) + ", " +
           std::to_string(server_.requests() - sent_before_) + first_line(log);
  }

  cConfig client;
  LogCapture log;
  const Text address{"127.0.0.1"};
  const Text dn{"cn=" + kName};
  const Text new_name{kName + "n"};
  const Text section{kName};
  const Text key{"HelpFile"};
  const Text filter{"(HelpFile=x)"};
  AttrRecords values{
      {{0, "objectclass", "qxconfig"}, {0, "sn", "1"}, {0, "SN", "2"}}};

 private:
  StubServer& server_;
  int sent_before_ = 0;
};

StubServer& server() {
  static StubServer one(1, answer);
  return one;
}

// What a call returns, which is a number, and its row.
Row calling(const char* name, int (*call)(Host&),
            std::set<std::string> failures) {
  const auto tell = [call](const Out& out) {
    Host host(server());
    int result = 99;
    out([&] { result = call(host); });
    return host.told(result);
  };
  return {std::string("ldapClient::") + name, tell, std::move(failures)};
}

int search(Host& host) {
  int rc = -1;
  SearchReq* const found =
      host.client.ldapClientSearch(nullptr, 2, 0, host.filter, &rc);
  EXPECT_EQ(found != nullptr, rc == 0);
  host.client.srch_free(found);
  return rc;
}

// What is delivered, and whether it is cached then.
std::string read_setting(const Out& out) {
  Host host(server());
  char value[16] = "kept";
  unsigned long type = 99;
  int result = 99;
  out([&] {
    result = host.client.CONFIGReadData(kName.c_str(), "HelpFile", "directory",
                                        value, sizeof value, &type);
  });
  const std::string told = host.told(result) + " " + value;
  return told + (LookupCache(kName.c_str(), "HelpFile", value, sizeof value,
                             &type) == 0
                     ? " cached"
                     : " -");
}

// The cache is dropped, whatever becomes of the write.
std::string write_setting(const Out& out) {
  Host host(server());
  AddCache("S", "key", "v", 2);
  const Text value("top");
  int result = 99;
  out([&] {
    result = host.client.CONFIGWriteData("Options", "LdapServer", value, 0);
  });
  unsigned long type = 0;
  EXPECT_EQ(LookupCache("S", "key", value, 3, &type), 1);
  return host.told(result);
}

// A server that hangs up behind each second answer, so that the request finds
// its connection lost. Whatever came of that, the next one finds a new one.
Row reconnecting(const char* name, int (*call)(Host&),
                 std::set<std::string> failures) {
  const auto tell = [call](const Out& out) {
    StubServer closing(2, StubServer::Ending::kClose);
    Host host(closing);
    EXPECT_EQ(search(host), 1);
    closing.wait_for_hang_up();
    host.log.take();
    int result = 99;
    out([&] { result = call(host); });
    std::string told = std::to_string(result) + first_line(host.log);
    search(host);
    const LogLines lines = host.log.take();
    EXPECT_EQ(lines.back(), "6 LDAP Client API: ldap_search return nothing");
    return told.substr(0, told.find("ldap://"));
  };
  return {std::string("ldapClient::") + name, tell, std::move(failures)};
}

}  // namespace

std::vector<Row> directory_rows() {
  const std::string error = "; 1 LDAP Client API: ";
  const std::string no_entries = "1, 1" + error + "ldap_search failed";
  const std::string no_value =
      "; 6 LDAP Client API: ldapGetProfileString: no values found";
  const std::string nothing =
      "; 6 LDAP Client API: ldapClientSearch returned nothing";
  const std::string no_modify = error + "ldap_modify operation failed";
  const std::set<std::string> unread = {no_entries, "1, 0" + no_value,
                                        "1, 1" + no_value};
  return {
      calling("ldapClientConnect", [](Host& host) { return host.connect(); },
              {"4, 0" + error + "ldap_open error: errno=12"}),
      calling("ldapClientSearch", search, {no_entries}),
      calling(
          "ldapGetProfileString",
          [](Host& host) {
            const HeapText value(
                host.client.ldapGetProfileString(host.section, host.key));
            return value != nullptr ? 0 : 1;
          },
          unread),
      calling(
          "ldapGetProfileString",
          [](Host& host) {
            int rc = -1;
            const HeapText value(
                host.client.ldapGetProfileString(host.section, host.key, &rc));
            EXPECT_EQ(value != nullptr, rc == 0);
            return rc;
          },
          unread),
      calling("ldapClientAdd",
              [](Host& host) {
                return host.client.ldapClientAdd(host.dn, host.values.list());
              },
              {"-1, 0" + error + "ldap_add operation failed"}),
      calling("ldapClientModify",
              [](Host& host) {
                return host.client.ldapClientModify(host.dn,
                                                    host.values.list());
              },
              {"-1, 0" + no_modify}),
      calling("ldapClientModRDN",
              [](Host& host) {
                return host.client.ldapClientModRDN(host.dn, host.new_name);
              },
              {"-1, 0" + no_modify,
               "-1, 0" + error + "ldap_modrdn CN modification failed"}),
      calling("ldapWriteProfileString",
              [](Host& host) {
                return host.client.ldapWriteProfileString(host.section,
                                                          host.key, host.key);
              },
              {"-1, 0" + error + "ldapWriteProfileString failed",
               "-1, 1" + error + "ldap_search failed", "-1, 1" + no_modify}),
      {"cConfig::CONFIGReadData cConfig::ldapGetConfigString",
       read_setting,
       {"5, 0 kept -", "3, 0" + nothing + " kept -",
        "3, 1" + error + "ldap_search failed kept -", "0, 1 x -"}},
      // Where the modify is not sent an add is, which finds the entry there.
      {"cConfig::CONFIGWriteData cConfig::ldapWriteConfigString",
       write_setting,
       {"0, 0" + no_modify, "0, 1" + no_modify}},
      reconnecting("ldapClientSearch", search,
                   {"1" + error + "ldap_search failed", kSame}),
      reconnecting(
          "ldapClientDelete",
          [](Host& host) { return host.client.ldapClientDelete(host.dn); },
          {"-1" + error + "ldap_delete failed"}),
  };
}

void use_directory(const Out& out) {
  Host host(server());
  const Text type("cn");
  out([&] {
    ldapClient();
    EXPECT_EQ(host.client.ldapClientBind(host.dn, host.key), 0);
    EXPECT_EQ(host.client.ldapClientCompare(host.dn, type, type), 0);
    EXPECT_EQ(host.client.ldapClientDelete(host.dn), 0);
    host.client.srch_free(nullptr);
    host.client.free(nullptr);
    EXPECT_EQ(host.client.CONFIGRefreshCache(), 0);
    host.client.ldapClientUnbind();
  });
}

}  // namespace test
