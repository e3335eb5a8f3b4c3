// Stands before some functions of the LDAP library, for answers that no server
// gives on demand. All others, and these unless told, do their own work.

#ifndef CONFIGAPI_TESTS_INTERCEPT_H_
#define CONFIGAPI_TESTS_INTERCEPT_H_

#include <functional>
#include <map>
#include <string>
#include <vector>

namespace test {

// What a function answers instead of being called. ldap_connect fails with
// that in errno; ldap_first_attribute finds none and leaves that code.
inline std::map<std::string, int, std::less<>> ldap_answers;

// The calls that were answered, and what they asked for.
inline std::vector<std::string> ldap_calls;

}  // namespace test

#endif  // CONFIGAPI_TESTS_INTERCEPT_H_
