#include <gtest/gtest.h>

#include <clocale>
#include <cstdlib>
#include <string>

#include "date/date_text.h"
#include "support/temp_folder.h"

namespace {

// Makes a locale of its own, so that no locale needs to be installed: only
// localedef and the sources it reads.
class Latin1 : public testing::Test {
 protected:
  void SetUp() override {
    const std::string command =
        "localedef -i de_DE -f ISO-8859-1 '" + folder_.path(kName) + "'";
    // NOLINTNEXTLINE(cert-env33-c): no input of anybody's is in the command.
    const int status = std::system((command + " 2>/dev/null").c_str());
    setenv("LOCPATH", folder_.path(".").c_str(), 1);
    if (status != 0 || std::setlocale(LC_CTYPE, kName) == nullptr) {
      GTEST_SKIP() << "localedef cannot make " << kName;
    }
  }
  void TearDown() override { std::setlocale(LC_CTYPE, "C"); }

 private:
  static constexpr const char* kName = "de_DE.ISO-8859-1";
  test::TempFolder folder_;
};

// 0xE4 is a letter of Latin-1 and nothing in the C locale.
const char* const kDayName = "M\xE4rz, 16 Nov 1998";
const char* const kMonth = "16 Nov\xE4 1998";
const char* const kZone = "16 Nov 1998 12:00 EST\xE4";

TEST(CLocale, BytesAbove127AreInNoClass) {
  EXPECT_EQ(test::parsed(rfc2UTC, kDayName), "refused");
  EXPECT_EQ(test::parsed(rfc2UTC, kMonth), "refused");
  EXPECT_EQ(test::parsed(rfc2UTC, kZone), "1998-11-16 12:0:0 -300 f1");
}

TEST_F(Latin1, LettersFollowTheLocale) {
  EXPECT_EQ(test::parsed(rfc2UTC, kDayName), "1998-11-16 0:0:0 0 f0");
  EXPECT_EQ(test::parsed(rfc2UTC, kMonth), "1998-11-16 0:0:0 0 f0");
  EXPECT_EQ(test::parsed(rfc2UTC, kZone), "1998-11-16 12:0:0 0 f0");
}

}  // namespace
