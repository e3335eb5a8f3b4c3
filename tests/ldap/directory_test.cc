// Against a real server, as a host uses the client.

#include <ldap.h>
#include <sys/time.h>

#include <cerrno>
#include <cstring>
#include <initializer_list>
#include <iterator>
#include <limits>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "base/heap_text.h"
#include "support/client_test.h"

namespace {

using test::AttrValue;
using test::Lines;
using test::Text;

class LdapClient : public test::ClientTest {
 public:
  std::string read(std::string_view section, std::string_view key) {
    return text_of(client.ldapGetProfileString(Text(section), Text(key)));
  }
  std::string read_with_code(std::string_view section, std::string_view key) {
    const std::string value =
        text_of(client.ldapGetProfileString(Text(section), Text(key), &rc));
    return value + " " + std::to_string(rc);
  }
  int write(std::string_view section, std::string_view key,
            std::string_view value) {
    return client.ldapWriteProfileString(Text(section), Text(key), Text(value));
  }
  int rename(std::string_view dn, std::string_view name) {
    return client.ldapClientModRDN(Text(dn), Text(name));
  }

 private:
  static std::string text_of(char* text) {
    const configapi::HeapText owner(text);
    return text != nullptr ? text : "(none)";
  }
};

std::vector<AttrValue> joe() {
  return {{0, "cn", "Joe"},
          {0, "AddressFile", "one"},
          {0, "HelpFile", "x"},
          {0, "addressFILE", "two"},
          {0, "AddressFile", "three"}};
}

TEST_F(LdapClient, ConnectsOnlyToAHostNameThatFits) {
  const std::string host = "127.0.0." + std::string(54, '0') + "1";
  const int port = directory().port();
  EXPECT_EQ(client.ldapClientConnect(Text(host), port), 0);
  EXPECT_EQ(client.cacheEnabled, 0);
  EXPECT_EQ(client.ldapClientConnect(Text(host + "0"), port), 4);
  EXPECT_EQ(client.ld, nullptr) << "the old session is closed first";
  EXPECT_EQ(logged(), "1 ldap_open error: errno=36");
  EXPECT_EQ(client.ldapClientConnect(Text("127.0.0.1"), port + 65536), 4);
  EXPECT_EQ(logged(), "1 ldap_open error: errno=22");
}

// As TLS_CACERT in ldap.conf would.
void trust(const std::string& file) {
  const int client_side = 0;
  ldap_set_option(nullptr, LDAP_OPT_X_TLS_CACERTFILE,
                  file.empty() ? nullptr : file.c_str());
  ldap_set_option(nullptr, LDAP_OPT_X_TLS_NEWCTX, &client_side);
}

TEST_F(LdapClient, ConnectsToUris) {
  const std::string plain =
      "ldap://127.0.0.1:" + std::to_string(directory().port());
  const std::string encrypted =
      "ldaps://127.0.0.1:" + std::to_string(directory().port() + 1);
  const std::string start_tls = plain +
                                "/???"
                                "?!StartTLS";
  std::string socket = "ldapi://" + directory().folder() + "/ldapi";
  for (std::size_t slash = 8;
       (slash = socket.find('/', slash)) != std::string::npos;) {
    socket.replace(slash, 1, "%2F");
  }
  const std::string trusted = directory().folder() + "/certificate.pem";
  const struct {
    std::string uri;
    std::string trusts;
    int error;
  } rows[] = {
      {plain, "", 0},
      {socket, "", 0},
      {encrypted, trusted, 0},
      {start_tls, trusted, 0},
      {encrypted, "", EPROTO},
      {start_tls, "", EPROTO},
      {"http://x/", "", EINVAL},
      {"127.0.0.1/x", "", EINVAL},
      {"127.0.0.1:99999", "", EINVAL},
      {plain + "," + plain, "", EINVAL},
      {" ", "", EINVAL},
      {"127.0.0.1", "", ECONNREFUSED},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.uri + " " + row.trusts);
    trust(row.trusts);
    // The port is for hosts that do not give one.
    const int result = client.ldapClientConnect(Text(row.uri), 1);
    EXPECT_EQ(result, row.error == 0 ? 0 : 4);
    EXPECT_EQ(client.ld != nullptr, result == 0);
    if (result == 0) {
      EXPECT_EQ(bind(client, directory().bind_dn(), directory().password()), 0);
      EXPECT_EQ(add("cn=x"), 0);
      EXPECT_EQ(client.ldapClientDelete(Text("cn=x")), 0);
    } else {
      EXPECT_EQ(logged(),
                "1 ldap_open error: errno=" + std::to_string(row.error));
    }
  }
  trust("");
}

