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

TEST_F(LogApi, WritesOneLineWithTimeLevelSourceAndText) {
  const std::string line =
      logged([] { LogMessage(1, "CONFIG API", "100 % of \"it\" failed"); });
  EXPECT_TRUE(std::regex_match(
      line, std::regex(R"(\d{4}-\d\d-\d\dT\d\d:\d\d:\d\dZ 1 CONFIG API: )"
                       R"(100 % of "it" failed\n)")))
      << line;
}

TEST_F(LogApi, AStrangersTextCannotForgeAnEntry) {
  const std::string line =
      logged([] { LogMessage(1, "A", "x\n2026 1 B: forged\r\x1B[2J\x7F"); });
  EXPECT_EQ(std::count(line.begin(), line.end(), '\n'), 1);
  EXPECT_NE(line.find("x?2026 1 B: forged??[2J?\n"), std::string::npos) << line;
}

TEST_F(LogApi, TheThresholdLeavesOutWhatIsAboveIt) {
  const auto both = [] {
    LogMessage(1, "A", "error");
    LogMessage(6, "A", "information");
  };
  const struct {
    const char* threshold;
    int lines;
  } rows[] = {{"", 2}, {"6", 2}, {"5", 1}, {"1", 1}, {"0", 0}, {"debug", 2}};
  for (const auto& row : rows) {
    setenv("CONFIGAPI_LOG_LEVEL", row.threshold, 1);
    const std::string text = logged(both);
    EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), row.lines)
        << row.threshold;
  }
}

TEST_F(LogApi, SyslogTakesTheLinesAwayFromStandardError) {
  setenv("CONFIGAPI_LOG", "syslog", 1);
  EXPECT_EQ(logged([] { LogMessage(6, "test", "to syslog"); }), "");
}

TEST_F(LogApi, LinesOfManyThreadsStayWhole) {
  constexpr int kThreads = 4;
  constexpr int kLines = 200;
  const std::string word(300, 'w');
  const std::string text = logged([&] {
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
      threads.emplace_back([&] {
        for (int i = 0; i < kLines; ++i) {
          LogMessage(1, "thread", word.c_str());
        }
      });
    }
    for (auto& thread : threads) {
      thread.join();
    }
  });
  std::istringstream lines(text);
  std::string line;
  int whole = 0;
  while (std::getline(lines, line)) {
    whole += line.substr(line.find(' ')) == " 1 thread: " + word ? 1 : 0;
  }
  EXPECT_EQ(whole, kThreads * kLines);
}

}  // namespace
