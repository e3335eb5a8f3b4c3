#include "connection.h"

#include <cstddef>

#include "password.h"

namespace configapi::tool {
namespace {

// The most bytes that the library takes of a host, DN or password.
constexpr std::size_t kLongestField = 63;

void require_short(const char* what, std::size_t size) {
  if (size > kLongestField) {
    throw Failure(ExitCode::kUsage, std::string(what) + " has more than " +
                                        std::to_string(kLongestField) +
                                        " bytes");
  }
}

Secret read_once(const std::string& file) {
  if (file != "-") {
    return read_password(file);
  }
  static const Secret typed = read_password(file);
  return typed;
}

}  // namespace

Secret bind_password(const Connection& connection) {
  if (connection.bind_dn.empty() != connection.password_file.empty()) {
    throw Failure(ExitCode::kUsage,
                  "a bind DN (-D) and a password file (-y) go together");
  }
  Secret password;
  if (!connection.bind_dn.empty()) {
    password = read_once(connection.password_file);
  }
  require_short("the host (-H)", connection.host.size());
  require_short("the bind DN (-D)", connection.bind_dn.size());
  require_short("the password (-y)", password.size());
  return password;
}

std::string directory_name(const Connection& connection) {
  const std::string& host = connection.host;
  const std::size_t colon = host.find(':');
  const bool is_whole =
      host.find("://") != std::string::npos ||
      host.find_first_of(" \t") != std::string::npos ||
      host.find("]:") != std::string::npos ||
      (colon != std::string::npos && colon == host.rfind(':'));
  return "directory " + host +
         (is_whole ? "" : " port " + std::to_string(connection.port));
}

Failure unreachable(const Connection& connection, const std::string& what) {
  return {ExitCode::kUnreachable, directory_name(connection) + " " + what};
}

Failure no_answer(const Connection& connection) {
  return unreachable(connection, "did not answer within " +
                                     std::to_string(connection.seconds) + " s");
}

Failure bind_refused(const Connection& connection) {
  return unreachable(connection, "refused the bind as " + connection.bind_dn);
}

std::string without_bind(const Connection& connection) {
  return connection.bind_dn.empty() ? " of a session without a bind (-D, -y)"
                                    : "";
}

}  // namespace configapi::tool
