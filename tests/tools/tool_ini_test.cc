// INI text, and the commands that write and read it.

#include <configapi/host.h>
#include <gtest/gtest.h>
#include <ldap.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "ini_text.h"
#include "tools/directory_tool.h"

namespace configapi::tool {
namespace {

using namespace std::string_literals;
using test::read_file;

// What the text says, a line for each of its lines: "3 Section/Key=value".
std::string told(std::string_view text) {
  // An exact-size heap block lets a sanitizer see a byte read too far.
  const std::vector<char> block(text.begin(), text.end());
  IniReader reader({block.data(), block.size()});
  std::string all;
  for (IniLine line; reader.next(&line);) {
    all += std::to_string(line.number) + " ";
    if (!line.fault.empty()) {
      all += "! " + line.fault;
    } else {
      all += line.section + (line.key.empty() ? "" : "/" + line.key);
      all += line.masked ? " masked" : line.further ? "+=" : "=";
      all += line.value;
    }
    all += "\n";
  }
  return all;
}

TEST(IniText, WritesValuesAsTheyAreRead) {
  const test::TempFolder folder;
  const struct {
    std::string value;
    std::string written;
  } rows[] = {
      {"", ""},
      {"5", "5"},
      {R"(\\SERVER\SHARE\new)", R"(\\SERVER\SHARE\new)"},
      {"a = b ; c # d", "a = b ; c # d"},
      {"; no comment", "; no comment"},
      {"[x]", "[x]"},
      {"Gr\xC3\xBC\xC3\x9F \xE2\x82\xAC", "Gr\xC3\xBC\xC3\x9F \xE2\x82\xAC"},
      {"say \"x\"", "say \"x\""},
      {" x", "\" x\""},
      {"x ", "\"x \""},
      {" ", "\" \""},
      {"\"x\"", "\"\"x\"\""},
      {"\"", "\"\"\""},
      {"'x'", "\"'x'\""},
      {"********", "\"********\""},
      {"$\"x\"", "\"$\"x\"\""},
      {"$x", "$x"},
      {"one\r\ntwo\t\"\\", "$\"one\\r\\ntwo\\t\\\"\\\\\""},
      {"\0a\x1B"s, "$\"\\x00a\\x1B\""},
      {"caf\xE9 \xC3", "$\"caf\\xE9 \\xC3\""},
      {"\xC2\x9B", "$\"\\xC2\\x9B\""},  // a control character of two bytes
  };
  for (const auto& row : rows) {
    EXPECT_EQ(ini_value(row.value), row.written);
    // Programs of Windows habits read all but the escapes alike.
    std::string read(512, 'x');
    const auto file = folder.write("x.ini", "[s]\nk=" + row.written + "\n");
    read.resize(
        GetPrivateProfileString("s", "k", "?", read.data(), 512, file.c_str()));
    if (!row.written.starts_with("$\"")) {
      EXPECT_EQ(read, row.value);
    }
  }
  for (int byte = 0; byte < 256; ++byte) {
    const std::string c(1, static_cast<char>(byte));
    const std::string filled[] = {c, "a" + c, c + "a", c + c, "\xC3" + c};
    for (const auto& value : filled) {
      EXPECT_EQ(told("[s]\n" + ini_setting("k", value)),
                "1 s=\n2 s/k=" + value + "\n");
    }
  }
}

TEST(IniText, ReadsWhatPeopleWrite) {
  EXPECT_EQ(told("\xEF\xBB\xBF# old\r\n [ Local Mail ] ; x\r\n\r\n"
                 "\t; TimeRetry = 4\r\n"
                 "TimeRetry = 5 \r\nTimeRetry += 6\r\n"
                 "A='\"x\" '\nB=\"c:\\new\"\nC=********\nD=$\"\\x4a\""),
            "2 Local Mail=\n5 Local Mail/TimeRetry=5\n"
            "6 Local Mail/TimeRetry+=6\n7 Local Mail/A=\"x\" \n"
            "8 Local Mail/B=c:\\new\n9 Local Mail/C masked\n"
            "10 Local Mail/D=J\n");
}

TEST(IniText, SaysWhatIsWrong) {
  const std::string no_line = "neither [SECTION] nor KEY=VALUE nor a comment";
  const std::string no_end =
      "a value that begins with a quote does not end with it";
  const std::string no_escape =
      R"(a backslash that begins none of \n \r \t \\ \" \xNN)";
  const std::pair<std::string, std::string> rows[] = {
      {"junk", no_line},
      {"=5", no_line},
      {" += 5", no_line},
      {"k:5", no_line},
      {"k=\"x", no_end},
      {"k=\"", no_end},
      {"k='x' ; why", no_end},
      {"k=$\"x", "the closing quote is missing"},
      {"k=$\"\\\"", "the closing quote is missing"},
      {"k=$\"x\"y\"", "text behind the closing quote"},
      {"k=$\"\\q\"", no_escape},
      {"k=$\"\\x4\"", no_escape},
      {"k=$\"\\xG0\"", no_escape},
      {"k=$\"\\", no_escape},
      {"k+=********", "a mask stands for all values of its key, and alone"},
      {"k=a\rb", "a control byte 0x0D"},
      {"k=a\0b"s, "a NUL byte; settings are UTF-8, never UTF-16"},
  };
  for (const auto& [text, fault] : rows) {
    EXPECT_EQ(told("[s]\n" + text), "1 s=\n2 ! " + fault + "\n");
  }
  EXPECT_EQ(told("k=5\n"), "1 ! a key that stands in no section\n");
  for (const auto* text : {"[", "[]", "[ ]", "[x", "[x]y", "[a\x01]"}) {
    // The keys of such a section are not told one by one.
    EXPECT_EQ(told("[s]\n" + std::string(text) + "\nk=5\n[t]\nk=5"),
              "1 s=\n2 ! no [SECTION] with a name\n4 t=\n5 t/k=5\n");
  }
}

class ToolIni : public test::DirectoryToolTest {
 protected:
  // An entry with values of any bytes and length.
  void put(std::string dn, std::string key, std::vector<std::string> values) {
    LDAP* session = ldap_init(directory().host().c_str(), directory().port());
    const int version = LDAP_VERSION3;
    ldap_set_option(session, LDAP_OPT_PROTOCOL_VERSION, &version);
    ldap_simple_bind_s(session, directory().bind_dn().c_str(),
                       directory().password().c_str());
    std::string type = "objectClass";
    std::string name = "qxconfig";
    std::array<char*, 2> names{name.data(), nullptr};
    LDAPMod object{LDAP_MOD_ADD, type.data(), {names.data()}};
    std::vector<berval> bytes;
    for (auto& value : values) {
      bytes.push_back({value.size(), value.data()});
    }
    std::vector<berval*> list;
    for (auto& value : bytes) {
      list.push_back(&value);
    }
    list.push_back(nullptr);
    LDAPMod setting{LDAP_MOD_ADD | LDAP_MOD_BVALUES, key.data(), {}};
    setting.mod_vals.modv_bvals = list.data();
    std::array<LDAPMod*, 3> all{&object, &setting, nullptr};
    EXPECT_EQ(ldap_add_ext_s(session, dn.data(), all.data(), nullptr, nullptr),
              LDAP_SUCCESS);
    ldap_unbind_ext(session, nullptr, nullptr);
  }