TEST_F(LdapClient, BindsOnlyWithTheRightPassword) {
  const std::string dn = directory().bind_dn();
  const std::string full(63, 'x');
  ldapClient stranger;
  const auto refuses = [&](const std::string& name, const std::string& password,
                           const std::string& line) {
    ASSERT_EQ(connect(stranger), 0);
    EXPECT_EQ(bind(stranger, "", ""), 0) << "anonymous";
    EXPECT_EQ(bind(stranger, name, password), 4);
    EXPECT_EQ(stranger.ld, nullptr);
    EXPECT_STREQ(stranger.bindDN, "");
    EXPECT_EQ(logged(), "1 " + line);
  };
  refuses(dn, "no", "Error on ldap_resul2error");
  // It would bind as nobody (RFC 4513 section 5.1.2).
  refuses(dn, "", "Error on ldap_resul2error");
  refuses(dn, full, "Error on ldap_resul2error");
  refuses("cn=" + full.substr(3), "no", "Error on ldap_resul2error");
  // What would not fit is not sent.
  refuses(dn, full + "x", "ldap_bind error");
  refuses("cn=" + full, "no", "ldap_bind error");
}

TEST_F(LdapClient, RemembersWhatItBoundWith) {
  ASSERT_EQ(write("MAIL", "SmtpdPort", "25"), 0);
  ASSERT_EQ(connect(client), 0) << "the old session is closed first";
  EXPECT_EQ(read("MAIL", "SmtpdPort"), "(none)") << "not bound";
  ASSERT_EQ(client.ldapClientBind(client.bindDN, client.bindPassword), 0);
  EXPECT_EQ(read("MAIL", "SmtpdPort"), "25");

  // Null keeps what was there, an empty text leaves no trace of it.
  EXPECT_EQ(client.ldapClientBind(nullptr, Text("")), 0);
  EXPECT_EQ(client.bindDN, directory().bind_dn());
  const char zeros[sizeof client.bindPassword] = {};
  EXPECT_EQ(std::memcmp(client.bindPassword, zeros, sizeof zeros), 0);
}

TEST_F(LdapClient, AddsFindsComparesAndDeletes) {
  ASSERT_EQ(add("cn=Joe", joe()), 0);
  ASSERT_EQ(add("cn=Below,cn=Joe"), 0);
  EXPECT_EQ(find("", 2, "(AddressFile=two)", "addressfile"),
            (Lines{"cn=Joe", "AddressFile: one", "AddressFile: two",
                   "AddressFile: three"}));
  EXPECT_EQ(find("cn=Joe", 0, "(cn=*)", "cn"), (Lines{"cn=Joe", "cn: Joe"}));
  EXPECT_EQ(find("cn=Joe", 1, "(cn=*)", "cn"),
            (Lines{"cn=Below,cn=Joe", "cn: Below"}));
  EXPECT_EQ(find("cn=Joe", 2, "(cn=*)", "HelpFile"),
            (Lines{"cn=Joe", "HelpFile: x", "cn=Below,cn=Joe"}))
      << "an entry without values is one too";
  EXPECT_EQ(rc, 0);
  EXPECT_EQ(logged(), "");

  const auto compare = [this](const char* attribute, const char* value) {
    return client.ldapClientCompare(Text("cn=Joe"), Text(attribute),
                                    Text(value));
  };
  EXPECT_EQ(compare("AddressFile", "three"), 0);
  EXPECT_EQ(compare("AddressFile", "four"), -1);
  EXPECT_EQ(compare("LogDirectory", "one"), -1) << "it has none";
  EXPECT_EQ(logged(),
            "6 same value for compare operation; "
            "6 different value for compare operation; "
            "6 different value for compare operation");

  EXPECT_EQ(add("cn=Joe", joe()), -1) << "it is there";
  EXPECT_EQ(client.ldapClientDelete(Text("cn=Joe")), -1) << "not a leaf";
  EXPECT_EQ(logged(), "1 ldap_add operation failed; 1 ldap_delete failed");
  EXPECT_EQ(client.ldapClientDelete(Text("cn=Below,cn=Joe")), 0);
  EXPECT_EQ(client.ldapClientDelete(Text("cn=Joe")), 0);
  EXPECT_EQ(find("", 2, "(cn=Joe)", "cn"), Lines{});
  EXPECT_EQ(rc, 1);
  EXPECT_EQ(logged(), "6 ldap_search return nothing");
}

