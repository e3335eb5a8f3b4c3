#include "setting_row.h"

#include <nlohmann/json.hpp>

#include "nearest.h"
#include "rules.h"

namespace configapi::tool {

Json setting_row(std::string_view section, std::string_view key) {
  return {{"address", std::string(section).append("/").append(key)},
          {"section", section},
          {"key", key}};
}

Json setting_row(const Setting& setting) {
  return setting_row(setting.section, setting.key->key);
}

void add_schema(Json* row, const Setting& setting) {
  (*row)["type"] = type_name(setting.key->type);
  (*row)["rule"] = rule_of(setting.key->type);
  (*row)["default"] = setting.key->defaultValue;
}

bool is_secret(std::string_view key) {
  constexpr std::string_view kSecret = "Password";
  key = key.substr(0, key.find(';'));  // an attribute's options follow it
  return key.size() >= kSecret.size() &&
         same_name(key.substr(key.size() - kSecret.size()), kSecret);
}

}  // namespace configapi::tool
