// Real messages: whatever their meaning, it does not depend on line ends or on
// where the buffers end. Skipped where the corpus is not present.

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <map>
#include <string>

#include "rfc822/header_fixture.h"
#include "rfc822/line_ends.h"
#include "support/temp_folder.h"

namespace {

using test::Detail;
using test::parse;
using test::Parsed;

// A little of the body, so that reading too far would show.
std::string header_of(const std::string& message) {
  const std::size_t lf = message.find("\n\n");
  const std::size_t crlf = message.find("\n\r\n");
  return message.substr(0, std::min({lf, crlf, message.size()}) + 64);
}

// The headers by their paths.
std::map<std::string, std::string> read_corpus() {
  std::map<std::string, std::string> headers;
  const std::filesystem::path folder = CONFIGAPI_CORPUS_FOLDER "/messages";
  if (std::filesystem::exists(folder)) {
    for (const auto& entry :
         std::filesystem::recursive_directory_iterator(folder)) {
      if (entry.is_regular_file()) {
        headers[entry.path()] = header_of(test::read_file(entry.path()));
      }
    }
  }
  return headers;
}

TEST(Corpus, ReadsTheSameInAnyForm) {
  const auto headers = read_corpus();
  if (headers.empty()) {
    GTEST_SKIP() << "no corpus";
  }
  constexpr std::size_t kStep = 61;
  std::size_t byte = 0;
  std::size_t blanks = 960;
  for (const auto& [path, header] : headers) {
    SCOPED_TRACE(path);
    const Parsed expected = parse(header, Detail::kAll);
    // With both line ends.
    const std::string lf = test::with_line_ends(header, "\n");
    if (lf.find('\r') == std::string::npos) {
      for (const auto* end : {"\n", "\r\n"}) {
        EXPECT_EQ(parse(test::with_line_ends(lf, end), Detail::kAll), expected);
      }
    }
    // Across blocks.
    const test::ShiftedMessage shifted(header);
    for (byte %= kStep; byte < std::min<std::size_t>(header.size(), 4096);
         byte += kStep) {
      ASSERT_EQ(shifted.parse_with_edge_at(byte), expected) << "at " << byte;
    }
    // Across line buffers.
    EXPECT_EQ(parse(test::widen(header, blanks), Detail::kAll), expected)
        << "with " << blanks;
    blanks = blanks == 1024 ? 960 : blanks + 1;
  }
}

}  // namespace
