// Settings read from and written to a real directory.

#include "support/directory.h"

#include <configapi/config.h>
#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "support/log_capture.h"

namespace {

using test::LogLines;

const LogLines kNothingFound = {
    "6 LDAP Client API: ldap_search return nothing",
    "6 LDAP Client API: ldapClientSearch returned nothing"};

struct Reading {
  int result;
  std::string value;
  unsigned long type;
  bool operator==(const Reading&) const = default;
};

std::ostream& operator<<(std::ostream& out, const Reading& reading) {
  return out << reading.result << " '" << reading.value << "' type "
             << reading.type;
}

constexpr unsigned long kUntouched = 99;

class Settings : public test::DirectoryTest {
 protected:
  void SetUp() override {
    DirectoryTest::SetUp();
    if (IsSkipped() || HasFailure()) {
      return;
    }
    ClearCache();
    std::string host = directory().host();
    std::string dn = directory().bind_dn();
    std::string password = directory().password();
    ASSERT_EQ(config_.ldapClientConnect(host.data(), directory().port()), 0);
    ASSERT_EQ(config_.ldapClientBind(dn.data(), password.data()), 0);
  }
  void TearDown() override {
    config_.ldapClientUnbind();
    ClearCache();
  }

  Reading read(const char* section, const char* key, unsigned long size = 600,
               const char* source = "directory") {
    std::vector<char> value(size + 1, '#');
    unsigned long type = kUntouched;
    const int result =
        config_.CONFIGReadData(section, key, source, value.data(), size, &type);
    EXPECT_EQ(value[size], '#') << "written past the buffer";
    value[size] = '\0';
    return {result, value.data(), type};
  }

  // Adds an entry with these attributes behind the naming ones.
  void add(const std::string& section,
           std::vector<std::pair<std::string, std::string>> attributes) {
    attributes.insert(attributes.begin(),
                      {{"objectclass", "qxconfig"}, {"cn", section}});
    std::vector<attrval> list(attributes.size() + 1);
    for (std::size_t i = 0; i < attributes.size(); ++i) {
      attributes[i].first.copy(list[i].name, sizeof list[i].name - 1);
      attributes[i].second.copy(list[i].value, sizeof list[i].value - 1);
      list[i].next = &list[i + 1];
    }
    std::string dn = "cn=" + section;
    ASSERT_EQ(config_.ldapClientAdd(dn.data(), list.data()), 0);
  }

  void write(const char* section, const char* key, std::string value) {
    config_.ldapWriteConfigString(section, key, value.data());
  }

  cConfig config_;
  test::LogCapture log_;
};

TEST_F(Settings, AreReadFromTheDirectoryThenFromTheCache) {
  add("Gateway", {{"LogDirectory", "/var/log/gateway"}});
  EXPECT_EQ(read("gateway", "LogDirectory"),
            (Reading{0, "/var/log/gateway", TYPE_BOOLEAN_YN}));

  // The directory changes; the cache answers, with type 0, table read or not.
  write("Gateway", "LogDirectory", "/new");
  EXPECT_EQ(read("Gateway", "LogDirectory"),
            (Reading{0, "/var/log/gateway", 0}));
  EXPECT_EQ(read("Gateway", "LogDirectory", 600, nullptr),
            (Reading{0, "/var/log/gateway", 0}));

  EXPECT_EQ(config_.CONFIGRefreshCache(), 0);
  EXPECT_EQ(read("Gateway", "LogDirectory"),
            (Reading{0, "/new", TYPE_BOOLEAN_YN}));
  EXPECT_EQ(log_.take(), LogLines{});
}

TEST_F(Settings, OfTheTableAreNotCached) {
  EXPECT_EQ(read("Options", "LdapServer", 600, nullptr),
            (Reading{0, "bottom,top", TYPE_STRING}));
  EXPECT_EQ(read("Options", "LdapServer", 7, nullptr),
            (Reading{0, "bottom", TYPE_STRING}));
  EXPECT_EQ(read("Gateway", "LogDirectory", 600, nullptr),
            (Reading{0, "", TYPE_BOOLEAN_YN}));
  EXPECT_EQ(read("Gateway", "Nothing", 4, nullptr),
            (Reading{3, "####", kUntouched}));
  char value[8];
  unsigned long type = 0;
  EXPECT_EQ(LookupCache("Options", "LdapServer", value, sizeof value, &type),
            1);
}

TEST_F(Settings, ThatAreMissingGiveThreeOrTheEmptyText) {
  add("Gateway", {{"LogDirectory", "x"}});
  const struct {
    const char* what;
    const char* section;
    const char* key;
    Reading expected;
    LogLines log;
  } rows[] = {
      {"no entry",
       "Options",
       "LdapServer",
       {3, "####", TYPE_STRING},
       kNothingFound},
      {"entry without the key",
       "Gateway",
       "QueueDirectory",
       {0, "", TYPE_BOOLEAN_YN},
       {}},
      {"a star is no wildcard",
       "*",
       "LogDirectory",
       {3, "####", kUntouched},
       kNothingFound},
      {"nor does a filter get in",
       "Gateway)(cn=*",
       "LogDirectory",
       {3, "####", kUntouched},
       kNothingFound},
      {"a section too long for a filter",
       nullptr,
       "LogDirectory",
       {3, "####", kUntouched},
       {"6 LDAP Client API: ldapClientSearch returned nothing"}},
  };
  const std::string too_long(95, 's');
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    const char* section =
        row.section != nullptr ? row.section : too_long.c_str();
    EXPECT_EQ(read(section, row.key, 4), row.expected);
    EXPECT_EQ(log_.take(), row.log);
  }
}