  void fill() {
    add("cn=Tuning", {{0, "Port", "389"},
                      {0, "DNSretries", "4"},
                      {0, "DNStimeout", "soon"}});
    add("cn=LocalMail", {{0, "TimeRetry", "6"}, {0, "TimeRetry", "5"}});
    add("cn=Ldap", {{0, "Password", "pssst"}});
    add("cn=Elsewhere", {{0, "UserKeyPassword", "psst"}});
    put("cn=bsmtp", "BSMTPConfigFile", {" \\\\a\r\n\0"s});
    put("cn=MsgStore", "HostName", {std::string(600, '7')});
  }
};

constexpr std::string_view kExported =
    "[Tuning]\n"
    "DNStimeout=soon\n"
    "DNSretries=4\n"
    "; not in the schema: Port=389\n"
    "\n"
    "[MsgStore]\n";
constexpr std::string_view kExportedBehind =
    "\n"
    "[LocalMail]\n"
    "TimeRetry=6\n"
    "TimeRetry+=5\n"
    "\n"
    "[Ldap]\n"
    "Password=********\n"
    "\n"
    "[bsmtp]\n"
    "BSMTPConfigFile=$\" \\\\\\\\a\\r\\n\\x00\"\n"
    "\n"
    "; not in the schema: [Elsewhere]\n"
    "; not in the schema: UserKeyPassword=********\n";

TEST_F(ToolIni, ExportsWhatItHolds) {
  fill();
  const std::string all = std::string(kExported) +
                          "HostName=" + std::string(600, '7') + "\n" +
                          std::string(kExportedBehind);
  const auto file = folder_.write("x.ini", "old");
  check({
      {"export", 0, all},
      {"export Ldap --secrets", 0, "[Ldap]\nPassword=pssst\n"},
      {"export elsewhere --json", 0,
       R"({"ini":"; not in the schema: [Elsewhere]\n; not in the schema: )"
       R"(UserKeyPassword=********\n"})"
       "\n"},
      {"export Tuning/DNSr*", 0, "[Tuning]\nDNSretries=4\n"},
      // What cannot be had leaves the file alone.
      {"export Confirm -o " + file, 1, "",
       "configapi: nothing that matches 'Confirm' is set\n"},
      {"export Tunning -o " + file, 3, "",
       "configapi: no section or key 'Tunning' in the schema; did you mean "
       "Tuning?\n"},
      {"export -o /dev/null", 8, "",
       "configapi: cannot write /dev/null: not a regular file\n"},
      {"export -o " + file + "/x", 8, "",
       "configapi: cannot write " + file + "/x: Not a directory\n"},
  });
  EXPECT_EQ(read_file(file), "old");
  const auto link = folder_.path("link.ini");
  ASSERT_EQ(symlink(file.c_str(), link.c_str()), 0);
  check({{"export -o " + link, 0}});
  EXPECT_EQ(read_file(file), all);
  struct stat status {};
  ASSERT_EQ(lstat(link.c_str(), &status), 0);
  EXPECT_TRUE(S_ISLNK(status.st_mode));
  ASSERT_EQ(stat(file.c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777U, 0600U);
  // As it was, in another order, it is the same text.
  modify("cn=Tuning", {{1, "DNStimeout", ""}, {1, "Port", ""}});
  modify("cn=Tuning", {{0, "DNStimeout", "soon"}, {0, "Port", "389"}});
  check({{"export", 0, all}, {"diff " + file, 0}});
}

