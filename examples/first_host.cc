// A host in one page: connects to the directory, reads a setting twice (the
// second answer comes from the cache) and stores a profile string.
//
// Usage: first_host HOST PORT BIND_DN PASSWORD_FILE

#include <configapi/config.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>

namespace {

// The texts that a client hands out go back to its free().
std::string take(ldapClient* client, char* text) {
  std::string copy = text != nullptr ? text : "(none)";
  client->free(text);
  return copy;
}

// Any text as the third argument chooses the directory, null the schema.
void show_setting(cConfig* config, const char* section, const char* key) {
  char value[512];
  unsigned long type = 0;
  const auto start = std::chrono::steady_clock::now();
  const int result = config->CONFIGReadData(section, key, "directory", value,
                                            sizeof value, &type);
  const std::chrono::duration<double, std::micro> taken =
      std::chrono::steady_clock::now() - start;
  std::printf("%s/%s = %s (result %d, %.1f us)\n", section, key,
              result == 0 ? value : "", result, taken.count());
}

void write_profile(ldapClient* client, std::string value) {
  std::string section = "FirstHost";
  std::string key = "HostName";
  std::string serial = "ConfigSerial";
  if (client->ldapWriteProfileString(section.data(), key.data(),
                                     value.data()) != 0) {
    std::puts("FirstHost/HostName: not written");
    return;
  }
  const std::string count =
      take(client, client->ldapGetProfileString(section.data(), serial.data()));
  std::printf("FirstHost/HostName = %s, ConfigSerial %s\n", value.c_str(),
              count.c_str());
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 5) {
    (void)std::fprintf(stderr, "usage: %s HOST PORT BIND_DN PASSWORD_FILE\n",
                       argv[0]);
    return 2;
  }
  std::string password;
  std::ifstream file(argv[4]);
  std::getline(file, password);

  cConfig config;
  if (config.ldapClientConnect(
          argv[1], static_cast<int>(std::strtol(argv[2], nullptr, 10))) != 0 ||
      config.ldapClientBind(argv[3], password.data()) != 0) {
    return 4;
  }
  show_setting(&config, "Gateway", "LogDirectory");
  show_setting(&config, "Gateway", "LogDirectory");
  write_profile(&config, "one.example.com");
  write_profile(&config, "two.example.com");
  config.ldapClientUnbind();
  return 0;
}
