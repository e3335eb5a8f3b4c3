#include <configapi/rfcdate.h>
#include <gtest/gtest.h>

#include <sstream>
#include <string>

#include "date/date_text.h"

namespace {

// What both readers make of a text: the minutes, or "none".
std::string zone_of(const std::string& text) {
  const test::ExactText copy(text);
  const UTC_DATE before{1, 2, 3, 4, 5, 6, 7, 8, DATE_SECONDS};
  UTC_DATE date = before;
  getzone(copy.get(), &date);
  const int minutes = GetZoneInt(copy.get());
  if (test::describe(date) == test::describe(before)) {
    return minutes == -1 ? "none" : "only GetZoneInt";
  }
  if (date.flags != (DATE_SECONDS | DATE_ZONE) || date.zone != minutes) {
    return "differ";
  }
  return std::to_string(minutes);
}

TEST(Zone, KnowsTheseNames) {
  std::istringstream list(
      "A -60 AHST -600 AST -240 AT -120 B -120 BST 60 BT -660 C -180 CAT -600 "
      "CCT 480 CDT -300 CET 60 CST -360 D -240 E -300 EDT -240 EET 120 "
      "EST -300 F -360 G -420 GMT 0 GST 600 H -480 HST -630 I -540 IDLE 720 "
      "IDLW -720 IST 330 IT 180 JST 540 JT 450 K -600 L -660 M -720 MDT -360 "
      "MET 60 MST -420 MT 510 N 60 NFT -210 NST 390 NT -660 NZT 690 O 120 "
      "P 180 PDT -420 PST -480 Q 240 R 300 S 360 SAST 570 SST 420 T 420 U 480 "
      "UT 0 V 540 W 600 WAT -60 WDT 60 WET 0 X 660 Y 720 YST -540 Z 0");
  int rows = 0;
  std::string minutes;
  for (std::string name; list >> name >> minutes; ++rows) {
    EXPECT_EQ(zone_of(name), minutes) << name;
    EXPECT_STREQ(zone_tbl[rows].name, name.c_str());
    EXPECT_EQ(cmdbsrch(name.c_str(), zone_tbl, 64), zone_tbl[rows].value);
    EXPECT_EQ(cmd_srch(name.c_str(), zone_tbl), zone_tbl[rows].value);
  }
  EXPECT_EQ(rows, 64);
  EXPECT_EQ(zone_tbl[64].name, nullptr);
  EXPECT_EQ(zone_tbl[64].value, -99);
}

TEST(Zone, ReadsTheFirstWord) {
  const struct {
    std::string text;
    const char* expected;
  } rows[] = {
      {" \t\r\n EST", "-300"},
      {"est", "none"},
      {"UTC", "none"},
      {"ESTXY", "none"},
      {std::string(100000, 'A'), "none"},
      {"EST\xE9", "-300"},
      {"(EST)", "none"},
      {"", "none"},
      {"-0330", "-210"},
      {"+0100 (CET)", "60"},
      {"-0000", "0"},
      {"+9999", "6039"},
      // Any character is a digit: '/' is one less than '0', ':' ten more.
      {"+/:/:", "0"},
      {"+\xFF\xFF\xFF\xFF", "138897"},
      {"+", "none"},
      {"-010", "none"},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(zone_of(row.text), row.expected) << row.text.substr(0, 20);
  }
  EXPECT_EQ(GetZoneInt("-0001"), -1);
}

TEST(NameTables, SearchesAnswerWithTheEndEntry) {
  for (const char* key : {"", "@", "AA", "EDTX", "ZZ", "z", "\xFF"}) {
    EXPECT_EQ(cmdbsrch(key, zone_tbl, 64), -99) << key;
    EXPECT_EQ(cmd_srch(key, zone_tbl), -99) << key;
  }
  // The entry behind those searched is the answer, whatever it is.
  EXPECT_EQ(cmdbsrch("AST", zone_tbl, 1), -1000);
  EXPECT_EQ(cmdbsrch("A", zone_tbl, 0), -100);
  EXPECT_EQ(cmd_srch("jan", tbl_month), -1);
  EXPECT_EQ(cmd_srch("Dec", tbl_month), 11);
  // The other way: the first name of a value.
  EXPECT_STREQ(rcmd_srch(100, zone_tbl), "BST");
  EXPECT_EQ(rcmd_srch(12, tbl_month), nullptr);
}

TEST(NameTables, FoldingDropsTheHighBit) {
  std::string folded;
  for (const char c : std::string("az`{AZ09 \xE1\xFA\xE0\xFB\xC1\xFF")) {
    folded += static_cast<char>(CharConv[static_cast<unsigned char>(c)]);
  }
  EXPECT_EQ(folded, "AZ`{AZ09 AZ`{A\x7F");
}

}  // namespace
