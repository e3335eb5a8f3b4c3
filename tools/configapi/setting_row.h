// How settings are shown: what get, list and describe have in common.

#ifndef CONFIGAPI_TOOLS_SETTING_ROW_H_
#define CONFIGAPI_TOOLS_SETTING_ROW_H_

#include <string>
#include <string_view>

#include "address.h"
#include "output.h"

namespace configapi::tool {

// A JSON object that begins with the members address, section and key.
Json setting_row(std::string_view section, std::string_view key);
Json setting_row(const Setting& setting);

// Adds the members type, rule and default.
void add_schema(Json* row, const Setting& setting);

// Whether a key's value is a secret: its name ends in "Password".
bool is_secret(std::string_view key);

}  // namespace configapi::tool

#endif  // CONFIGAPI_TOOLS_SETTING_ROW_H_
