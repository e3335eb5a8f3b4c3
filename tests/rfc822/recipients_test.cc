#include <configapi/internals.h>
#include <configapi/rfc822.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "exact_text.h"
#include "support/alloc_fault.h"

namespace {

using Texts = std::vector<std::string>;

std::string shown(const char* text) {
  return text != nullptr ? text : "null";
}

// "canon|orig|phrase|comment|local|domain"
std::string shown(const Recipient& r) {
  return shown(r.canon) + "|" + shown(r.orig) + "|" + shown(r.phrase) + "|" +
         shown(r.comment) + "|" + shown(r.local) + "|" + shown(r.domain);
}

// A host's table; it is sound after every use.
class Table {
 public:
  Table() = default;
  ~Table() { Clear_RT(&table_); }
  Table(const Table&) = delete;
  Table& operator=(const Table&) = delete;
  Table(Table&&) = delete;
  Table& operator=(Table&&) = delete;

  unsigned int add(const std::string& list) {
    const test::ExactText text(list);
    return RecipParse(text.get(), &table_, 0);
  }
  RecipTable* get() { return &table_; }

  [[nodiscard]] Texts recipients() const {
    Texts all;
    const Recipient* last = nullptr;
    for (const auto* r = table_.first; r != nullptr; r = r->next) {
      all.push_back(shown(*r));
      last = r;
    }
    EXPECT_EQ(all.size(), table_.count);
    EXPECT_EQ(table_.last, last);
    return all;
  }

