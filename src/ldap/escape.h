// Plain texts made safe to stand in directory names and search filters.

#ifndef CONFIGAPI_ESCAPE_H_
#define CONFIGAPI_ESCAPE_H_

#include <string>
#include <string_view>

namespace configapi {

// The text as the value of an RDN (RFC 4514 section 2.4).
std::string escape_dn_value(std::string_view text);

// The text as an assertion value of a filter (RFC 4515 section 3); '*' stands
// for itself.
std::string escape_filter_value(std::string_view text);

// Whether the text has only what attribute descriptions have (RFC 4512 section
// 2.5). Others cannot be escaped: in a filter, "a=b" would be a and its value.
bool is_attribute_name(std::string_view text);

}  // namespace configapi

#endif  // CONFIGAPI_ESCAPE_H_