TEST_F(LdapClient, AnAttributeThatIsNoTextHidesNoOther) {
  ASSERT_EQ(write("Joe", "HelpFile", "x"), 0);
  char type[] = "LogDirectory";
  char bytes[] = "a\0b";
  berval value{3, bytes};
  berval* values[] = {&value, nullptr};
  LDAPMod picture{LDAP_MOD_ADD | LDAP_MOD_BVALUES, type, {}};
  picture.mod_bvalues = values;
  LDAPMod* mods[] = {&picture, nullptr};
  ASSERT_EQ(ldap_modify_ext_s(client.ld, "cn=Joe", mods, nullptr, nullptr), 0);
  EXPECT_EQ(read_with_code("Joe", "HelpFile"), "x 0");
  EXPECT_EQ(read_with_code("Joe", "LogDirectory"), "(none) 0");
  EXPECT_EQ(write("Joe", "LogDirectory", "text"), 0);
  EXPECT_EQ(read_with_code("Joe", "LogDirectory"), "text 0");
}

TEST_F(LdapClient, AnEmptyFilterIsNotSent) {
  EXPECT_EQ(find("", 2, "", "cn"), Lines{});
  EXPECT_EQ(rc, 1);
  EXPECT_EQ(logged(), "1 ldap_search failed");
  EXPECT_EQ(add("cn=Joe", joe()), 0) << "the connection stays";
}

TEST_F(LdapClient, TheFormsOfSearchDifferInWantedTypesAndTime) {
  ASSERT_EQ(add("cn=Joe", joe()), 0);
  // An alias stands for the entry only where the option says so.
  test::AttrRecords alias({{0, "objectclass", "alias"},
                           {0, "objectclass", "extensibleObject"},
                           {0, "cn", "Alias"},
                           {0, "aliasedObjectName", "cn=Joe"}});
  ASSERT_EQ(client.ldapClientAdd(Text("cn=Alias"), alias.list()), 0);
  EXPECT_EQ(find("cn=Alias", 0, "(cn=*)", "cn", 3),
            (Lines{"cn=Joe", "cn: Joe"}));
  EXPECT_EQ(find("cn=Alias", 0, "(cn=*)", "cn", 0),
            (Lines{"cn=Alias", "cn: Alias"}));

  timeval limit{20, 0};
  const Text cn("cn");
  char* types[] = {cn, nullptr};
  const Text base("cn=Joe");
  const Text filter("(cn=*)");
  const auto values = [this](SearchReq* found) {
    int count = 0;
    for (const attrval* value = found->attrs; value->next != nullptr;
         value = value->next) {
      ++count;
    }
    client.srch_free(found);
    return count;
  };
  EXPECT_EQ(values(client.ldapClientSearch(base, 0, 0, filter, &rc)), 6);
  EXPECT_EQ(values(client.ldapClientSearch(base, 0, 0, filter, &limit, &rc)),
            6);
  EXPECT_EQ(values(client.ldapClientSearch(base, 0, 0, filter, types, &rc)), 1);
  EXPECT_EQ(
      values(client.ldapClientSearch(base, 0, 0, filter, types, &limit, &rc)),
      1);
  client.srch_free(nullptr);
}

