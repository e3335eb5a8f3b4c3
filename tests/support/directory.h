// The private directory server that ctest starts for the tests that speak
// LDAP (the fixture "directory").

#ifndef CONFIGAPI_TESTS_DIRECTORY_H_
#define CONFIGAPI_TESTS_DIRECTORY_H_

#include <gtest/gtest.h>

#include <optional>
#include <string>

namespace test {

// How to reach the server as the gateway, which may read and write all but
// its own entry. The texts live as long as the object.
class Directory {
 public:
  // Reads the file named by CONFIGAPI_TEST_DIRECTORY, which holds what
  // `scripts/directory env` prints. Nothing when there is none: no server was
  // started. Throws when the file is there but cannot be made out.
  static std::optional<Directory> find();

  [[nodiscard]] const std::string& host() const { return host_; }
  [[nodiscard]] int port() const { return port_; }
  [[nodiscard]] const std::string& bind_dn() const { return bind_dn_; }
  [[nodiscard]] const std::string& password() const { return password_; }

  // Where the server has its socket "ldapi" and its "certificate.pem". The port
  // behind port() speaks TLS alone.
  [[nodiscard]] const std::string& folder() const { return folder_; }

  // Removes every entry that the gateway sees. Throws when that fails.
  void clear() const;

 private:
  Directory() = default;

  std::string host_;
  int port_ = 0;
  std::string bind_dn_;
  std::string password_;
  std::string folder_;
};

// A test case against the server, which is empty when the case begins. Where
// no server could be started the case is skipped, or fails when
// CONFIGAPI_REQUIRE_DIRECTORY is 1. A fixture that has a SetUp of its own
// calls this one first and returns at once if IsSkipped() or HasFailure().
class DirectoryTest : public ::testing::Test {
 protected:
  void SetUp() override;

  // REQUIRES: SetUp() found a server.
  [[nodiscard]] const Directory& directory() const { return *directory_; }

 private:
  std::optional<Directory> directory_;
};

}  // namespace test

#endif  // CONFIGAPI_TESTS_DIRECTORY_H_
