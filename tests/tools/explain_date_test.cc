// The walk that explains dates goes the library's way.

#include "explain_date.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

namespace configapi::tool {
namespace {

struct Row {
  const char* text;
  std::optional<std::size_t> fault;  // its offset
};

void check(const std::vector<Row>& rows, DateForm form) {
  for (const Row& row : rows) {
    const auto fault = find_date_fault(row.text, form);
    EXPECT_EQ(fault ? fault->offset : std::nullopt, row.fault) << row.text;
    EXPECT_EQ(read_date(row.text, form) == nullptr, row.fault.has_value())
        << "the library thinks otherwise of " << row.text;
  }
}

TEST(FindDateFault, PointsAtTheFirstWrongPart) {
  check(
      {
          {"Mon, 16 Nov 1998 15:48:37 -0500", {}},
          {"16Nov98", {}},
          {"  Mon. () 16 November 05 : 5 : 7", {}},
          {"", 0},
          {" Mon,", 5},
          {"Nov 16 1998", 7},
          {"x16 Nov 1998", {}},
          {"16-Nov-1998", 2},
          {"16 nov 1998", 3},
          {"16 No 1998", 3},
          {"16 Nov", 6},
          {"16 Nov x", 7},
          {"16 Nov 38", 7},
          {"16 Nov 100", 7},
          {"16 Nov 2038", 7},
          {"16 Nov 99999999999999999999", 7},
          {"31 Apr 1999", 0},
          {"Thu, 0 Jan 1999", 5},
          {"29 Feb 2000", {}},
          {"29 Feb 1999", 0},
          {"1 Jan 1999 24:00", 11},
          {"1 Jan 1999 23:60:99", 14},
          {"1 Jan 1999 23:59:60", 17},
          {"1 Jan 1999 :60", 12},
          {"1 Jan 1999 12:", {}},
          {"1 Jan 1999 12::61", 15},
          {"1 Jan 1999 12.30", {}},
      },
      DateForm::kRfc822);
  check(
      {
          {"Mon Nov 16 15:48:37 1998\n", {}},
          {"Mon Nov 16 15:48:37 MET DST 1998", 24},
          {"Mon Nov 31 25:61:99 1998", {}},
          {"Mon\tNov\t16", 0},
          {"Mon  nov 16 1998", 5},
          {"Mon Nov x", 8},
          {"Mon Nov 16 1998", 15},
          {"Mon Nov 16 15:48:37 +0100 1998", 20},
          {"Mon Nov 16 15:48:37 1938", 20},
      },
      DateForm::kCtime);
}

TEST(FindDateFault, AgreesWithTheLibraryOnRealDates) {
  const std::filesystem::path folder = CONFIGAPI_CORPUS_FOLDER "/dates";
  if (!std::filesystem::exists(folder)) {
    GTEST_SKIP() << "no corpus";
  }
  for (const auto& entry : std::filesystem::directory_iterator(folder)) {
    // "case TAB source" per row, with escapes that are no matter here.
    std::ifstream file(entry.path());
    for (std::string date; std::getline(file, date);) {
      date.resize(std::min(date.find('\t'), date.size()));
      for (const DateForm form : {DateForm::kRfc822, DateForm::kCtime}) {
        EXPECT_EQ(find_date_fault(date, form).has_value(),
                  read_date(date, form) == nullptr)
            << date;
        EXPECT_FALSE(explain_date(date, form).empty()) << date;
      }
    }
  }
}

}  // namespace
}  // namespace configapi::tool
