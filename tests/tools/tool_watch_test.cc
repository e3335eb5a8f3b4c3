// `configapi watch` beside a writer, on a server of its own that restarts.

#include <gtest/gtest.h>
#include <stdlib.h>  // NOLINT(modernize-deprecated-headers): setenv()
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <fstream>
#include <sstream>
#include <string>
#include <thread>

#include "pending_records.h"
#include "support/client_test.h"
#include "support/temp_folder.h"
#include "tools/run_tool.h"

namespace {

using configapi::tool::LogRecord;
using configapi::tool::PendingRecords;
using test::AttrRecords;
using test::Text;

// A record of one entry from "3<2": a change of number 3, of what had number 2
// before; behind "+" an add, behind "-" a delete.
LogRecord record_of(std::string text) {
  LogRecord record;
  record.entry = "e";
  record.kind = text[0] == '+'   ? LogRecord::Kind::kAdd
                : text[0] == '-' ? LogRecord::Kind::kDelete
                                 : LogRecord::Kind::kModify;
  text.erase(0, record.kind == LogRecord::Kind::kModify ? 0 : 1);
  const std::size_t at = std::min(text.find('<'), text.size());
  record.csn = text.substr(0, at);
  record.before = text.substr(std::min(at + 1, text.size()));
  return record;
}

TEST(PendingRecords, HoldWhenTheEntryBearsThemOut) {
  const struct {
    const char* what;
    const char* records;
    const char* now;      // the number of what is there, "" for no entry
    const char* at_once;  // of each record in turn, whether it holds
    const char* late;     // and what is told once patience has ended
  } rows[] = {
      {"a row of changes", "2<1 3<2", "3", "yy", ""},
      {"taken back, then changed", "2<1 3<1", "3", "ny", ""},
      {"taken back, or still open", "2<1 3<2", "2", "y", "n"},
      {"the last one is still to come", "2<1", "3", "", "y"},
      {"made and gone", "+2 3<2 -4<3", "", "yyy", ""},
      {"made again", "-2<1 +3", "3", "yy", ""},
      {"never made", "+2", "", "", "n"},
      {"before is not told", "2 3", "3", "yy", ""},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    PendingRecords pending;
    const PendingRecords::Time start;
    std::istringstream records(row.records);
    for (std::string record; records >> record;) {
      pending.add(record_of(record), start);
    }
    configapi::tool::PresentEntries present;
    if (*row.now != '\0') {
      present["e"] = row.now;
    }
    const auto taken = [&](PendingRecords::Time now) {
      pending.judge(present, now);
      std::string holds;
      while (const auto decided = pending.next()) {
        holds += decided->holds ? 'y' : 'n';
      }
      return holds;
    };
    EXPECT_EQ(taken(start), row.at_once);
    EXPECT_EQ(taken(start + 2 * PendingRecords::kPatience), row.late);
    EXPECT_TRUE(pending.empty());
  }
}

class ToolWatch : public ::testing::Test {
 protected:
  void SetUp() override {
    ::setenv("CONFIGAPI_DIRECTORY", folder_.path("state").c_str(), 1);
    const int status = script("start");
    if (status == 77 && ::getenv("CONFIGAPI_REQUIRE_DIRECTORY") == nullptr) {
      GTEST_SKIP() << "skipped: slapd is not installed";
    }
    ASSERT_EQ(status, 0);
    std::ifstream lines(folder_.path("state/env"));
    for (std::string word; lines >> word;) {
      if (const auto at = word.find('='); at != std::string::npos) {
        ::setenv(word.substr(0, at).c_str(), word.substr(at + 1).c_str(), 1);
      }
    }
    ASSERT_TRUE(connect());
    ASSERT_EQ(client_.ldapClientAdd(
                  Text("cn=Tuning"),
                  AttrRecords({{0, "objectclass", "qxconfig"}}).list()),
              0);
    alarm(60);
  }
  void TearDown() override {
    alarm(0);
    client_.ldapClientUnbind();
    script("stop");
  }

  static int script(const std::string& command) {
    const std::string line =
        CONFIGAPI_SCRIPTS "/directory " + command + " >/dev/null";
    // NOLINTNEXTLINE(*-command-processor,cert-env33-c): our own script
    return WEXITSTATUS(std::system(line.c_str()));
  }

  bool connect() {
    const std::string password =
        test::read_file(::getenv("CONFIGAPI_PASSFILE"));
    return client_.ldapClientConnect(Text(::getenv("CONFIGAPI_HOST")),
                                     std::stoi(::getenv("CONFIGAPI_PORT"))) ==
               0 &&
           client_.ldapClientBind(Text(::getenv("CONFIGAPI_BINDDN")),
                                  Text(password)) == 0;
  }
  bool change(const std::string& key, const std::string& value) {
    return client_.ldapClientModify(Text("cn=Tuning"),
                                    AttrRecords({{2, key, value}}).list()) == 0;
  }

  // As long as a line of the output can be awaited, changes a setting.
  void open_watch() {
    const std::string line = "exec " CONFIGAPI_TOOL " watch 'Tuning/DNS*' 2>" +
                             folder_.path("errors");
    // "e", for the server that is started later must not hold the pipe open.
    // NOLINTNEXTLINE(*-command-processor,cert-env33-c): our own program
    watch_ = ::popen(line.c_str(), "re");
    std::atomic<bool> ready = false;
    std::thread prober([&] {
      for (int i = 0; !ready; ++i) {
        EXPECT_TRUE(change("DNSretries", std::to_string(i)));
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
      }
    });
    next_line();
    ready = true;
    prober.join();
  }
  // The next line without its time, less those of the prober.
  std::string next_line() {
    std::array<char, 512> line{};
    const bool probing = probed_;
    do {
      if (std::fgets(line.data(), line.size(), watch_) == nullptr) {
        return "";
      }
      probed_ = true;
    } while (probing && std::string_view(line.data()).find("/DNSretries:") !=
                            std::string_view::npos);
    const std::string text = line.data();
    return text.substr(text.find(' ') + 1);
  }

  const test::TempFolder folder_;
  cConfig client_;
  std::FILE* watch_ = nullptr;
  bool probed_ = false;
};

TEST_F(ToolWatch, MissesNothingAndShowsNothingTwice) {
  constexpr int kChanges = 1000;
  ASSERT_NO_FATAL_FAILURE(open_watch());
  std::thread writer([this] {
    std::thread restart;
    for (int i = 1; i <= kChanges; ++i) {
      if (i == kChanges / 2) {
        restart = std::thread([] { EXPECT_EQ(script("cycle"), 0); });
      }
      while (!change("DNStimeout", std::to_string(i))) {
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
        connect();
      }
    }
    restart.join();
  });
  std::string before = "(not set)";
  for (int i = 1; i <= kChanges && !HasFailure(); ++i) {
    const std::string after = std::to_string(i);
    EXPECT_EQ(next_line(), "uid=gateway Tuning/DNStimeout: " + before + " -> " +
                               after + "\n");
    before = after;
  }
  writer.join();
  EXPECT_EQ(::pclose(watch_), 0) << "nobody reads any more";
  const std::string errors = test::read_file(folder_.path("errors"));
  EXPECT_NE(errors.find("; connecting again\n"), std::string::npos);
  EXPECT_NE(errors.find(" is back\n"), std::string::npos);
  EXPECT_EQ(test::lines_in(errors), 2) << errors;
}

}  // namespace