TEST_F(Settings, NeedASession) {
  config_.ldapClientUnbind();
  EXPECT_EQ(read("Gateway", "LogDirectory", 4),
            (Reading{3, "####", TYPE_BOOLEAN_YN}));
  EXPECT_EQ(log_.take(),
            LogLines{"6 LDAP Client API: ldapClientSearch returned nothing"});
}

// A caller's small buffer cuts what it gets, not what everybody gets.
TEST_F(Settings, AreCutToTheBufferButCachedWhole) {
  const std::string longest(511, 'v');
  add("Gateway", {{"LogDirectory", longest}});
  for (const unsigned long size : {1UL, 2UL, 511UL, 512UL, 600UL}) {
    const std::string cut = longest.substr(0, size - 1);
    ClearCache();
    EXPECT_EQ(read("Gateway", "LogDirectory", size),
              (Reading{0, cut, TYPE_BOOLEAN_YN}));
    EXPECT_EQ(read("Gateway", "LogDirectory", size), (Reading{0, cut, 0}));
    EXPECT_EQ(read("Gateway", "LogDirectory"), (Reading{0, longest, 0}));
  }
  // Without room nothing is written, not even a terminator.
  EXPECT_EQ(read("Gateway", "LogDirectory", 0), (Reading{0, "", 0}));
}

TEST_F(Settings, AnEmptyCachedTextIsNoValue) {
  AddCache("Gateway", "LogDirectory", "", 7);
  EXPECT_EQ(read("Gateway", "LogDirectory", 4), (Reading{3, "####", 7}));
}

TEST_F(Settings, ManyValuesGiveTheLast) {
  add("Gateway", {{"LogDirectory", "one"}});
  attrval list[2] = {{0, "LogDirectory", "two", &list[1]}, {}};
  std::string dn = "cn=Gateway";
  ASSERT_EQ(config_.ldapClientModify(dn.data(), list), 0);
  EXPECT_EQ(read("Gateway", "LogDirectory").value, "two");
}

TEST_F(Settings, AreWrittenIntoAnEntryOrCreateIt) {
  write("MsgStore", "HomeDir", "/first");
  EXPECT_EQ(log_.take(),
            (LogLines{"1 LDAP Client API: ldap_modify operation failed",
                      "1 CONFIG API: ldapClientModify failed"}));
  EXPECT_EQ(read("MsgStore", "HomeDir").value, "/first");

  write("msgstore", "homedir", "/second");
  EXPECT_EQ(log_.take(), LogLines{});
  ClearCache();
  EXPECT_EQ(read("MsgStore", "HomeDir").value, "/second");

  // A section's name is a name, whatever it looks like in a DN. "Config" is
  // one that slapd would take for its own.
  for (const char* odd :
       {"Config", "a,b=c+d", " lead", "#7", "q\"s\\e", "M\xC3\xBCnchen"}) {
    SCOPED_TRACE(odd);
    write(odd, "HomeDir", "x");
    EXPECT_EQ(read(odd, "HomeDir"), (Reading{0, "x", kUntouched}));
  }
}

TEST_F(Settings, ThatDoNotFitAreRefusedBeforeAnythingIsSent) {
  add("Gateway", {{"LogDirectory", "kept"}});
  const LogLines refused = {"1 CONFIG API: ldapWriteConfigString failed"};
  write("Gateway", "LogDirectory", std::string(512, 'v'));
  EXPECT_EQ(log_.take(), refused);
  write("Gateway", std::string(64, 'k').c_str(), "v");
  EXPECT_EQ(log_.take(), refused);
  EXPECT_EQ(read("Gateway", "LogDirectory").value, "kept");

  // The server's refusal is logged step by step.
  write("Gateway", "NoSuchAttribute", "v");
  EXPECT_EQ(log_.take(),
            (LogLines{"1 LDAP Client API: ldap_modify operation failed",
                      "1 CONFIG API: ldapClientModify failed",
                      "1 LDAP Client API: ldap_add operation failed",
                      "1 CONFIG API: ldapWriteConfigString failed"}));
}

}  // namespace
