// A process in a locale other than "C".

#ifndef CONFIGAPI_TESTS_LATIN1_H_
#define CONFIGAPI_TESTS_LATIN1_H_

#include <gtest/gtest.h>

#include <clocale>
#include <cstdlib>
#include <string>

#include "support/temp_folder.h"

namespace test {

// German in ISO-8859-1: 0xE4 is a letter, the decimal mark a comma. The locale
// is made here, so that none needs to be installed: only localedef and the
// sources it reads.
class Latin1 : public testing::Test {
 protected:
  void SetUp() override {
    const std::string command =
        "localedef -i de_DE -f ISO-8859-1 '" + folder_.path(kName) + "'";
    // NOLINTNEXTLINE(cert-env33-c): no input of anybody's is in the command.
    const int status = std::system((command + " 2>/dev/null").c_str());
    setenv("LOCPATH", folder_.path(".").c_str(), 1);
    if (status != 0 || std::setlocale(LC_ALL, kName) == nullptr) {
      GTEST_SKIP() << "localedef cannot make " << kName;
    }
  }
  void TearDown() override { std::setlocale(LC_ALL, "C"); }

 private:
  static constexpr const char* kName = "de_DE.ISO-8859-1";
  TempFolder folder_;
};

}  // namespace test

#endif  // CONFIGAPI_TESTS_LATIN1_H_
