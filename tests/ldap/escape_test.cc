#include "ldap/escape.h"

#include <gtest/gtest.h>

#include <string_view>

namespace {

using namespace std::string_view_literals;

TEST(Escape, TextsInNamesAndFilters) {
  const struct {
    std::string_view text;
    std::string_view in_name;    // RFC 4514
    std::string_view in_filter;  // RFC 4515
  } rows[] = {
      {""sv, ""sv, ""sv},
      {"SMTP Server"sv, "SMTP Server"sv, "SMTP Server"sv},
      {"a=b"sv, "a=b"sv, "a=b"sv},
      {R"("+,;<>\)"sv, R"(\"\+\,\;\<\>\\)"sv, R"("+,;<>\5c)"sv},
      {"*()"sv, "*()"sv, R"(\2a\28\29)"sv},
      {"a\0b"sv, R"(a\00b)"sv, R"(a\00b)"sv},
      {"#1#"sv, R"(\#1#)"sv, "#1#"sv},
      {" a b "sv, R"(\ a b\ )"sv, " a b "sv},
      {" "sv, R"(\ )"sv, " "sv},
      {"  "sv, R"(\ \ )"sv, "  "sv},
      {" #"sv, R"(\ #)"sv, " #"sv},
      {"Größe €"sv, "Größe €"sv, "Größe €"sv},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(configapi::escape_dn_value(row.text), row.in_name);
    EXPECT_EQ(configapi::escape_filter_value(row.text), row.in_filter);
  }
}

}  // namespace
