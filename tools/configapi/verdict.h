// Whether a setting may hold a value: the library's rules, in words.

#ifndef CONFIGAPI_TOOLS_VERDICT_H_
#define CONFIGAPI_TOOLS_VERDICT_H_

#include <string>

#include "address.h"
#include "failure.h"

namespace configapi::tool {

struct Verdict {
  enum class Flaw {
    kNone,
    kEmpty,       // LDAP has no empty texts
    kTooLong,     // for the library's records
    kNotText,     // no UTF-8, or a NUL byte, where the gateway stops
    kInvalid,     // not what the key's type allows
    kNotWritable  // no value of this type is
  };

  Flaw flaw = Flaw::kNone;

  // To be read behind the address: "'soon' is not a whole number ...". A
  // secret is not quoted.
  std::string why{};

  // The value as the library would write it: it turns "3,5" into "3.5".
  std::string stored{};

  [[nodiscard]] bool ok() const { return flaw == Flaw::kNone; }
  [[nodiscard]] ExitCode code() const;
};

// Judges a value without asking a directory.
Verdict judge(const Setting& setting, const std::string& value);

// "too_long" and the like, for JSON.
const char* flaw_name(Verdict::Flaw flaw);

}  // namespace configapi::tool

#endif  // CONFIGAPI_TOOLS_VERDICT_H_
