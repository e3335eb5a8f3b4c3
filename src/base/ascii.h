// Classes and letter case of ASCII, whatever the process's locale is.

#ifndef CONFIGAPI_ASCII_H_
#define CONFIGAPI_ASCII_H_

namespace configapi {

constexpr char ascii_lower(char c) {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

constexpr char ascii_upper(char c) {
  return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
}

// Space, tab, line feed, vertical tab, form feed and carriage return.
constexpr bool ascii_space(char c) {
  return c == ' ' || (c >= '\t' && c <= '\r');
}

// Whether two names are equal but for letter case. Names of settings and of
// directory attributes are ASCII; other bytes must be identical.
constexpr bool same_name(const char* a, const char* b) {
  while (*a == *b || ascii_lower(*a) == ascii_lower(*b)) {
    if (*a == '\0') {
      return true;
    }
    ++a;
    ++b;
  }
  return false;
}

}  // namespace configapi

#endif  // CONFIGAPI_ASCII_H_
