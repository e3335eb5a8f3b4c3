#include <configapi/config.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#ifdef __SANITIZE_ADDRESS__
#include <sanitizer/lsan_interface.h>
#endif

namespace {

// Whether what is allocated from now on may leak.
void allow_leaks([[maybe_unused]] bool allowed) {
#ifdef __SANITIZE_ADDRESS__
  allowed ? __lsan_disable() : __lsan_enable();
#endif
}

// "value type", as found with a field of `size` bytes, or "-" where nothing is
// and the field is as it was.
std::string cached(const char* section, const char* key,
                   unsigned long size = 64) {
  std::vector<char> field(size + 1, '#');
  unsigned long type = 99;
  const int result = LookupCache(section, key, field.data(), size, &type);
  EXPECT_EQ(field[size], '#') << "written past the field";
  if (result != 0) {
    EXPECT_EQ(field, std::vector<char>(size + 1, '#'));
    return type == 99 ? "-" : "type written";
  }
  field[size] = '\0';
  return std::string(field.data()) + " " + std::to_string(type);
}

class Cache : public testing::Test {
 protected:
  void SetUp() override { ClearCache(); }
  void TearDown() override { ClearCache(); }
};

TEST_F(Cache, HashesByThePublishedRule) {
  const struct {
    const char* key;
    unsigned int bucket;
  } rows[] = {
      {"LogDirectory", 188},
      {"logdirectory", 118},
      {"TimeZone", 413},
      {"timeZone", 413},
      {"ab", 98},
      {"a", 0},
      {"", 0},
      // Bytes count as signed: 32 * 0 - 1, modulo 2^32, modulo 421.
      {"a\xFF", 4294967295U % 421},
  };
  for (const auto& row : rows) {
    std::string key(row.key);
    EXPECT_EQ(get_hash_index(key.data()), row.bucket) << row.key;
  }
}

TEST_F(Cache, KeepsAddressesApart) {
  AddCache("MsgStore", "HomeDir", "one", 2);
  AddCache("LocalMail", "HomeDir", "two", 12);
  AddCache("MsgStore", "TimeZone", "three", 3);
  AddCache("MsgStore", "x", "four", 4);
  const struct {
    const char* section;
    const char* key;
    const char* found;
  } rows[] = {
      {"MsgStore", "HomeDir", "one 2"},
      {"LOCALMAIL", "HomeDir", "two 12"},
      // Only the first letter of a key may differ in case: the hash minds
      // others.
      {"MsgStore", "timeZone", "three 3"},
      {"MsgStore", "TIMEZONE", "-"},
      {"Ldap", "HomeDir", "-"},
      {"MsgStore", "HomeDi", "-"},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(cached(row.section, row.key), row.found);
  }
  for (int round = 0; round < 2; ++round) {
    EXPECT_EQ(ClearCache(), 0);
    EXPECT_EQ(cached("MsgStore", "HomeDir"), "-");
    EXPECT_EQ(cached("LocalMail", "HomeDir"), "-");
  }
}

TEST_F(Cache, ReplacesAValueThatDiffersInMoreThanLetterCase) {
  AddCache("S", "key", "Value", 2);
  AddCache("S", "key", "vALUE", 3);
  EXPECT_EQ(cached("S", "key"), "Value 2");
  AddCache("s", "key", "other", 4);
  EXPECT_EQ(cached("S", "key"), "other 4");
  EXPECT_EQ(cached("S", "key", 6), "other 4");
  EXPECT_EQ(cached("S", "key", 5), "othe 4");
  EXPECT_EQ(cached("S", "key", 1), " 4");
  EXPECT_EQ(cached("S", "key", 0), " 4");
}

TEST_F(Cache, InitForgetsWithoutReleasing) {
  allow_leaks(true);
  AddCache("S", "key", "value", 2);
  allow_leaks(false);
  EXPECT_EQ(InitCache(), 0);
  EXPECT_EQ(cached("S", "key"), "-");
  AddCache("S", "key", "again", 2);
  EXPECT_EQ(cached("S", "key"), "again 2");
}

}  // namespace