 private:
  RecipTable table_{};
};

Texts parsed(const std::string& list) {
  Table table;
  const unsigned int count = table.add(list);
  const Texts recipients = table.recipients();
  EXPECT_EQ(count, recipients.size());
  return recipients;
}

TEST(RecipParse, FilesTheParts) {
  const struct {
    std::string list;
    Texts recipients;
  } kRows[] = {
      {"a@b, x@y", {"a@b|a@b|||a|b", "x@y|x@y|||x|y"}},
      {"postmaster", {"postmaster|postmaster|||postmaster|"}},
      {" a@b ,", {"a@b|a@b|||a|b"}},
      {"x@y, a@b (note)", {"x@y|x@y|||x|y", "a@b|a@b (note)||note|a|b"}},
      {"a@b(x), c", {"a@b(x)|a@b(x)|||a|b(x)", "c|c|||c|"}},
      {"Joe Q <j.q@h.i>", {"j.q@h.i|Joe Q <j.q@h.i>|Joe Q||j.q|h.i"}},
      {"Joe\r\n Q\t<j@h>\r\n ,\r\n x",
       {"j@h|Joe\r\n Q\t<j@h>|Joe Q||j|h", "x|x|||x|"}},
      {"\"Q, Joe\" <j@h>,<k@h>",
       {"j@h|\"Q, Joe\" <j@h>|\"Q, Joe\"||j|h", "k@h|<k@h>|||k|h"}},
      {"Joe (the) <j@h>", {"j@h|Joe (the) <j@h>|Joe|the|j|h"}},
      {"<@r,@s:u@h>, <@r:u>",
       {"<@r,@s:u@h>|<@r,@s:u@h>|||u|h", "<@r:u>|<@r:u>|||u|"}},
      {"Team: a@b, x@y;", {"Team: a@b, x@y;|Team: a@b, x@y;|Team||x|y"}},
      {"T:  Ann <a@b> ,\n x (n);",
       {"T: a@b, x;|T:  Ann <a@b> ,\n x (n);|Ann|n|x|b"}},
  };
  for (const auto& row : kRows) {
    EXPECT_EQ(parsed(row.list), row.recipients) << row.list;
  }
}

// Canonical forms of a list, with blanks between.
std::string addresses(const std::string& list) {
  std::string all;
  for (const auto& recipient : parsed(list)) {
    all += (all.empty() ? "" : " ") + recipient.substr(0, recipient.find('|'));
  }
  return all;
}

TEST(RecipParse, FindsWhereAnAddressEnds) {
  const struct {
    const char* list;
    const char* addresses;
  } kRows[] = {
      // After its separator.
      {"a@b; x@y", "a@b x@y"},
      {"a@b,x@y;", "a@b x@y"},
      {"a@b> x@y", "a@b x@y"},
      {"a@b>, x@y", "a@b x@y"},
      {"a@b> , x@y", "a@b x@y"},
      // The grammar is done at ">" and at a group's ";".
      {"Joe <a@b>, x@y", "a@b x@y"},
      {"Joe <a@b> , x@y", "a@b x@y"},
      {"Joe <a@b> (note), x@y", "a@b x@y"},
      {"Joe <a@b> (n) (m) ; x@y", "a@b x@y"},
      {"Joe <a@b>;, x@y", "a@b x@y"},
      {"Joe <a@b> x@y", "a@b x@y"},
      {"<@r:a@b> , x@y", "<@r:a@b> x@y"},
      {"T: a@b; , x@y", "T: a@b; x@y"},
      {"T: a@b;(n), x@y", "T: a@b; x@y"},
      {"T: a@b; x@y", "T: a@b; x@y"},
      {"T: a@b;; x@y", "T: a@b;"},
      // Where it breaks off.
      {"John Smith, a@b", "a@b"},
      {"a@b@c, x@y", "x@y"},
      {"a b c(d, x@y)", "x@y)"},
      {"a [b, x@y], z", "z"},
      {"T: a@b, c d, x@y;, z", "x@y z"},
      {"T:;, x@y", "x@y"},
      // Empty elements.
      {"a@b,, x@y", "a@b x@y"},
      {"a@b, , x@y", "a@b"},
      {"a@b, , c, x@y", "a@b x@y"},
      {", a@b", "a@b"},
      {",, a@b, c", "c"},
      {",", ""},
      {"a@b,,,", "a@b"},
      // What nothing closes.
      {"(a@b", "a@b"},
      {"a@[x", "x"},
      {"a@b (c, x@y", "c x@y"},
      {"Joe <a@b> (c, x@y", "a@b c x@y"},
      {"T: a@b, (c, x@y", "T: a@b c x@y"},
      {"((a) x@y", "x@y"},
      // Parts that do not fit.
      {"\xff@b.c, x", "\xff@b.c x"},
  };
  for (const auto& row : kRows) {
    EXPECT_EQ(addresses(row.list), row.addresses) << row.list;
  }
  const std::string wide(256, 'w');
  EXPECT_EQ(addresses(wide + "@b, x"), "x");
  EXPECT_EQ(addresses("a@" + wide + ", x"), "x");
  EXPECT_EQ(addresses(wide + ", x"), "x");
  EXPECT_EQ(addresses("<@r,@" + wide + ",@s:u@h>, x"), "x");
  EXPECT_EQ(addresses("T: a, u@" + wide + ", c@d;, x"), "c@d x");
}

TEST(RecipParse, LastCommentCounts) {
  EXPECT_EQ(parsed("(a) Joe (b) <c@d> (e) (f), x"),
            (Texts{"c@d|(a) Joe (b) <c@d> (e) (f)|Joe|f|c|d", "x|x|||x|"}));
  EXPECT_EQ(parsed("c@d (" + std::string(300, 'n') + ")")[0].substr(0, 4),
            "c@d|");
  EXPECT_EQ(parsed("T: a@b (n); (m)"),
            Texts{"T: a@b;|T: a@b (n); (m)|T|m|a|b"});
}

TEST(RecipParse, MindsQuotes) {
  for (const char* list : {"say \"hi", "\"", "a@b, \"x\" \"", "\"a\\\" <a@b>",
                           "\"\\\\\\\" <a@b>"}) {
    test::ExactText text(list);
    RecipTable table{};
    EXPECT_EQ(RecipParse(text.get(), &table, 1), 0U) << list;
    EXPECT_EQ(table.first, nullptr) << list;
    EXPECT_STREQ(text.get(), list);
  }
  test::ExactText text("\"a \\\"b\\\" c\" <a@b>, \\\"\\\"x@y");
  Table table;
  EXPECT_EQ(RecipParse(text.get(), table.get(), 1), 2U);
  EXPECT_STREQ(text.get(), "\"a   b   c\" <a@b>,     x@y");
  EXPECT_EQ(table.recipients()[0].substr(0, 33),
            "a@b|\"a   b   c\" <a@b>|\"a   b   c\"");
  // The pair that is blanked here closed the string; it now ends with the list.
  EXPECT_EQ(parsed("\"a\\\\\"@b, c"),
            Texts{"\"a\\  @b, c|\"a\\  @b, c|||\"a\\  @b, c|"});
}

TEST(RecipParse, AppendsOrStartsOver) {
  Table table;
  EXPECT_EQ(table.add("a@b"), 1U);
  EXPECT_EQ(table.add("x@y, z"), 3U);
  EXPECT_EQ(table.add("no address"), 3U);
  EXPECT_EQ(table.add("odd \" quote"), 0U);
  EXPECT_EQ(table.add("  \r\n "), 0U);
  EXPECT_EQ(table.add(""), 0U);
  EXPECT_EQ(RecipParse(nullptr, table.get(), 0), 0U);
  EXPECT_EQ(table.recipients().size(), 3U);

  RecipTable other = *table.get();
  EXPECT_EQ(RecipParse(nullptr, &other, 1), 0U);
  EXPECT_EQ(other.first, nullptr);
  EXPECT_EQ(other.last, nullptr);
  EXPECT_EQ(other.count, 0U);
}

// A list that costs more than its length would not come to an end here.
TEST(RecipParse, ReadsLongHostileLists) {
  const struct {
    const char* piece;
    const char* tail;
    bool kept;  // each piece is a recipient
    unsigned int others;
  } kRows[] = {
      {"a@b,", "", true, 0},
      {"g:a@b;", "", true, 0},
      {"\"a\\\"b\" <c@d>,", "", true, 0},
      {"(", "", false, 0},
      {"(", "a) b@c", false, 1},
      {"(()(\"(\")", "", false, 0},
      {"[", "", false, 0},
      {"[(", "", false, 0},
      {"g:", "", false, 0},
      {"a ", "", false, 0},
      {"a@b (", "", false, 0},
      {"a,(", "", true, 0},
      {",", "", false, 0},
      {"\"a\"", "", false, 0},
      {"<@r,", "", false, 0},
      {"a.", "", false, 0},
      {"\\", "", false, 0},
      {" ", "a", false, 1},
  };
  for (const auto& row : kRows) {
    constexpr std::size_t kSize = 300000;
    std::string list;
    unsigned int pieces = 0;
    for (; list.size() < kSize; ++pieces) {
      list += row.piece;
    }
    list += row.tail;
    RecipTable table{};
    EXPECT_EQ(RecipParse(list.data(), &table, 1),
              (row.kept ? pieces : 0) + row.others)
        << row.piece << row.tail;
    Clear_RT(&table);
  }
}

TEST(RecipParse, SurvivesEachFailedAllocation) {
  const std::string list = "Joe <a@b> (n), no address, T: x@y;, p";
  const Texts whole = parsed(list);
  ASSERT_EQ(whole.size(), 3U);
  // Of each recipient: the record, five texts, and its text as written.
  constexpr int kEach = 7;
  for (int n = 1; n <= 3 * kEach; ++n) {
    const test::ExactText text(list);
    Table table;
    unsigned int count = 0;
    {
      const test::AllocFault fault(n);
      count = RecipParse(text.get(), table.get(), 1);
      ASSERT_TRUE(test::AllocFault::happened()) << n;
    }
    const auto hit = static_cast<std::size_t>((n - 1) / kEach);
    const int which = (n - 1) % kEach;
    Texts expected = whole;
    if (which == 0) {
      expected.resize(hit);
      EXPECT_EQ(count, 0U) << n;
    } else if (which < kEach - 1) {
      // The record goes on to serve the next address.
      expected.erase(expected.begin() + static_cast<std::ptrdiff_t>(hit));
    } else {
      const auto begin = expected[hit].find('|') + 1;
      expected[hit].replace(begin, expected[hit].find('|', begin) - begin,
                            "null");
    }
    EXPECT_EQ(table.recipients(), expected) << n;
  }
}

TEST(RecipParse, ServesManyThreads) {
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([t] {
      const std::string name(1, static_cast<char>('a' + t));
      for (int i = 0; i < 2000; ++i) {
        EXPECT_EQ(addresses("X (y) <" + name + "@" + name + ">, no good, (c)" +
                            name + ", g:" + name + ";"),
                  name + "@" + name + " " + name + " g: " + name + ";");
      }
    });
  }
  for (auto& thread : threads) {
    thread.join();
  }
}

