// Parses headers out of files and tells records as texts.

#ifndef CONFIGAPI_TESTS_HEADER_FIXTURE_H_
#define CONFIGAPI_TESTS_HEADER_FIXTURE_H_

#include <configapi/lineio.h>
#include <configapi/rfc822.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <iosfwd>
#include <memory>
#include <string>
#include <string_view>

#include "support/log_capture.h"

namespace test {

struct FreeHeader {
  void operator()(Header822* header) const { Free822Header(header); }
};
using HeaderOwner = std::unique_ptr<Header822, FreeHeader>;

// How much of a recipient is told: its canonical form, or everything.
enum class Detail { kCanon, kAll };

// "field=value" and a line feed for each field that is set, in field order;
// recipients are set apart by " | ", each text of a list has its own line. A
// date that stands for the present time is told as "now".
std::string tell(const Header822& header, Detail detail = Detail::kCanon);

struct Parsed {
  int result = 0;
  unsigned lines = ~0U;
  unsigned status_line = ~0U;
  std::string record;
  LogLines log;
  bool operator==(const Parsed&) const = default;
};
void PrintTo(const Parsed& parsed, std::ostream* out);

// One open file of the line I/O, which it starts. The file is in memory: the
// tests open thousands.
class HeaderFile {
 public:
  explicit HeaderFile(std::string_view bytes);
  ~HeaderFile();
  HeaderFile(const HeaderFile&) = delete;
  HeaderFile& operator=(const HeaderFile&) = delete;
  HeaderFile(HeaderFile&&) = delete;
  HeaderFile& operator=(HeaderFile&&) = delete;

  [[nodiscard]] int handle() const { return handle_; }

  // Parses the header at the file's position into a fresh record, or into one
  // that may hold headers already.
  [[nodiscard]] Parsed parse(Detail detail = Detail::kCanon) const;
  [[nodiscard]] Parsed parse_into(Header822* header,
                                  Detail detail = Detail::kCanon) const;

 private:
  int memory_;
  int handle_ = -1;
};

// A message behind a block of 4096 bytes that its reader passes over, so that
// any byte of it can be made the first of a block.
class ShiftedMessage {
 public:
  explicit ShiftedMessage(std::string_view message);

  [[nodiscard]] Parsed parse_with_edge_at(std::size_t byte) const;

 private:
  HeaderFile file_;
};

// What a file of these bytes holds.
Parsed parse(std::string_view bytes, Detail detail = Detail::kCanon);

// Puts so many blanks between the name and the value of every header.
std::string widen(std::string_view message, std::size_t blanks);

}  // namespace test

#endif  // CONFIGAPI_TESTS_HEADER_FIXTURE_H_
