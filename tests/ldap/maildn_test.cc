#include <configapi/internals.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <cstdlib>
#include <string>

#include "support/client_text.h"

namespace test {
namespace {

const std::string kNone = "null";

std::string padded(const std::string& address, std::size_t size) {
  return address + std::string(size - address.size(), ' ');
}

struct MailDn : testing::Test {
  // The member's result, which is the caller's to release.
  std::string owned(char* (ldapClient::*call)(char*),
                    const std::string& address) {
    const Text text(address);
    char* result = (client.*call)(text);
    EXPECT_EQ(std::string(text), address);
    std::string copy = result != nullptr ? result : kNone;
    client.free(result);
    return copy;
  }
  std::string suffix(const std::string& address) {
    return owned(&ldapClient::GetSuffix, address);
  }
  std::string cn(const std::string& address) {
    return owned(&ldapClient::Mail2DN, address);
  }
  std::string mail(const std::string& address) {
    const char* result = client.CreateDNFromMail(Text(address));
    return result != nullptr ? result : kNone;
  }

  ldapClient client;
};

// Runs first, and in a process of its own: the key is made once.
TEST(MailDnDeathTest, WithoutAKeyThereIsNoName) {
  EXPECT_EXIT(
      {
        pthread_key_t other = 0;
        while (pthread_key_create(&other, nullptr) == 0) {
        }
        const bool refused =
            ldapClient().CreateDNFromMail(Text("joe@a.b")) == nullptr;
        std::exit(refused && InitDN() == EAGAIN ? 0 : 1);
      },
      testing::ExitedWithCode(0), "");
}

TEST_F(MailDn, PutsTheAddressBeforeItsDomain) {
  const struct {
    std::string address;
    std::string suffix;
  } cases[] = {
      {"joe@sub.a.b", "dc=sub,dc=a,dc=b"},
      {"joe@localhost", "dc=localhost"},
      {"Joe User <joe@a.b> (his)", "dc=a,dc=b"},
      {"joe@a.b, x@y.z", "dc=a,dc=b"},
      {"<@r.s:joe@a.b>", "dc=a,dc=b"},
      {"T: joe@a.b, x@y.z;", "dc=y,dc=z"},
      {R"("j\"e" @ a . b)", "dc=a,dc=b"},
      {"joe@b\xc3\xbc.de", "dc=b\xc3\xbc,dc=de"},
      {"joe@[10.0.0.1]", "dc=[10,dc=0,dc=0,dc=1]"},
      {"joe@[..a..b.]", "dc=[,dc=a,dc=b,dc=]"},
      // As it stands, and escaped by the caller.
      {R"("Doe, Joe" <joe+x@a.b>)", "dc=a,dc=b"},
      {R"(joe\+x@a.b)", "dc=a,dc=b"},
      // No address, no domain, or none that a DN could hold.
      {"", kNone},
      {"  ", kNone},
      {"joe@", kNone},
      {"joe@a b", kNone},
      {"\"joe@a.b", kNone},
      {"joe@a.b.", kNone},
      {"joe@.a", kNone},
      {"joe@a..b", kNone},
      {"postmaster", kNone},
      {"<@r:u>", kNone},
      {"joe@[a,dc=b]", kNone},
      {"joe@[a.\tb]", kNone},
      {"joe@[a.\rb]", kNone},
      {"joe@a+cn=b", kNone},
      {"joe@#a", kNone},
  };
  for (const auto& [address, expected] : cases) {
    const std::string tail = address + "," + expected;
    const bool none = expected == kNone;
    EXPECT_EQ(suffix(address), expected) << address;
    EXPECT_EQ(cn(address), none ? kNone : "cn=" + tail) << address;
    EXPECT_EQ(mail(address), none ? kNone : "mail=" + tail) << address;
  }
  EXPECT_EQ(client.GetSuffix(nullptr), nullptr);
  EXPECT_EQ(client.Mail2DN(nullptr), nullptr);
  EXPECT_EQ(client.CreateDNFromMail(nullptr), nullptr);
}

TEST_F(MailDn, NeverCutsAName) {
  constexpr std::size_t kMostOfMail = 2000 - sizeof "mail=,dc=a,dc=b";
  EXPECT_EQ(cn(padded("j@a.b", 255)),
            "cn=" + padded("j@a.b", 255) + ",dc=a,dc=b");
  EXPECT_EQ(cn(padded("j@a.b", 256)), kNone);
  const std::string longest = padded("j@a.b", kMostOfMail);
  const std::string name = "mail=" + longest + ",dc=a,dc=b";
  const char* buffer = client.CreateDNFromMail(Text(longest));
  EXPECT_EQ(buffer, name);
  EXPECT_EQ(mail(longest + " "), kNone);
  EXPECT_EQ(buffer, name);
  // The most components that a domain can have.
  std::string domain = "a";
  std::string components = "dc=a";
  while (domain.size() < 253) {
    domain += ".a";
    components += ",dc=a";
  }
  EXPECT_EQ(cn("j@" + domain), "cn=j@" + domain + "," + components);
  EXPECT_EQ(mail("j@a" + domain), kNone);
  char* block = client.GetSuffix(Text("j@" + domain));
  ASSERT_EQ(block, components);
  for (std::size_t i = components.size(); i < 2048; ++i) {
    ASSERT_EQ(block[i], '\0');
  }
  client.free(block);
}

}  // namespace
}  // namespace test