TEST_F(LdapClient, ModifiesAllOrNothing) {
  ASSERT_EQ(add("cn=Joe", joe()), 0);
  EXPECT_EQ(modify("cn=Joe", {{1, "AddressFile", "two"},
                              {0, "AddressFile", "four"},
                              {2, "LogDirectory", "yes"}}),
            0);
  const Lines files = {"cn=Joe", "AddressFile: one", "AddressFile: three",
                       "AddressFile: four"};
  EXPECT_EQ(find("cn=Joe", 0, "(cn=*)", "AddressFile"), files);
  EXPECT_EQ(modify("cn=Joe", {{2, "AddressFile", "none"},
                              {1, "AddressFile", "not there"}}),
            16);
  EXPECT_EQ(find("cn=Joe", 0, "(cn=*)", "AddressFile"), files);
  EXPECT_EQ(modify("cn=Jim", {{2, "AddressFile", "x"}}), 32);
  EXPECT_EQ(modify("cn=Joe", {}), -1);
  EXPECT_EQ(client.ldapClientAdd(Text("cn=x"), test::AttrRecords({}).list()),
            -1);
  const std::string failed = "1 ldap_modify operation failed; ";
  EXPECT_EQ(logged(), failed + failed + failed + "1 ldap_add operation failed");
}

TEST_F(LdapClient, CarriesFullFieldsAndCutsBetweenCharacters) {
  std::string above = "cn=";
  for (int i = 0; i < 100; ++i) {
    above += "\u00e9";
  }
  const std::string dn = "cn=" + std::string(61, 'n') + "," + above;
  // Fields without room for a NUL: no byte behind them is read.
  const std::string name = "AddressFile;lang-" + std::string(47, 'l');
  const std::string value = std::string(510, 'v') + "\u00e9";
  ASSERT_EQ(add(above), 0);
  ASSERT_EQ(add(dn, {{0, name, value}}), 0);
  EXPECT_EQ(find(above, 1, "(cn=*)", "AddressFile"),
            (Lines{dn.substr(0, 254),
                   name.substr(0, 63) + ": " + value.substr(0, 510)}));
}

TEST_F(LdapClient, RenamesWithEachFormOfName) {
  ASSERT_EQ(add("cn=Top"), 0);
  ASSERT_EQ(add("cn=Joe,cn=Top", joe()), 0);
  std::string from = "cn=Joe,cn=Top";
  for (const char* name : {"cn=Jim,cn=Top", "cn=Jack", "Jörg"}) {
    SCOPED_TRACE(name);
    EXPECT_EQ(rename(from, name), 0);
    const std::string value(name, std::strcspn(name, ","));
    const std::string rdn = value.starts_with("cn=") ? value : "cn=" + value;
    from = rdn + ",cn=Top";
    EXPECT_EQ(find("cn=Top", 1, "(objectclass=*)", "cn"),
              (Lines{from, "cn: " + rdn.substr(3)}));
  }
  log.take();
  const std::string refused =
      "1 ldap_modify operation failed; 1 ldap_modrdn CN modification failed";
  EXPECT_EQ(rename("cn=Joe,cn=Top", "Jim"), -1) << "there is none";
  EXPECT_EQ(logged(), refused);
  ASSERT_EQ(add("cn=Joe,cn=Top", joe()), 0);
  EXPECT_EQ(rename("cn=Joe,cn=Top", "Jörg"), -1) << "there is one";
  EXPECT_EQ(logged(), "1 ldap_modify operation failed; 1 ldap_modrdn failed");
  EXPECT_EQ(find("cn=Joe,cn=Top", 0, "(cn=Joe)", "cn"),
            (Lines{"cn=Joe,cn=Top", "cn: Joe"}));
  // A name that does not fit its record is not sent.
  const std::string longest(511, 'n');
  EXPECT_EQ(rename("cn=x", longest), -1);
  EXPECT_EQ(logged(), refused);
  EXPECT_EQ(rename("cn=x", longest + "n"), -1);
  EXPECT_EQ(logged(), "1 ldap_modrdn CN modification failed");
}

