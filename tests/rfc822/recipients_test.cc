#include <configapi/internals.h>
#include <configapi/rfc822.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "exact_text.h"

namespace {

using Texts = std::vector<std::string>;

// "canon|orig|phrase|comment|local|domain"
std::string shown(const Recipient& r) {
  std::string all;
  for (const char* text :
       {r.canon, r.orig, r.phrase, r.comment, r.local, r.domain}) {
    all += (all.empty() ? "" : "|") + std::string(text ? text : "null");
  }
  return all;
}

std::string canon_of(const std::string& recipient) {
  return recipient.substr(0, recipient.find('|'));
}

// The recipients of a sound table, which is empty then.
Texts taken(RecipTable* table) {
  Texts all;
  const Recipient* last = nullptr;
  for (const auto* r = table->first; r != nullptr; r = r->next) {
    all.push_back(shown(*r));
    last = r;
  }
  EXPECT_EQ(all.size(), table->count);
  EXPECT_EQ(table->last, last);
  Clear_RT(table);
  return all;
}

unsigned int add(const std::string& list, RecipTable* table) {
  const test::ExactText text(list);
  return RecipParse(text.get(), table, 0);
}

Texts parsed(const std::string& list) {
  RecipTable table{};
  const unsigned int count = add(list, &table);
  const Texts recipients = taken(&table);
  EXPECT_EQ(count, recipients.size());
  return recipients;
}

// Canonical forms of a list, with blanks between.
std::string addresses(const std::string& list) {
  std::string all;
  for (const auto& recipient : parsed(list)) {
    all += (all.empty() ? "" : " ") + canon_of(recipient);
  }
  return all;
}

TEST(RecipParse, FilesTheParts) {
  const struct {
    const char* list;
    Texts recipients;
  } kRows[] = {
      {"a@b, x@y", {"a@b|a@b|||a|b", "x@y|x@y|||x|y"}},
      {"postmaster", {"postmaster|postmaster|||postmaster|"}},
      {" a@b ,", {"a@b|a@b|||a|b"}},
      {"x@y, a@b (note)", {"x@y|x@y|||x|y", "a@b|a@b (note)||note|a|b"}},
      {"a.b @ c . d", {"a.b@c.d|a.b @ c . d|||a.b|c.d"}},
      {"a@b (c) . (d) e", {"a@b.e|a@b (c) . (d) e||d|a|b.e"}},
      {"\"a b\"@c", {"\"a b\"@c|\"a b\"@c|||\"a b\"|c"}},
      {"Joe\r\n Q\t<j@h>\r\n ,\r\n x",
       {"j@h|Joe\r\n Q\t<j@h>|Joe Q||j|h", "x|x|||x|"}},
      {"\"Q, Joe\" <j@h>,<k@h>",
       {"j@h|\"Q, Joe\" <j@h>|\"Q, Joe\"||j|h", "k@h|<k@h>|||k|h"}},
      {"J \"Q.\"  S<u.v>", {"u.v|J \"Q.\"  S<u.v>|J \"Q.\" S||u.v|"}},
      {"(a) Joe (b) <c@d> (e) (f), x",
       {"c@d|(a) Joe (b) <c@d> (e) (f)|Joe|f|c|d", "x|x|||x|"}},
      {"<@r,@s:u@h>, <@r:u>",
       {"<@r,@s:u@h>|<@r,@s:u@h>|||u|h", "<@r:u>|<@r:u>|||u|"}},
      {"<@r:@s.t:u@h>", {"<@r:@s.t:u@h>|<@r:@s.t:u@h>|||u|h"}},
      {"Joe Q @r:u@h, x", {"<@r:u@h>|Joe Q @r:u@h|Joe Q||u|h", "x|x|||x|"}},
      {"Team: a@b, x@y;", {"Team: a@b, x@y;|Team: a@b, x@y;|Team||x|y"}},
      {"T:  Ann <a@b> ,\n x (n);",
       {"T: a@b, x;|T:  Ann <a@b> ,\n x (n);|Ann|n|x|b"}},
      {"A b:a.b@c, d.e.@f, <@r:u>;(m)",
       {"A b: a.b@c, d.e.@f, <@r:u>;|A b:a.b@c, d.e.@f, <@r:u>;(m)|A b|m|u|"}},
  };
  for (const auto& row : kRows) {
    EXPECT_EQ(parsed(row.list), row.recipients) << row.list;
  }
}

TEST(RecipParse, FindsWhereAnAddressEnds) {
  const struct {
    const char* list;
    const char* addresses;
  } kRows[] = {
      // After its separator.
      {"a@b; x@y", "a@b x@y"},
      {"a@b> , x@y", "a@b x@y"},
      // The grammar is done at ">" and at a group's ";".
      {"Joe <a@b> , x@y", "a@b x@y"},
      {"Joe <a@b> (n) (m) ; x@y", "a@b x@y"},
      {"Joe <a@b> x@y", "a@b x@y"},
      {"T: a@b; , x@y", "T: a@b; x@y"},
      {"T: a@b;(n), x@y", "T: a@b; x@y"},
      {"T: a@b; x@y", "T: a@b; x@y"},
      {"T: a@b;; x@y", "T: a@b;"},
      // Where it breaks off.
      {"John Smith, a@b", "a@b"},
      {"a@b@c, x@y", "x@y"},
      {"T: a@b, c d, x@y;, z", "x@y z"},
      {"T:;, x@y", "x@y"},
      // Empty elements.
      {"a@b,, x@y", "a@b x@y"},
      {"a@b, , x@y", "a@b"},
      {", a@b", "a@b"},
      {",, a@b, c", "c"},
      // What nothing closes.
      {"(a@b", "a@b"},
      {"a@[x", "x"},
      {"a@b (c, x@y", "c x@y"},
      {"Joe <a@b> (c, x@y", "a@b c x@y"},
      {"T: a@b, (c, x@y", "T: a@b c x@y"},
  };
  for (const auto& row : kRows) {
    EXPECT_EQ(addresses(row.list), row.addresses) << row.list;
  }
}

// No cut may turn one address into another.
TEST(RecipParse, RefusesPartsThatDoNotFit) {
  const auto x = [](std::size_t n) { return std::string(n, 'x'); };
  const struct {
    std::string text;
    std::size_t canonical;  // 0: refused
  } kRows[] = {
      {x(255), 255},
      {x(256), 0},
      {"\"" + x(253) + "\"", 255},
      {"\"" + x(254) + "\"", 0},
      {"<" + x(255) + ">", 255},
      {"<" + x(256) + ">", 0},
      {x(127) + "@" + x(127), 255},
      {x(127) + "@" + x(128), 0},
      {"<" + x(127) + "@" + x(127) + ">", 255},
      {"<" + x(127) + "@" + x(128) + ">", 0},
      {"a@[" + x(600) + "]", 0},
      {"a@" + x(126) + " . " + x(126), 255},
      {"a@" + x(126) + " . " + x(127), 0},
      {"<@" + x(248) + ":u@h>", 255},
      {"<@" + x(249) + ":u@h>", 0},
      {"<@r,@" + x(260) + ",@s:u@h>", 0},
      {"T: a@" + x(254) + ";", 0},
      {"T: @" + x(300) + ":u;", 0},
  };
  for (const auto& row : kRows) {
    // A comment takes the way of those that are not plain.
    for (const auto& text : {row.text, "(c) " + row.text}) {
      EXPECT_EQ(canon_of(parsed("p, " + text).back()).size(),
                row.canonical != 0 ? row.canonical : 1)
          << text;
    }
  }
}

TEST(RecipParse, CutsPhrasesBetweenCharacters) {
  const auto phrase_of = [](const std::string& text) {
    const std::string found = parsed(text + " <a@b>").at(0);
    return found.substr(found.rfind("<a@b>|") + 6,
                        found.rfind("||a|b") - found.rfind("<a@b>|") - 6);
  };
  const std::string word(100, 'x');
  const std::string name = word + " " + word + " ";
  EXPECT_EQ(phrase_of(name + word), name + word.substr(0, 53));
  const std::string fits(254, 'x');
  EXPECT_EQ(phrase_of(fits + "\xc3\xa9"), fits);
  EXPECT_EQ(phrase_of(fits.substr(1) + "\t\xc3\xa9"), fits.substr(1) + " ");
}

TEST(RecipParse, KeepsTheMailboxesOfAGroupThatFit) {
  const std::string wide = "w@" + std::string(118, 'w');
  const std::string two = "T: " + wide + ", " + wide;
  EXPECT_EQ(addresses(two + ", y@y, z@z;"), two + ", y@y;");
  EXPECT_EQ(addresses(two + "w, long@y.z, z@z;"), two + "w, z@z;");
  EXPECT_EQ(addresses("Team: a@" + std::string(250, 'a') + ", x@y;"),
            "Team: x@y;");
  const std::string name(300, 'n');
  EXPECT_EQ(addresses(name + ": a@b;"), name.substr(0, 253) + ":;");
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
  const test::ExactText text("\"a \\\"b\\\" c\" <a@b>, \\\"\\\"x@y");
  RecipTable table{};
  EXPECT_EQ(RecipParse(text.get(), &table, 1), 2U);
  EXPECT_STREQ(text.get(), "\"a   b   c\" <a@b>,     x@y");
  EXPECT_EQ(taken(&table)[0].substr(0, 33),
            "a@b|\"a   b   c\" <a@b>|\"a   b   c\"");
  // The pair that is blanked here closed the string; it now ends with the list.
  EXPECT_EQ(parsed("\"a\\\\\"@b, c"),
            Texts{"\"a\\  @b, c|\"a\\  @b, c|||\"a\\  @b, c|"});
}

TEST(RecipParse, AppendsOrStartsOver) {
  RecipTable table{};
  EXPECT_EQ(add("a@b", &table), 1U);
  EXPECT_EQ(add("x@y, z", &table), 3U);
  EXPECT_EQ(add("no address", &table), 3U);
  for (const char* none : {"odd \" quote", "  \r\n ", ""}) {
    EXPECT_EQ(add(none, &table), 0U);
  }
  EXPECT_EQ(RecipParse(nullptr, &table, 0), 0U);
  RecipTable other = table;
  EXPECT_EQ(RecipParse(nullptr, &other, 1), 0U);
  EXPECT_EQ(taken(&other).size(), 0U);
  EXPECT_EQ(taken(&table).size(), 3U);
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
      {"[(", "", false, 0},
      {"g:", "", false, 0},
      {"a@b (", "", false, 0},
      {"a,(", "", true, 0},
      {",", "", false, 0},
      {"<@r,", "", false, 0},
  };
  for (const auto& row : kRows) {
    std::string list;
    unsigned int pieces = 0;
    for (; list.size() < 300000; ++pieces) {
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

TEST(ParseAddr, FillsTheRecipientAndTheGlobals) {
  const test::ExactText text(" \"J\\\"\" (one) <@r.s,@t:u@h.i> (n) , \\\" x");
  Recipient rec{};
  rec.local = strdup("old");
  rec.orig = strdup("stays");
  std::memset(domainBuf, 'x', sizeof domainBuf - 1);
  const char* next = ParseAddr(text.get(), &rec);
  EXPECT_EQ(shown(rec), "<@r.s,@t:u@h.i>|stays|\"J  \"|n|u|h.i");
  EXPECT_STREQ(next, "    x");
  EXPECT_EQ(adrLine, next);
  const Texts globals{canonbuf, domainBuf, localBuf,   phraseBuf, specBuf,
                      routeBuf, routeaBuf, commentBuf, wordBuf,   LexToken};
  EXPECT_EQ(globals, (Texts{"<@r.s,@t:u@h.i>", "h.i", "u", "\"J  \"", "u@h.i",
                            "@r.s,@t", "<@r.s,@t:u@h.i>", "n", "u", "i"}));
  EXPECT_EQ(domainBuf[sizeof domainBuf - 2], '\0');
  EXPECT_EQ(LexDotSkip, 0);
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
      {"(a", "a", "a"},
      {"a@[b, c", "b, c", "b, c"},
      {"T: a@b (x", "x", "x"},
      {"@b", "", ""},
      {"a;", "", ""},
      {"<>", "", ""},
      {"<a b@c>", "@c>", ""},
      {"T: a@b", "", ""},
      {"A: B: c@d;", " c@d;", ""},
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
  EXPECT_EQ(AssignRp("", &field), 1);
  EXPECT_STREQ(field, "");
  EXPECT_EQ(AssignRp(nullptr, &field), 1);
  EXPECT_EQ(field, nullptr);
}

}  // namespace