TEST_F(ToolIni, TellsDifferences) {
  fill();
  const auto port = std::to_string(directory().port());
  const auto file = folder_.write("x.ini",
                                  "[localmail]\ntimeretry=5\ntimeretry+=6\n"
                                  "[Tuning]\nDNStimeout=\" 7\"\n"
                                  "SMTPDtimeout=1\nDNSretries=4\n"
                                  "[Ldap]\nPassword=secret\n"
                                  "[Gateway]\nUserKeyPassword=********\n");
  const std::string named =
      "Tuning/SMTPDtimeout: (not set) -> 1\nTuning/DNStimeout: soon ->  7\n";
  const std::string behind =
      "LocalMail/TimeRetry: \"6\", \"5\" -> \"5\", \"6\"\n"
      "Ldap/Password: ******** -> ********\n";
  const auto wrong =
      folder_.write("wrong.ini", "[Tuning]\nDNStimeout=7\nDNSretris=4\nx\n");
  check({
      {"diff " + file, 1, named + behind},
      {"diff --replace " + file, 1,
       named + "MsgStore/HostName: " + std::string(600, '7') +
           " -> (not set)\n" + behind +
           "bsmtp/BSMTPConfigFile:  \\\\a\\r\\n\\x00 -> (not set)\n"},
      {"diff " + wrong, 3, "",
       "configapi: " + wrong +
           ":3: no key 'DNSretris' in section Tuning; did you mean "
           "DNSretries?\n"
           "configapi: " +
           wrong + ":4: neither [SECTION] nor KEY=VALUE nor a comment\n"},
      {"diff /nowhere", 8, "",
       "configapi: cannot read /nowhere: No such file or directory\n"},
      {"diff --with localhost:" + port, 0},
      {"diff --with ''", 2, "", "configapi: no host in '' (--with)\n"},
      {"diff --with [::1]:x", 2, "",
       "configapi: no port in '[::1]:x' (--with)\n"},
      {"diff --with 127.0.0.1:1", 4, "",
       "configapi: directory 127.0.0.1 port 1 is not reachable\n"},
  });
  surroundings_.input =
      "[Tuning]\nSMTPDtimeout=1\n[LocalMail]\nTimeRetry=5\n"
      "[Ldap]\nPassword=x\n";
  check({
      {"--json diff", 1,
       R"({"address":"Tuning/SMTPDtimeout","section":"Tuning",)"
       R"("key":"SMTPDtimeout","old":null,"new":"1"})"
       "\n"
       R"({"address":"LocalMail/TimeRetry","section":"LocalMail",)"
       R"("key":"TimeRetry","old":"5","old_values":["6","5"],"new":"5"})"
       "\n"
       R"({"address":"Ldap/Password","section":"Ldap","key":"Password",)"
       R"("masked":true})"
       "\n"},
  });
}