TEST_F(LdapClient, AReferralToADeadServerEndsNothing) {
  // Searches go on; what addresses the referral itself fails.
  test::AttrRecords referral({{0, "objectclass", "referral"},
                              {0, "objectclass", "extensibleObject"},
                              {0, "cn", "Elsewhere"},
                              {0, "ref", "ldap://127.0.0.1:1/cn=x"}});
  ASSERT_EQ(client.ldapClientAdd(Text("cn=Elsewhere"), referral.list()), 0);
  ASSERT_EQ(write("MAIL", "SmtpdPort", "25"), 0);
  EXPECT_EQ(find("", 2, "(cn=MAIL)", "SmtpdPort"),
            (Lines{"cn=MAIL", "SmtpdPort: 25"}));
  EXPECT_EQ(client.ldapClientDelete(Text("cn=Elsewhere")), -1);
  EXPECT_EQ(write("Elsewhere", "SmtpdPort", "25"), -1);
  EXPECT_EQ(read("MAIL", "SmtpdPort"), "25");
}

TEST_F(LdapClient, ProfileStringsCountTheirWrites) {
  ASSERT_EQ(write("MAIL", "SmtpdPort", "25"), 0);
  EXPECT_EQ(logged(),
            "6 ldap_search return nothing; 1 ldap_modify operation failed");
  EXPECT_EQ(find("", 2, "(cn=MAIL)", "ConfigSerial"),
            (Lines{"cn=MAIL", "ConfigSerial: 0"}));
  EXPECT_EQ(find("cn=MAIL", 0, "(objectclass=qxconfig)", "cn"),
            (Lines{"cn=MAIL", "cn: MAIL"}));
  ASSERT_EQ(write("mail", "smtpdport", "2525"), 0);
  EXPECT_EQ(read("MAIL", "ConfigSerial"), "1");
  EXPECT_EQ(read("MAIL", "SMTPDPORT"), "2525");
  EXPECT_EQ(read_with_code("MAIL", "smtpdPort"), "2525 0");

  const std::string most = std::to_string(std::numeric_limits<long>::max());
  const std::string huge(20, '9');
  const std::pair<std::string, std::string> rows[] = {
      {"-7", "1"},        {"never", "1"}, {"41", "42"},
      {" 5 writes", "6"}, {huge, most},   {"-" + huge, "1"},
  };
  for (const auto& [present, next] : rows) {
    ASSERT_EQ(modify("cn=MAIL", {{2, "ConfigSerial", present}}), 0);
    ASSERT_EQ(write("MAIL", "SmtpdPort", "25"), 0);
    EXPECT_EQ(find("cn=MAIL", 0, "(cn=*)", "ConfigSerial"),
              (Lines{"cn=MAIL", "ConfigSerial: " + next}));
  }
  ASSERT_EQ(add("cn=Joe", joe()), 0);
  ASSERT_EQ(write("Joe", "SmtpdPort", "25"), 0);
  EXPECT_EQ(read("Joe", "ConfigSerial"), "0") << "the entry first gets it";
}