TEST(ParseAddr, FillsTheRecipientAndTheGlobals) {
  const test::ExactText text(" \"J\\\"\" <j@h.i> (n) , \\\" x");
  Recipient rec{};
  rec.local = strdup("old");
  rec.orig = strdup("stays");
  std::memset(domainBuf, 'x', sizeof domainBuf - 1);
  const char* next = ParseAddr(text.get(), &rec);
  EXPECT_EQ(shown(rec), "j@h.i|stays|\"J  \"|n|j|h.i");
  EXPECT_STREQ(next, "    x");
  EXPECT_EQ(adrLine, next);
  EXPECT_STREQ(canonbuf, "j@h.i");
  EXPECT_STREQ(domainBuf, "h.i");
  EXPECT_EQ(domainBuf[sizeof domainBuf - 2], '\0');
  EXPECT_STREQ(commentBuf, "n");
  EXPECT_STREQ(routeBuf, "");
  Clear_RP(&rec);
}

TEST(ParseAddr, TellsWhereAnAddressBreaksOff) {
  const struct {
    const char* text;
    const char* seen_up_to;  // adrLine
    const char* next;
  } kRows[] = {
      {"a@b c@d, e", "@d, e", ", e"},
      {"a b, e", " e", ", e"},
      {", e, f", " e, f", ", f"},
      {"a b", "", ""},
      {"(a", "a", "a"},
      {"a@[b, c", "b, c", "b, c"},
  };
  for (const auto& row : kRows) {
    const test::ExactText text(row.text);
    Recipient rec{};
    EXPECT_STREQ(ParseAddr(text.get(), &rec), row.next) << row.text;
    EXPECT_STREQ(adrLine, row.seen_up_to) << row.text;
    EXPECT_EQ(shown(rec), "null|null|null|null|null|null") << row.text;
  }
}

TEST(AssignRp, ReplacesAText) {
  char* field = nullptr;
  EXPECT_EQ(AssignRp("one", &field), 1);
  EXPECT_STREQ(field, "one");
  EXPECT_EQ(AssignRp(field + 1, &field), 1);
  EXPECT_STREQ(field, "ne");
  {
    const test::AllocFault fault(1);
    EXPECT_EQ(AssignRp("two", &field), 0);
  }
  EXPECT_EQ(field, nullptr);
  EXPECT_EQ(AssignRp("", &field), 1);
  EXPECT_STREQ(field, "");
  EXPECT_EQ(AssignRp(nullptr, &field), 1);
  EXPECT_EQ(field, nullptr);
}

}  // namespace