TEST_F(ToolIni, FindsWhatIsWrongInADirectory) {
  check({{"check", 0}});
  fill();
  const std::string number =
      " is not a whole number in digits alone, or empty\n";
  add("cn=Tuning,cn=Tuning", {{0, "DNStimeout", "8"}});
  check({
      {"check", 1,
       "Tuning/DNStimeout: 'soon'" + number +
           "Tuning/Port: no such key in the schema; did you mean Ldap/Port?\n"
           "MsgStore/HostName: a value of 600 bytes; the gateway reads 511 at "
           "most\n"
           "LocalMail/TimeRetry: 2 values, of which the gateway reads the "
           "last\n"
           "Ldap/Password: the value" +
           number +
           "bsmtp/BSMTPConfigFile: ' \\\\a\\r\\n\\x00' is not UTF-8 text "
           "without NUL bytes\n"
           "Elsewhere: no such section in the schema\n"
           "cn=Tuning,cn=Tuning: the gateway reads another entry for the same "
           "section\n"},
  });
  surroundings_.names.erase("CONFIGAPI_PASSFILE");
  surroundings_.names.erase("CONFIGAPI_BINDDN");
  check({{"check", 1, "",
          "configapi: nothing is set, or not shown to a session without a "
          "bind (-D, -y)\n"}});
}

TEST_F(ToolIni, JudgesValuesAndFiles) {
  surroundings_.names.clear();  // without a directory
  const std::string number = " is not a whole number in digits alone, or empty";
  const auto good = folder_.write("good.ini", "[Tuning]\nDNStimeout=5\n");
  const auto bad = folder_.write(
      "bad.ini",
      "[Tuning]\nDNStimeout=soon\nDNStimeout=5\nSMTPDtimeout=********\n"
      "DNSretries+=4\nDNSretries=4\nDNSretries+=4\nDataBufferSize=\n"
      "[Tunning]\nnothing=of this\n[Ldap]\nPassword=secret\nPort=x");
  const auto hopeless =
      folder_.write("hopeless.ini", std::string(std::size_t{1} << 20U, '\n') +
                                        std::string(200, '\n') + "x");
  std::string many = "[Tuning]\n";
  for (int i = 0; i < 60; ++i) {
    many += "x\n";
  }
  check({
      {"check Tuning/DNStimeout=5 'bsmtp/LdapServer= a=b '", 0},
      {"check " + good, 0},
      {"check tuning/dnstimeout=soon Tuning/DNSretries=4", 1,
       "Tuning/DNStimeout: 'soon'" + number + "\n"},
      {"check Tuning/DNSretries=x --json", 1,
       R"({"finding":"invalid","address":"Tuning/DNSretries",)"
       R"("section":"Tuning","key":"DNSretries","text":"'x')" +
           number + "\"}\n"},
      {"check Tuning/DNStimout=5 Tuning/DNSretries=", 3,
       "Tuning/DNSretries: a directory holds no empty value: unset it "
       "instead\n",
       "configapi: no setting 'Tuning/DNStimout' in the schema; did you mean "
       "Tuning/DNStimeout?\n"},
      {"check Tuning/DNS*=5", 2, "",
       "configapi: a value goes to one setting, not to 'Tuning/DNS*'\n"},
      {"check a b", 2, "",
       "configapi: check takes ADDRESS=VALUE, as many as you like, or one "
       "FILE\n"},
      {"check " + bad, 1,
       bad + ":3: Tuning/DNStimeout stands in line 2 already\n" + bad +
           ":4: only a secret can be masked; quotes make a value of it\n" +
           bad + ":5: one more value of a key that has none in front of it\n" +
           bad + ":7: a value that the key has already\n" + bad +
           ":9: no section 'Tunning' in the schema; did you mean Tuning?\n" +
           bad + ":2: Tuning/DNStimeout: 'soon'" + number + "\n" + bad +
           ":8: Tuning/DataBufferSize: a directory holds no empty value: "
           "unset it instead\n" +
           bad + ":12: Ldap/Password: the value" + number + "\n" + bad +
           ":13: Ldap/Port: 'x'" + number + "\n"},
      {"check --json " + hopeless, 1,
       R"({"finding":"syntax","file":")" + hopeless +
           R"(","line":1048777,"text":"neither [SECTION] nor KEY=VALUE nor a )"
           "comment\"}\n"},
      {"check " + folder_.write("large.ini", std::string((4U << 20U) + 1, ';')),
       8, "",
       "configapi: " + folder_.path("large.ini") + " has more than 4 MiB\n"},
  });
  const auto run_many = run("check " + folder_.write("many.ini", many));
  EXPECT_EQ(test::lines_in(run_many.out), 51);
  EXPECT_TRUE(run_many.out.ends_with(
      ":51: too many faults; what follows is not looked at\n"))
      << run_many;
}

}  // namespace
}  // namespace configapi::tool
