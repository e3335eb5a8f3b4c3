#include <configapi/config.h>

#include <cstdio>
#include <cstring>

int main() {
  cConfig config;
  char value[64] = "";
  unsigned long type = 0;
  const int result = config.CONFIGReadData("Options", "LdapServer", nullptr,
                                           value, sizeof value, &type);
  std::printf("Options/LdapServer: %s (%s)\n", value, ul2str(type));
  return result == 0 && std::strcmp(value, "bottom,top") == 0 ? 0 : 1;
}
