// Why an address of a list was left out.

#ifndef CONFIGAPI_TOOLS_EXPLAIN_ADDRESSES_H_
#define CONFIGAPI_TOOLS_EXPLAIN_ADDRESSES_H_

#include <string_view>

#include "remark.h"

namespace configapi::tool {

// A remark for each part of a list that gives no recipient, with the token at
// which its address broke off. A list with very many of them is not explained
// to its end; the last remark says so.
//
// Uses the library's recipient parser step by step, whose state is one for the
// process: no other thread may parse addresses meanwhile.
Remarks explain_addresses(std::string_view list);

}  // namespace configapi::tool

#endif  // CONFIGAPI_TOOLS_EXPLAIN_ADDRESSES_H_
