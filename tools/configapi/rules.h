// What a value of each type has to look like, in words.

#ifndef CONFIGAPI_TOOLS_RULES_H_
#define CONFIGAPI_TOOLS_RULES_H_

#include <cstddef>
#include <string_view>

namespace configapi::tool {

// The longest value in bytes that the directory's records carry.
inline constexpr std::size_t kMaxValueBytes = 511;

// The longest attribute name in bytes that they carry.
inline constexpr std::size_t kMaxKeyBytes = 63;

// The rule of a type code, to be read after "must be"; for a code that is no
// type "of a known type".
std::string_view rule_of(unsigned long type);

// "TYPE_NUMBER", or "TYPE_?" for a code that is no type.
std::string_view type_name(unsigned long type);

}  // namespace configapi::tool

#endif  // CONFIGAPI_TOOLS_RULES_H_
