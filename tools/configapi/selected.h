// What a GLOB selects of a directory's holdings: what list and export have in
// common.

#ifndef CONFIGAPI_TOOLS_SELECTED_H_
#define CONFIGAPI_TOOLS_SELECTED_H_

#include <string>

#include "address.h"
#include "connection.h"
#include "holdings.h"
#include "output.h"

namespace configapi::tool {

// In the schema or not.
bool is_selected(const Holding& holding, const Selection& selection);

// Warns of the entries that the gateway does not read.
void warn_of_shadowed(const Holdings& holdings, const Output& output);

// The failure of a word that selects nothing that is set.
Failure nothing_set(const std::string& word, const Connection& connection);

}  // namespace configapi::tool

#endif  // CONFIGAPI_TOOLS_SELECTED_H_
