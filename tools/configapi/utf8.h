// Telling characters from bytes, for what goes to a terminal.

#ifndef CONFIGAPI_TOOLS_UTF8_H_
#define CONFIGAPI_TOOLS_UTF8_H_

#include <cstddef>
#include <string_view>

namespace configapi::tool {

// Length in bytes of the character at the beginning of the text, when it is
// well-formed UTF-8 (RFC 3629: no overlong form, no surrogate, nothing above
// U+10FFFF) and no control character (C0, DEL, C1); else 0.
// REQUIRES: the text is not empty.
std::size_t utf8_printable(std::string_view text);

// Whether the whole text is well-formed UTF-8. Control characters are.
bool is_utf8(std::string_view text);

// Number of characters of a text in UTF-8.
std::size_t utf8_length(std::string_view text);

}  // namespace configapi::tool

#endif  // CONFIGAPI_TOOLS_UTF8_H_
