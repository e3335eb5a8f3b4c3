#include "soak/verdict.h"

#include <time.h>  // NOLINT(modernize-deprecated-headers): clock_gettime
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <limits>

namespace soak {

double now() {
  timespec time{};
  clock_gettime(CLOCK_BOOTTIME, &time);
  return static_cast<double>(time.tv_sec) +
         static_cast<double>(time.tv_nsec) / 1e9;
}

// Room is made at once, so that the record does not look like a leak.
Troubles::Troubles(double connect, double answer)
    : connect_(connect), answer_(answer), calls_(1 << 18) {
  calls_.clear();
}

void Troubles::add(Span call) {
  const std::lock_guard guard(lock_);
  calls_.push_back(call);
}

double Troubles::longest() const {
  double longest = 0;
  for (const Span& call : calls_) {
    longest = std::max(longest, call.end - call.begin);
  }
  return longest;
}

double Troubles::outlived(const std::vector<Span>& faults) const {
  double longest = 0;
  for (const Span& call : calls_) {
    double since = std::numeric_limits<double>::infinity();
    for (const Span& fault : faults) {
      if (fault.begin <= call.end) {
        since = std::max(call.end - fault.end, 0.0);
      }
    }
    longest = std::max(longest, since);
  }
  return longest;
}

Holdings holdings() {
  long pages = 0;
  std::ifstream("/proc/self/statm") >> pages >> pages;
  const std::filesystem::directory_iterator open("/proc/self/fd");
  return {pages * (sysconf(_SC_PAGESIZE) / 1024),
          std::distance(begin(open), end(open)) - 1};  // its own
}

void Verdict::promise(const char* text, double figure, double at_most) {
  const bool good = figure <= at_most;
  std::printf("%-7s %s: %.6g (at most %.6g)\n", good ? "kept" : "BROKEN", text,
              figure, at_most);
  kept_ = kept_ && good;
}

}  // namespace soak
