// Real messages: whatever their meaning, it does not depend on line ends or on
// where the buffers end. Skipped where the corpus is not present.

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <string>
#include <vector>

#include "rfc822/header_fixture.h"
#include "support/temp_folder.h"

namespace {

using test::Detail;
using test::parse;
using test::Parsed;

struct Message {
  std::string path;
  std::string header;  // and the first bytes of the body
};

// A little of the body, so that reading too far would show.
std::string header_of(const std::string& message) {
  const std::size_t lf = message.find("\n\n");
  const std::size_t crlf = message.find("\n\r\n");
  return message.substr(0, std::min({lf, crlf, message.size()}) + 64);
}

std::vector<Message> read_corpus() {
  std::vector<Message> messages;
  const std::filesystem::path folder = CONFIGAPI_CORPUS_FOLDER "/messages";
  if (std::filesystem::exists(folder)) {
    for (const auto& entry :
         std::filesystem::recursive_directory_iterator(folder)) {
      if (entry.is_regular_file()) {
        messages.push_back(
            {entry.path().string(), header_of(test::read_file(entry.path()))});
      }
    }
  }
  return messages;
}

class Corpus : public testing::Test {
 protected:
  void SetUp() override {
    if (messages().empty()) {
      GTEST_SKIP() << "no corpus";
    }
  }

  static const std::vector<Message>& messages() {
    static const std::vector<Message> read = read_corpus();
    return read;
  }
};

TEST_F(Corpus, ReadsTheSameWithBothLineEnds) {
  for (const auto& message : messages()) {
    const std::string lf = test::with_lf(message.header);
    if (lf.find('\r') == std::string::npos) {
      const Parsed parsed = parse(lf, Detail::kAll);
      EXPECT_EQ(parse(test::with_crlf(lf), Detail::kAll), parsed)
          << message.path;
    }
  }
}

TEST_F(Corpus, ReadsTheSameAcrossBlocks) {
  constexpr std::size_t kStep = 61;
  std::size_t byte = 0;
  for (const auto& message : messages()) {
    const test::ShiftedMessage shifted(message.header);
    const Parsed expected = parse(message.header, Detail::kAll);
    byte %= kStep;
    for (; byte < std::min<std::size_t>(message.header.size(), 4096);
         byte += kStep) {
      ASSERT_EQ(shifted.parse_with_edge_at(byte), expected)
          << message.path << " at " << byte;
    }
  }
}

TEST_F(Corpus, ReadsTheSameAcrossLineBuffers) {
  std::size_t blanks = 960;
  for (const auto& message : messages()) {
    const Parsed expected = parse(message.header, Detail::kAll);
    const std::string wide = test::widen(message.header, blanks);
    EXPECT_EQ(parse(wide, Detail::kAll), expected)
        << message.path << " with " << blanks;
    blanks = blanks == 1024 ? 960 : blanks + 1;
  }
}

}  // namespace
