// A component with one setting. It reads lines from its standard input and
// answers each with one line: "read" with "RESULT MILLISECONDS VALUE",
// "write VALUE" with the result.
//
// Usage: reader HOSTS BIND_DN PASSWORD_FILE

#include <configapi/config.h>

#include <chrono>
#include <fstream>
#include <iostream>
#include <string>

namespace {

// The one section that is not stored where clients see it.
std::string section = "Config";
std::string key = "version";

void read(cConfig& config) {
  using std::chrono::steady_clock;
  char value[512] = "";
  unsigned long type = 0;
  const auto start = steady_clock::now();
  config.CONFIGRefreshCache();
  const int result = config.CONFIGReadData(
      section.c_str(), key.c_str(), "directory", value, sizeof value, &type);
  const auto taken = std::chrono::duration_cast<std::chrono::milliseconds>(
      steady_clock::now() - start);
  std::cout << result << ' ' << taken.count() << ' ' << value << '\n';
}

}  // namespace

int main(int argc, char** argv) {
  std::string password;
  std::ifstream(argc == 4 ? argv[3] : "") >> password;
  cConfig config;
  if (password.empty() || config.ldapClientConnect(argv[1], 0) != 0 ||
      config.ldapClientBind(argv[2], password.data()) != 0) {
    return 1;
  }
  for (std::string word; std::cin >> word; std::cout.flush()) {
    if (word == "read") {
      read(config);
    } else if (std::cin >> word) {
      std::cout << config.ldapWriteProfileString(section.data(), key.data(),
                                                 word.data())
                << '\n';
    }
  }
  config.ldapClientUnbind();
}
