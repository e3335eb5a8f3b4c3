// Everything at once, in eight threads: each gets what it gets alone. The
// thread sanitizer watches the rest.

#include <configapi/config.h>
#include <configapi/internals.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdlib>
#include <iterator>
#include <string>
#include <thread>
#include <vector>

#include "base/heap_text.h"
#include "date/date_text.h"
#include "rfc822/header_fixture.h"
#include "support/client_text.h"
#include "support/stub_server.h"
#include "support/temp_folder.h"

namespace {

using configapi::HeapText;
using test::Text;

constexpr int kThreads = 8;

// All tell what came of one thread's work, in which its number stands.

std::string recipients(int number) {
  const std::string name(1, static_cast<char>('a' + number));
  const Text list("X (y) <" + name + "@" + name + ">, no good, (c)" + name +
                  ", \"" + name + "\" <@r:u@v>, g:" + name + ";");
  RecipTable table{};
  std::string all = std::to_string(RecipParse(list, &table, 1));
  for (const Recipient* r = table.first; r != nullptr; r = r->next) {
    for (const char* text :
         {r->canon, r->orig, r->phrase, r->comment, r->local, r->domain}) {
      all += std::string("|") + text;
    }
  }
  Clear_RT(&table);
  return all;
}

std::string header(int number) {
  const std::string name = std::to_string(number);
  const test::HeaderFile file(
      "From a@b Mon Jan  1 10:00:00 1998\nReceived: from " + name +
      "\nTo: \"A. B\" <@r1:a" + name + "@b> (note),\n Team: c@d, e@f;\n" +
      "Subject: folded\n  " + std::string(2000, 's') +
      "\nDate: Mon, 16 Nov 1998\n 15:48:3" + name + " -0500\nX-" + name +
      ": m\nStatus: RO\n\n");
  const test::HeaderOwner header(New822Header());
  unsigned lines = 0;
  unsigned status_line = 0;
  const int result =
      ParseHdr(file.handle(), header.get(), &lines, &status_line);
  const test::HeaderOwner undated(New822Header());
  return std::to_string(ParseLine("Date: x", undated.get()) + result) + " " +
         std::to_string(lines + status_line) +
         test::tell(*header, test::Detail::kAll);
}

std::string names(int number) {
  ldapClient client;
  const Text address("joe@d" + std::to_string(number) + ".e");
  const char* name = client.CreateDNFromMail(address);
  const HeapText suffix(client.GetSuffix(address));
  const HeapText cn(client.Mail2DN(address));
  EXPECT_EQ(client.CreateDNFromMail(address), name) << "the thread's buffer";
  return std::string(name) + " " + suffix.get() + " " + cn.get();
}

std::string dates(int number) {
  const std::string digit = std::to_string(number);
  UTC_DATE* date = nullptr;
  std::string all =
      test::parsed(ctime2UTC, "Mon Nov 16 15:48:3" + digit + " EST 1998");
  all += test::parsed(rfc2UTC, "16 Nov 98 15:4" + digit + " -0" + digit + "30");
  EXPECT_EQ(rfc2UTC(("1" + digit + " Feb 2004 1:02 PST").c_str(), &date), 1);
  char text[64];
  EXPECT_EQ(UTC2rfc(date, text), 1);
  std::free(date);
  return all + text + std::to_string(GetZoneInt(("+0" + digit + "15").c_str()));
}

std::string files(int number) {
  static const test::TempFolder folder;
  const Text path(folder.path(std::to_string(number)));
  const Text line(std::string(60, static_cast<char>('a' + number)) + "\n");
  const int out = filecreate(path, 0, 1);
  int written = 0;
  for (int i = 0; i < 100; ++i) {
    written += putline(out, line) + outch('0' + i % 10, out);
  }
  std::string all = std::to_string(written) + std::to_string(fileclose(out));
  const int in = fileopen(path, 0, 0);
  char* read = nullptr;
  for (int byte = inch(in); byte != -1; byte = inch(in)) {
    uninch(byte, in);
    all += getline(in, &read) == 1 ? read : "?";
  }
  EXPECT_EQ(setfpos(in, 61), 61);
  all += static_cast<char>(inch(in)) + std::to_string(getfpos(in));
  EXPECT_EQ(getfpos(-1 - number), -1);
  return all + std::to_string(fileclose(in));
}

// Readers, writers and refreshers of one cache; each has a server of its own,
// which always has its value.
std::string settings(int number) {
  const std::string value = "value" + std::to_string(number);
  const std::string key = "key" + std::to_string(number);
  const auto answer = [&](int id, char asked) {
    constexpr char kSearch = 0x63;
    return asked == kSearch
               ? test::ldap_entry(id, "cn=S", key, value)
               : test::ldap_message(id, static_cast<char>(asked + 1),
                                    test::ldap_result(0));
  };
  const test::StubServer server(1, answer);
  cConfig config;
  std::string all;
  all += std::to_string(
      config.ldapClientConnect(Text("127.0.0.1"), server.port()) +
      config.ldapClientBind(Text("cn=x"), Text("pw")));
  for (int i = 0; i < 20; ++i) {
    char read[32] = "";
    unsigned long type = 0;
    all += std::to_string(config.CONFIGReadData("S", key.c_str(), "directory",
                                                read, sizeof read, &type)) +
           read;
    // One that all write: whole, or none at all.
    AddCache("S", "shared", (value + value).c_str(), 2);
    if (LookupCache("S", "shared", read, sizeof read, &type) == 0) {
      const std::string shared(read);
      EXPECT_EQ(shared.substr(0, 6), shared.substr(6));
    }
    if (i % 10 == number) {
      all += std::to_string(
          config.CONFIGWriteData("Options", "LdapServer", Text("top"), 0));
    }
    if (i % 10 == 9 - number) {
      all += std::to_string(config.CONFIGRefreshCache());
    }
  }
  config.ldapClientUnbind();
  return all;
}

constexpr struct {
  const char* what;
  std::string (*work)(int number);
  int rounds;
} kRows[] = {{"recipients", recipients, 200},
             {"header", header, 50},
             {"names", names, 200},
             {"dates", dates, 200},
             {"files", files, 30},
             {"settings", settings, 3}};

TEST(Threads, GetWhatEachGetsAlone) {
  const test::LogCapture log;
  ASSERT_EQ(InitLineIO(), 0);
  std::vector<std::vector<std::string>> alone;
  for (const auto& row : kRows) {
    alone.emplace_back();
    for (int number = 0; number < kThreads; ++number) {
      alone.back().push_back(row.work(number));
    }
  }
  const char* const mine = ldapClient().CreateDNFromMail(Text("joe@a.b"));
  // Each begins with another row, so that all kinds run side by side.
  const auto work = [&alone](int number) {
    for (std::size_t i = 0; i < std::size(kRows); ++i) {
      const std::size_t at =
          (i + static_cast<std::size_t>(number)) % std::size(kRows);
      for (int round = 0; round < kRows[at].rounds; ++round) {
        ASSERT_EQ(kRows[at].work(number),
                  alone[at][static_cast<std::size_t>(number)])
            << kRows[at].what;
      }
    }
  };
  std::vector<std::jthread> threads;
  for (int number = 0; number < kThreads; ++number) {
    threads.emplace_back(work, number);
  }
  threads.clear();  // which joins them
  EXPECT_STREQ(mine, "mail=joe@a.b,dc=a,dc=b") << "no other thread's buffer";
  EXPECT_LE(thread_file_pool->count, kThreads) << "nodes are used again";
  TerminateLineIO();
  ClearCache();
}

}  // namespace
