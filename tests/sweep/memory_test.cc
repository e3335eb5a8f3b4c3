// Memory that runs out at each allocation in turn, in every exported function.
// What is left behind, the sanitizer's leak check reports.

#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <functional>
#include <iterator>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "support/alloc_fault.h"
#include "sweep/rows.h"

namespace {

using test::AllocFault;
using test::Failing;
using test::Frugal;
using test::kSame;
using test::Row;
using Names = std::set<std::string>;

void sweep(const Row& row, Failing failing, std::set<std::string>* seen) {
  bool failed = false;
  const std::string success =
      row.tell([](const std::function<void()>& call) { call(); });
  for (int n = 1; n == 1 || failed; ++n) {
    const std::string told = row.tell([&](const std::function<void()>& call) {
      const AllocFault fault(n, failing);
      call();
      failed = AllocFault::count() >= n;
    });
    if (failed) {
      seen->insert(told == success ? kSame : told);
    } else {
      EXPECT_EQ(told, success);
    }
  }
}

std::vector<Row> all_rows() {
  std::vector<Row> rows = test::directory_rows();
  std::ranges::move(test::heap_rows(), std::back_inserter(rows));
  return rows;
}

TEST(Memory, ThatIsOutGivesTheDocumentedResult) {
  for (const Row& row : all_rows()) {
    std::set<std::string> seen;
    sweep(row, Failing::kOne, &seen);
    sweep(row, Failing::kAllFrom, &seen);
    EXPECT_EQ(seen, row.failures) << row.names;
  }
}

TEST(Memory, IsNotAskedForByTheOthers) {
  for (const Frugal& row : test::frugal_rows()) {
    row.use([&](const std::function<void()>& call) {
      {
        const AllocFault none(0);
        call();
      }
      EXPECT_EQ(AllocFault::count(), 0) << row.names;
    });
  }
}

constexpr const char* kData =
    "cfgTable key R_bcc R_cc R_reply_to R_resent_bcc R_resent_cc R_resent_to "
    "R_ret_receipt R_sender R_to _htbl adrCanon adrLine adrlval canonbuf "
    "commentBuf commentPart csParseHdr csRecipParse domainBuf domainPart "
    "localBuf localPart phraseBuf phrasePart routeBuf routePart routeaBuf "
    "routeaPart specBuf specPart wordBuf wordPart ColToken LexDotSkip LexToken "
    "CharConv Day dmsize tbl_month zone_tbl filecs filecs2 thread_file_pool";

// What the map of exported names lists, without arguments.
Names exported() {
  Names names;
  std::ifstream map(CONFIGAPI_MAP);
  for (std::string line; std::getline(map, line);) {
    const std::size_t start = line.find_first_not_of(" \"");
    if (line.ends_with(';') && start >= 4) {
      names.insert(line.substr(start, line.find_first_of("(;", start) - start));
    }
  }
  names.erase("*");
  names.erase("}");
  return names;
}

TEST(Memory, IsLookedAtInEveryExportedFunction) {
  Names covered;
  const auto add = [&covered](const std::string& names) {
    std::istringstream words(names);
    covered.insert(std::istream_iterator<std::string>(words), {});
  };
  add(kData);
  std::ranges::for_each(all_rows(), add, &Row::names);
  std::ranges::for_each(test::frugal_rows(), add, &Frugal::names);
  Names differing;
  std::ranges::set_symmetric_difference(
      covered, exported(), std::inserter(differing, differing.end()));
  EXPECT_EQ(differing, Names());
}

}  // namespace