TEST_F(LdapClient, ProfileReadsTellAMissingEntryFromAMissingKey) {
  ASSERT_EQ(write("MAIL", "SmtpdPort", "25"), 0);
  ASSERT_EQ(modify("cn=MAIL", {{0, "SmtpdPort", "587"}}), 0);
  EXPECT_EQ(read("MAIL", "SmtpdPort"), "25") << "the first of two";
  log.take();
  EXPECT_EQ(read("MAIL", "LogDirectory"), "(none)");
  EXPECT_EQ(logged(), "");
  const std::string no_values = "6 ldapGetProfileString: no values found";
  EXPECT_EQ(read_with_code("MAIL", "LogDirectory"), "(none) 1");
  EXPECT_EQ(logged(), "6 ldap_search return nothing; " + no_values);
  EXPECT_EQ(read_with_code("NOWHERE", "SmtpdPort"), "(none) 1");
  EXPECT_EQ(logged(), "1 ldap_search failed; " + no_values);
  // A key does not change the filter around it.
  EXPECT_EQ(read_with_code("MAIL", "cn=*)(SmtpdPort"), "(none) 1");
  EXPECT_EQ(logged(), "1 ldap_search failed; " + no_values);
  // The filter finds the entry, but under another name.
  log.take();
  ASSERT_EQ(modify("cn=MAIL", {{0, "LogDirectory;lang-de", "x"}}), 0);
  EXPECT_EQ(read_with_code("MAIL", "LogDirectory"), "(none) 0");
  EXPECT_EQ(logged(), "");
}

// A section may be called anything, and is found again under that name alone.
TEST_F(LdapClient, OddSectionNamesStandForThemselves) {
  const std::string names[] = {"MAIL",         "*",
                               "a,b",          "a+b",
                               "cn=a",         R"(a\b)",
                               R"("quote")",   "(paren)",
                               "#1",           "#04",
                               " leading",     "trailing ",
                               "<a;b>",        "Größe €",
                               R"(\2a)",       "a  b",
                               "MAIL,cn=MAIL", std::string(200, 's')};
  for (const std::string& name : names) {
    SCOPED_TRACE(name);
    EXPECT_EQ(write(name, "HelpFile", name), 0);
  }
  for (const std::string& name : names) {
    SCOPED_TRACE(name);
    EXPECT_EQ(read(name, "HelpFile"), name);
    EXPECT_EQ(read(name, "ConfigSerial"), "0");
    if (name.size() <= 57) {
      EXPECT_EQ(read_with_code(name, "HelpFile"), name + " 0");
    }
    EXPECT_EQ(write(name, "HelpFile", "again"), 0);
    EXPECT_EQ(read(name, "ConfigSerial"), "1");
  }
  EXPECT_EQ(find("", 2, "(objectclass=qxconfig)", "ConfigSerial").size(),
            2 * std::size(names));
}

TEST_F(LdapClient, ProfileLimitsAreThoseOfThePlainNames) {
  // What fits is sent, and what the server says is logged.
  const std::string nothing = "6 ldap_search return nothing; ";
  const std::string modify = "1 ldap_modify operation failed; ";
  const std::string failed = "1 ldapWriteProfileString failed";
  const std::string no_values = "6 ldapGetProfileString: no values found";
  const std::size_t limits[] = {1020, 63, 511};  // of section, key and value
  for (std::size_t field = 0; field < 3; ++field) {
    for (const std::size_t over : {0U, 1U}) {
      std::string texts[] = {"s", "k", "v"};
      texts[field].resize(limits[field] + over, 'x');
      EXPECT_EQ(write(texts[0], texts[1], texts[2]), -1);
      EXPECT_EQ(logged(), over == 0 ? nothing + modify + failed : failed);
    }
  }
  EXPECT_EQ(read(std::string(1020, ','), "Key"), "(none)");
  EXPECT_EQ(logged(), "1 ldap_search failed; " + no_values);
  EXPECT_EQ(read(std::string(1021, ','), "Key"), "(none)");
  EXPECT_EQ(logged(), no_values);

  const std::string stars(57, '*');
  ASSERT_EQ(write(stars, "HelpFile", std::string(511, 'v')), 0);
  EXPECT_EQ(read_with_code(stars, "HelpFile"), std::string(511, 'v') + " 0");
  log.take();
  EXPECT_EQ(read_with_code(stars + "*", "HelpFile"), "(none) 1");
  EXPECT_EQ(logged(), no_values);
}

}  // namespace
