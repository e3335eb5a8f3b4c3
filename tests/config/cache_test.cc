#include <configapi/config.h>
#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#ifdef __SANITIZE_ADDRESS__
#include <sanitizer/lsan_interface.h>
#endif

namespace {

// What a lookup delivers, or "-" for none; a fresh field of `size` bytes.
std::string cached(const char* section, const char* key,
                   unsigned long size = 64, unsigned long* type = nullptr) {
  std::vector<char> field(size, '#');
  unsigned long found_type = 0;
  if (LookupCache(section, key, field.data(), size, &found_type) != 0) {
    return "-";
  }
  if (type != nullptr) {
    *type = found_type;
  }
  return size == 0 ? "" : field.data();
}

// What is allocated while it lives does not count as a leak.
class LeakedOnPurpose {
 public:
#ifdef __SANITIZE_ADDRESS__
  LeakedOnPurpose() {
    __lsan_disable();
  }
  ~LeakedOnPurpose() {
    __lsan_enable();
  }
#else
  LeakedOnPurpose() {}
#endif
};

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
      {"LOGDIRECTORY", 371},
      {"TimeZone", 413},
      {"timeZone", 413},
      {"Port", 32},
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

  unsigned long type = 0;
  EXPECT_EQ(cached("MsgStore", "HomeDir", 64, &type), "one");
  EXPECT_EQ(type, 2U);
  EXPECT_EQ(cached("LOCALMAIL", "HomeDir", 64, &type), "two");
  EXPECT_EQ(type, 12U);
  // Only the first letter of a key may differ in case: the hash minds others.
  EXPECT_EQ(cached("MsgStore", "timeZone"), "three");
  EXPECT_EQ(cached("MsgStore", "TIMEZONE"), "-");
  EXPECT_EQ(cached("Ldap", "HomeDir"), "-");
  EXPECT_EQ(cached("MsgStore", "HomeDi"), "-");

  EXPECT_EQ(ClearCache(), 0);
  EXPECT_EQ(cached("MsgStore", "HomeDir"), "-");
  EXPECT_EQ(cached("LocalMail", "HomeDir"), "-");
  EXPECT_EQ(ClearCache(), 0);
}

TEST_F(Cache, ReplacesAValueThatDiffersInMoreThanLetterCase) {
  unsigned long type = 0;
  AddCache("S", "key", "Value", 2);
  AddCache("S", "key", "vALUE", 3);
  EXPECT_EQ(cached("S", "key", 64, &type), "Value");
  EXPECT_EQ(type, 2U);
  AddCache("s", "key", "other", 4);
  EXPECT_EQ(cached("S", "key", 64, &type), "other");
  EXPECT_EQ(type, 4U);
}

TEST_F(Cache, CutsToTheFieldAndLeavesItOnAMiss) {
  AddCache("S", "key", "12345", 2);
  EXPECT_EQ(cached("S", "key", 6), "12345");
  EXPECT_EQ(cached("S", "key", 5), "1234");
  EXPECT_EQ(cached("S", "key", 1), "");

  char field[] = "kept";
  unsigned long type = 99;
  EXPECT_EQ(LookupCache("S", "key", field, 0, &type), 0);
  EXPECT_EQ(LookupCache("S", "none", field, sizeof field, &(type = 99)), 1);
  EXPECT_STREQ(field, "kept");
  EXPECT_EQ(type, 99U);
}

TEST_F(Cache, InitForgetsWithoutReleasing) {
  {
    const LeakedOnPurpose leaked;
    AddCache("S", "key", "value", 2);
  }
  EXPECT_EQ(InitCache(), 0);
  EXPECT_EQ(cached("S", "key"), "-");
  AddCache("S", "key", "again", 2);
  EXPECT_EQ(cached("S", "key"), "again");
}

// Readers, writers and refreshers on one cache: a reader sees a whole value
// of its own key or none. The thread sanitizer watches the rest.
TEST_F(Cache, ServesManyThreadsAtOnce) {
  constexpr int kRounds = 2000;
  std::atomic<int> wrong{0};
  const auto read = [&](const std::string& key) {
    for (int i = 0; i < kRounds; ++i) {
      const std::string value = cached("S", key.c_str());
      if (value != "-" && value.rfind(key + "=", 0) != 0) {
        ++wrong;
      }
    }
  };
  const auto write = [&](const std::string& key) {
    for (int i = 0; i < kRounds; ++i) {
      AddCache("S", key.c_str(), (key + "=" + std::to_string(i)).c_str(), 2);
    }
  };
  const auto refresh = [] {
    for (int i = 0; i < kRounds / 10; ++i) {
      ClearCache();
    }
  };
  std::vector<std::thread> threads;
  for (const char* key : {"alpha", "beta"}) {
    threads.emplace_back(read, key);
    threads.emplace_back(read, key);
    threads.emplace_back(write, key);
  }
  threads.emplace_back(refresh);
  for (auto& thread : threads) {
    thread.join();
  }
  EXPECT_EQ(wrong, 0);
}

}  // namespace
