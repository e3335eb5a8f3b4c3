#include <configapi/host.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <functional>
#include <regex>
#include <sstream>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "support/temp_folder.h"

namespace {

// What goes to standard error while `work` runs.
std::string logged(const std::function<void()>& work) {
  const test::TempFolder folder;
  const std::string file = folder.write("log", "");
  const int saved = dup(STDERR_FILENO);
  const int target = open(file.c_str(), O_WRONLY | O_APPEND);
  dup2(target, STDERR_FILENO);
  work();
  dup2(saved, STDERR_FILENO);
  close(saved);
  close(target);
  return test::read_file(file);
}

class LogApi : public testing::Test {
 protected:
  void SetUp() override {
    unsetenv("CONFIGAPI_LOG");
    unsetenv("CONFIGAPI_LOG_LEVEL");
  }
};

TEST_F(LogApi, WritesOneLineThatAStrangersTextCannotForge) {
  const std::string line = logged([] {
    LogMessage(1, "CONFIG API", "100 % of \"it\"\n2 1 B: x\r\x1B[2J\x7F");
  });
  EXPECT_TRUE(std::regex_match(
      line, std::regex(R"(\d{4}-\d\d-\d\dT\d\d:\d\d:\d\dZ 1 CONFIG API: )"
                       R"(100 % of "it"\?2 1 B: x\?\?\[2J\?\n)")))
      << line;
}

TEST_F(LogApi, TheThresholdLeavesOutWhatIsAboveIt) {
  const auto both = [] {
    LogMessage(1, "A", "error");
    LogMessage(6, "A", "information");
  };
  const std::pair<const char*, int> rows[] = {{"", 2},  {"6", 2}, {"5", 1},
                                              {"1", 1}, {"0", 0}, {"debug", 2}};
  for (const auto& [threshold, lines] : rows) {
    setenv("CONFIGAPI_LOG_LEVEL", threshold, 1);
    const std::string text = logged(both);
    EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), lines) << threshold;
  }
  // Syslog takes the lines away from standard error.
  setenv("CONFIGAPI_LOG_LEVEL", "6", 1);
  setenv("CONFIGAPI_LOG", "syslog", 1);
  EXPECT_EQ(logged(both), "");
}

TEST_F(LogApi, LinesOfManyThreadsStayWhole) {
  const std::string word(300, 'w');
  const std::string text = logged([&] {
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
      threads.emplace_back([&] {
        for (int i = 0; i < 200; ++i) {
          LogMessage(1, "thread", word.c_str());
        }
      });
    }
    for (auto& thread : threads) {
      thread.join();
    }
  });
  std::istringstream lines(text);
  int whole = 0;
  for (std::string line; std::getline(lines, line);) {
    whole += line.substr(line.find(' ')) == " 1 thread: " + word ? 1 : 0;
  }
  EXPECT_EQ(whole, 4 * 200);
}

}  // namespace
