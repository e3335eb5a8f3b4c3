#include <configapi/lineio.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <string>
#include <string_view>
#include <vector>

#include "support/temp_folder.h"

namespace {

using test::TempFolder;

int open_to_read(std::string path) {
  return fileopen(path.data(), 0, 0);
}

// What getline delivers until the end of the file.
std::vector<std::string> lines_of(int handle) {
  std::vector<std::string> lines;
  char* line = nullptr;
  long before = getfpos(handle);
  while (getline(handle, &line) == 1) {
    const long after = getfpos(handle);
    lines.emplace_back(line, static_cast<std::size_t>(after - before));
    EXPECT_EQ(line[after - before], '\0');
    before = after;
  }
  return lines;
}

// What it should deliver.
std::vector<std::string> split(std::string_view text) {
  std::vector<std::string> lines;
  while (!text.empty()) {
    const auto feed = text.find('\n');
    const auto length =
        std::min({feed == std::string_view::npos ? text.size() : feed + 1,
                  text.size(), std::size_t{LINEIO_LINE_SIZE}});
    lines.emplace_back(text.substr(0, length));
    text.remove_prefix(length);
  }
  return lines;
}

class LineIo : public testing::Test {
 protected:
  LineIo() { EXPECT_EQ(InitLineIO(), 0); }
  ~LineIo() override { TerminateLineIO(); }
  TempFolder folder_;
};

TEST_F(LineIo, LinesCrossTheEdgesOfPiecesAndBlocksAtEveryOffset) {
  for (std::size_t lead = 3050; lead < 4120; ++lead) {
    const std::string text = std::string(lead % 1100, 'a') + "\n" +
                             std::string(lead - lead % 1100, 'b') +
                             "cd\r\n\nefg";
    const int handle = open_to_read(folder_.write("lines", text));
    ASSERT_EQ(lines_of(handle), split(text)) << lead;
    EXPECT_EQ(fileclose(handle), 1);
  }
}

}  // namespace
