#include <configapi/config.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <map>
#include <string>
#include <utility>

namespace {

// Hosts walk the table and keep copies of it.
constexpr std::size_t kWord = sizeof(void*);
static_assert(sizeof(cfgKey) == 12 * kWord);
static_assert(offsetof(cfgKey, type) == 1 * kWord);
static_assert(offsetof(cfgKey, flag) == 2 * kWord);
static_assert(offsetof(cfgKey, defaultValue) == 3 * kWord);
static_assert(offsetof(cfgKey, reserved) == 4 * kWord);
static_assert(offsetof(cfgKey, tableValue) == 10 * kWord);
static_assert(offsetof(cfgKey, spare) == 11 * kWord);
static_assert(sizeof(cfgSection) == kWord + 100 * sizeof(cfgKey));
static_assert(sizeof(unsigned long) == kWord);

// "result 'value' type"
std::string from_table(const char* section, const char* key) {
  char value[30] = "untouched";
  unsigned long type = 99;
  const int result = getBufferFromTable(section, key, value, &type);
  return std::to_string(result) + " '" + value + "' " + std::to_string(type);
}

TEST(Table, KnowsAddressesInAnyLetterCase) {
  const struct {
    const char* section;
    const char* key;
    const char* found;
  } rows[] = {
      {"Gateway", "LogDirectory", "0 '' 2"},
      {"gateway", "logdirectory", "0 '' 2"},
      {"Options", "LdapServer", "0 'bottom,top' 16"},
      {"bsmtp", "LdapServer", "0 '' 16"},
      {"Schedules", "SMTPCinterval", "0 'base64,quoted-printable,x-uue' 16"},
      // Twice in its section: the first slot answers.
      {"Schedules", "AutoDialUp", "0 '' 2"},
      {"Options", "TryReverseSeparator", "0 '' 15"},
      {"Options", "SendOldLogfile", "0 '' 7"},
      // One name, two sections, two types.
      {"Installed Components", "SMTPD", "0 '' 2"},
      {"Local Components", "SMTPD", "0 '' 12"},
      {"Local Components", "CCOUT", "0 '' 12"},
      {"Gateway", "Quit", "-1 'untouched' 99"},
      {"Nowhere", "LogDirectory", "-1 'untouched' 99"},
      {"", "", "-1 'untouched' 99"},
      {"Gateway", "", "-1 'untouched' 99"},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(from_table(row.section, row.key), row.found)
        << row.section << "/" << row.key;
  }
}

// Counts and order as hosts know them; what follows the last key is zero.
TEST(Table, HasEverySectionWithItsKeys) {
  const struct {
    const char* name;
    int keys;
    const char* first;
    const char* last;
  } rows[] = {
      {"Config", 8, "InstallDirectory", "AddressFile"},
      {"Gateway", 46, "LogDirectory", "NotesInQueueDirectory"},
      {"Installed Components", 12, "CCIN", "BSMTP"},
      {"Connection", 5, "NotesServer", "AlternateNameList"},
      {"VirusScan", 6, "ProgramType", "ClassVirusFound"},
      {"Routing", 6, "PrimaryRelayHostName", "NameResolution"},
      {"Schedules", 16, "obxStartTime", "EnableETRNCmd"},
      {"Options", 48, "ConcatenateTextItem", "DisableVrfyCmd"},
      {"Anti-spam", 11, "CheckMailFrom", "RejectUnvalidatedDomain"},
      {"DelayedMail", 6, "WarnOnlyOnce", "SuccessDeliveryMessageFile"},
      {"Confirm", 4, "Quit", "ClearLog"},
      {"RealTimeLogAnalyzer", 4, "GeneralGWStatStartDate", "NumberOfLines"},
      {"Dynamic Conversion", 4, "AutoCheckAddressFile", "SMTPPOD"},
      {"Tuning", 12, "SMTPDtimeout", "DNSretries"},
      {"PostOffice", 5, "PoName", "PoPassword"},
      {"MsgStore", 6, "HomeDir", "HostName"},
      {"LocalMail", 2, "HomeDir", "TimeRetry"},
      {"Ldap", 4, "HostName", "Password"},
      {"PreProcessor", 6, "NumberOfModules", "Module4"},
      {"bsmtp", 9, "BSMTPDirectory", "EnableDecoder"},
      {"DLManager", 4, "Domain", "RestoreDb"},
      {"Debug", 1, "DetailedSMTPLog", "DetailedSMTPLog"},
      {"Local Components", 4, "SMTPD", "CCOUT"},
  };
  const cfgSection* section = cfgTable;
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    EXPECT_STREQ(section->name, row.name);
    int keys = 0;
    while (*section->keys[keys].key != '\0') {
      EXPECT_EQ(section->keys[keys].flag, FLAG_SINGLE_VALUE);
      EXPECT_STREQ(section->keys[keys].spare, "");
      ++keys;
    }
    EXPECT_EQ(keys, row.keys);
    EXPECT_STREQ(section->keys[0].key, row.first);
    EXPECT_STREQ(section->keys[keys - 1].key, row.last);
    EXPECT_EQ(section->keys[keys].type, 0U);
    EXPECT_STREQ(section->keys[keys].tableValue, "");
    EXPECT_EQ(section->keys[keys + 1].key, nullptr);
    ++section;
  }
  EXPECT_STREQ(section->name, "");
}

// Defaults that a slip of the table would change unseen.
TEST(Table, KeepsDefaults) {
  std::map<std::string, int> defaults;
  for (const auto& section : cfgTable) {
    for (const cfgKey* key = section.keys; *key->key != '\0'; ++key) {
      ++defaults[key->defaultValue];
    }
  }
  const std::pair<const char*, int> rows[] = {
      {"YES", 107},
      {"NO", 44},
      {"25", 10},
      {"5", 41},
      {" postmaster@example.com", 1},
      {"example.com", 1},
  };
  for (const auto& [text, count] : rows) {
    EXPECT_EQ(defaults[text], count) << text;
  }
}

TEST(Table, NamesTypesAndFlags) {
  const auto code_of = [](std::string name) { return str2ul(name.data()); };
  for (unsigned long code = 1; code <= 24; ++code) {
    EXPECT_EQ(code_of(ul2str(code)), code == TYPE_STRING_LIST ? 0 : code);
  }
  EXPECT_EQ(code_of("type_number"), TYPE_NUMBER);
  EXPECT_EQ(code_of("TYPE_NUMBE"), 0U);
  EXPECT_EQ(code_of(""), 0U);
  EXPECT_STREQ(ul2str(18), "TYPE_STRING_LIST");
  EXPECT_STREQ(ul2strflg(1), "FLAG_SINGLE_VALUE");
  EXPECT_STREQ(ul2strflg(2), "FLAG_MULTIPLE_VALUE");
  for (const char* none : {ul2str(0), ul2str(25), ul2strflg(0), ul2strflg(3)}) {
    EXPECT_EQ(none, nullptr);
  }
}

}  // namespace
