// Settings read from and written to a real directory.

#include <configapi/config.h>

#include <string>
#include <vector>

#include "support/client_test.h"

namespace {

using test::Text;

const std::string kNothingReturned = "6 ldapClientSearch returned nothing";
const std::string kNothingFound =
    "6 ldap_search return nothing; " + kNothingReturned;
constexpr const char* kUntouched = "3 '####' 99";

class Settings : public test::ClientTest {
 protected:
  void SetUp() override {
    ClearCache();
    ClientTest::SetUp();
  }
  void TearDown() override {
    ClientTest::TearDown();
    ClearCache();
  }

  // "result 'value' type"
  std::string read(const char* section, const char* key,
                   unsigned long size = 600, const char* source = "directory") {
    std::vector<char> value(size + 1, '#');
    unsigned long type = 99;
    const int result =
        client.CONFIGReadData(section, key, source, value.data(), size, &type);
    EXPECT_EQ(value[size], '#') << "written past the buffer";
    value[size] = '\0';
    return std::to_string(result) + " '" + value.data() + "' " +
           std::to_string(type);
  }

  void write(const char* section, const char* key, const std::string& value) {
    client.ldapWriteConfigString(section, key, Text(value));
  }
};

TEST_F(Settings, AreReadFromTheDirectoryThenFromTheCache) {
  add("cn=Gateway", {{0, "LogDirectory", "/old"}});
  EXPECT_EQ(read("gateway", "LogDirectory"), "0 '/old' 2");

  // The directory changes; the cache answers, with type 0, table read or not.
  write("Gateway", "LogDirectory", "/new");
  EXPECT_EQ(read("Gateway", "LogDirectory"), "0 '/old' 0");
  EXPECT_EQ(read("Gateway", "LogDirectory", 600, nullptr), "0 '/old' 0");

  EXPECT_EQ(client.CONFIGRefreshCache(), 0);
  EXPECT_EQ(read("Gateway", "LogDirectory"), "0 '/new' 2");
  EXPECT_EQ(logged(), "");

  modify("cn=Gateway", {{0, "LogDirectory", "/two"}});
  ClearCache();
  EXPECT_EQ(read("Gateway", "LogDirectory"), "0 '/two' 2") << "the last value";
}

TEST_F(Settings, OfTheTableAreNotCached) {
  for (int round = 0; round < 2; ++round) {
    EXPECT_EQ(read("Options", "LdapServer", 600, nullptr), "0 'bottom,top' 16");
    EXPECT_EQ(read("Options", "LdapServer", 7, nullptr), "0 'bottom' 16");
    EXPECT_EQ(read("Gateway", "LogDirectory", 600, nullptr), "0 '' 2");
    EXPECT_EQ(read("Gateway", "Nothing", 4, nullptr), kUntouched);
  }
}

TEST_F(Settings, ThatAreMissingGiveThreeOrTheEmptyText) {
  add("cn=Gateway", {{0, "LogDirectory", "x"}});
  const struct {
    const char* what;
    std::string section;
    const char* key;
    const char* reading;
    std::string log;
  } rows[] = {
      {"no entry", "Options", "LdapServer", "3 '####' 16", kNothingFound},
      {"no such key", "Gateway", "QueueDirectory", "0 '' 2", ""},
      {"no wildcard", "*", "LogDirectory", kUntouched, kNothingFound},
      {"no filter", "X)(cn=*", "LogDirectory", kUntouched, kNothingFound},
      {"too long for a filter", std::string(95, 's'), "LogDirectory",
       kUntouched, kNothingReturned},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(read(row.section.c_str(), row.key, 4), row.reading) << row.what;
    EXPECT_EQ(logged(), row.log) << row.what;
  }
  AddCache("Gateway", "QueueDirectory", "", 7);
  EXPECT_EQ(read("Gateway", "QueueDirectory", 4), "3 '####' 7")
      << "an empty cached text is no value";
  client.ldapClientUnbind();
  EXPECT_EQ(read("Gateway", "LogDirectory", 4), "3 '####' 2") << "no session";
  EXPECT_EQ(logged(), kNothingReturned);
}

// A caller's small buffer cuts what it gets, not what everybody gets.
TEST_F(Settings, AreCutToTheBufferButCachedWhole) {
  const std::string longest(511, 'v');
  add("cn=Gateway", {{0, "LogDirectory", longest}});
  for (const unsigned long size : {1UL, 2UL, 511UL, 512UL, 600UL}) {
    const std::string cut = "0 '" + longest.substr(0, size - 1) + "' ";
    ClearCache();
    EXPECT_EQ(read("Gateway", "LogDirectory", size), cut + "2");
    EXPECT_EQ(read("Gateway", "LogDirectory", size), cut + "0");
    EXPECT_EQ(read("Gateway", "LogDirectory"), "0 '" + longest + "' 0");
  }
  // Without room nothing is written, not even a terminator.
  EXPECT_EQ(read("Gateway", "LogDirectory", 0), "0 '' 0");
}

TEST_F(Settings, AreWrittenIntoAnEntryOrCreateIt) {
  write("MsgStore", "HomeDir", "/first");
  EXPECT_EQ(logged(),
            "1 ldap_modify operation failed; "
            "1 CONFIG API: ldapClientModify failed");
  EXPECT_EQ(read("MsgStore", "HomeDir"), "0 '/first' 12");

  write("msgstore", "homedir", "/second");
  EXPECT_EQ(logged(), "");
  ClearCache();
  EXPECT_EQ(read("MsgStore", "HomeDir"), "0 '/second' 12");

  // A section's name is a name, whatever it looks like in a DN. "Config" is
  // one that slapd would take for its own.
  for (const char* odd :
       {"Config", "a,b=c+d", " lead", "#7", "q\"s\\e", "M\xC3\xBCnchen"}) {
    write(odd, "HomeDir", "x");
    EXPECT_EQ(read(odd, "HomeDir"), "0 'x' 99") << odd;
  }
}

// Whatever the directory says, the result is 0 and the cache is dropped.
TEST_F(Settings, AreValidatedThenWrittenAndTheCacheDropped) {
  const std::string invalid = "6 CONFIG API: invalid data";
  const std::string not_modified =
      "1 ldap_modify operation failed; "
      "1 CONFIG API: ldapClientModify failed";
  const std::string refused = "1 CONFIG API: ldapWriteConfigString failed";
  const std::string longest(511, 'v');
  const struct {
    const char* section;
    const char* key;
    std::string value;
    int flag;
    int result;
    std::string log;
    std::string stored;
  } rows[] = {
      {"Gateway", "LogDirectory", "yes", 1, 0, "", "3"},
      {"Gateway", "LogDirectory", "maybe", 1, 1, invalid, "3"},
      {"Gateway", "LogDirectory", "maybe", 0, 1, invalid, "3"},
      {"Gateway", "Nothing", "YES", 0, 3, invalid, "3"},
      {"Gateway", "LogDirectory", "yes", 0, 0, not_modified, "0 'yes' 2"},
      {"gateway", "logdirectory", "NO", 2, 0, "", "0 'NO' 2"},
      {"Gateway", "LogDirectory", "", 0, 1, invalid, "0 'NO' 2"},
      {"Options", "TryReverseSeparator", R"("a\"b" <a@b>)", 0, 0, not_modified,
       R"(0 '"a  b" <a@b>' 15)"},
      {"Options", "LdapServer", longest, 0, 0, "", "0 '" + longest + "' 16"},
      {"Options", "LdapServer", longest + "v", 0, 0, refused,
       "0 '" + longest + "' 16"},
      // A number may be empty, but the directory holds no empty value.
      {"Tuning", "DNStimeout", "5", 0, 0, not_modified, "0 '5' 12"},
      {"Tuning", "DNStimeout", "", 0, 0,
       not_modified + "; 1 ldap_add operation failed; " + refused, "0 '5' 12"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.section + ("/" + row.value.substr(0, 20)));
    AddCache("Other", "Key", "cached", 7);
    EXPECT_EQ(
        client.CONFIGWriteData(row.section, row.key, Text(row.value), row.flag),
        row.result);
    EXPECT_EQ(logged(), row.log);
    const bool dropped = row.result == 0 && row.flag != 1;
    EXPECT_EQ(read("Other", "Key", 9, nullptr),
              dropped ? "3 '#########' 99" : "0 'cached' 7");
    ClearCache();
    EXPECT_EQ(read(row.section, row.key).substr(0, row.stored.size()),
              row.stored);
    logged();
  }
  EXPECT_EQ(client.CONFIGWriteData("Nowhere", "Nothing", nullptr, 0), 2);
  EXPECT_EQ(logged(), "");
}

TEST_F(Settings, ThatDoNotFitAreRefusedBeforeAnythingIsSent) {
  add("cn=Gateway", {{0, "LogDirectory", "kept"}});
  const std::string refused = "1 CONFIG API: ldapWriteConfigString failed";
  write("Gateway", "LogDirectory", std::string(512, 'v'));
  write("Gateway", std::string(64, 'k').c_str(), "v");
  write(std::string(95, 's').c_str(), "HomeDir", "v");
  EXPECT_EQ(logged(), refused + "; " + refused + "; " + refused);
  EXPECT_EQ(read("Gateway", "LogDirectory"), "0 'kept' 2");

  // The server's refusal is logged step by step.
  write("Gateway", "NoSuchAttribute", "v");
  EXPECT_EQ(logged(),
            "1 ldap_modify operation failed; "
            "1 CONFIG API: ldapClientModify failed; "
            "1 ldap_add operation failed; " +
                refused);
}

}  // namespace
