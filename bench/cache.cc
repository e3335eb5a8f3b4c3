// A setting that is read again: the cache answers.

#include <configapi/config.h>

#include <string>
#include <vector>

#include "harness.h"

namespace {

constexpr unsigned long kFieldSize = 512;

void read_setting(std::size_t units) {
  cConfig config;
  char value[kFieldSize];
  unsigned long type = 0;
  for (std::size_t i = 0; i < units; ++i) {
    config.CONFIGReadData("Gateway", "LogDirectory", "directory", value,
                          kFieldSize, &type);
    bench::keep(value);
  }
}

// Every setting of the schema is cached, as in a gateway that has run a while.
void fill_cache() {
  for (const auto& section : cfgTable) {
    for (const cfgKey* key = section.keys; *key->key != '\0'; ++key) {
      AddCache(section.name, key->key, "/var/spool/gateway/queue", 0);
    }
  }
}

}  // namespace

int main(int argc, char** argv) {
  constexpr double kNanoseconds = 150;
  constexpr double kNoSlower = 1.05;  // what two runs of one thing differ by
  constexpr std::size_t kCounted = 10000;
  fill_cache();

  bench::Row one{"cached_read", "call", read_setting};
  one.bound = {"ns", kNanoseconds};
  one.count_units = kCounted;

  bench::Row two{"cached_read_2_threads", "call", read_setting};
  two.threads = 2;
  two.peers = {{"one_thread", read_setting}};
  two.bound = {"one_thread", kNoSlower};
  two.count_units = kCounted;
  return bench::run(argc, argv, {one, two});
}
