// What would have to change for a directory to hold what it should.

#ifndef CONFIGAPI_TOOLS_DIFFERENCE_H_
#define CONFIGAPI_TOOLS_DIFFERENCE_H_

#include <cstddef>
#include <string>
#include <vector>

#include "address.h"
#include "holdings.h"
#include "output.h"

namespace configapi::tool {

using Values = std::vector<std::string>;

// What a setting should hold, as a file or another directory says.
struct Wanted {
  Setting setting;
  Values values{};
  bool masked = false;   // a secret that is not told: it stays as it is
  std::size_t line = 0;  // of the file
};

struct Difference {
  Setting setting;
  Values before{};  // empty: not set
  Values after{};   // empty: to be removed
};

enum class Unnamed { kStay, kGo };  // settings that are not among the wanted

// The differences in the schema's order. Several values differ by their order
// as well, for the gateway reads the last. What the schema does not know is
// left out.
// REQUIRES: a setting is wanted once.
std::vector<Difference> differences(const Holdings& holdings,
                                    const std::vector<Wanted>& wanted,
                                    Unnamed unnamed);

// Everything in the schema that is set.
std::vector<Wanted> wanted_of(const Holdings& holdings);

// "Tuning/DNStimeout: 5 -> 7", escaped. What is not set is "(not set)", each
// of several values stands in quotes, secrets are masked unless shown. No
// difference reads "Tuning/DNStimeout: 7 (as it was)".
std::string difference_line(const Difference& difference, bool secrets);

// The same with the members old and new, null for what is not set, and
// old_values and new_values where there are several. Secrets that are not to
// be shown are left out for a member masked.
Json difference_row(const Difference& difference, bool secrets);

// Prints either.
void print(const Difference& difference, bool secrets, const Output& output);

}  // namespace configapi::tool

#endif  // CONFIGAPI_TOOLS_DIFFERENCE_H_
