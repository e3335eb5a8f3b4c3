#include "difference.h"

#include <algorithm>
#include <nlohmann/json.hpp>

#include "ini_text.h"
#include "setting_row.h"

namespace configapi::tool {
namespace {

bool is_masked(const Difference& difference, bool secrets) {
  return !secrets && is_secret(difference.setting.key->key);
}

std::string shown(const Values& values, bool masked) {
  if (values.empty()) {
    return "(not set)";
  }
  if (masked) {
    return std::string(kMask);
  }
  if (values.size() == 1) {
    return visible(values.front());
  }
  std::string text;
  for (const auto& value : values) {
    text += (text.empty() ? "\"" : ", \"") + visible(value) + "\"";
  }
  return text;
}

void add_values(Json* row, const std::string& name, const Values& values) {
  (*row)[name] = values.empty() ? Json(nullptr) : Json(values.back());
  if (values.size() > 1) {
    (*row)[name + "_values"] = values;
  }
}

}  // namespace

std::vector<Difference> differences(const Holdings& holdings,
                                    const std::vector<Wanted>& wanted,
                                    Unnamed unnamed) {
  std::vector<Difference> list;
  for (const Holding& holding : holdings.all()) {
    if (!holding.in_schema()) {
      continue;
    }
    const auto named = std::find_if(
        wanted.begin(), wanted.end(),
        [&](const Wanted& w) { return w.setting.key == holding.setting->key; });
    const bool stays =
        named == wanted.end() ? unnamed == Unnamed::kStay : named->masked;
    if (stays) {
      continue;
    }
    const Values after = named == wanted.end() ? Values{} : named->values;
    if (after != holding.values) {
      list.push_back({*holding.setting, holding.values, after});
    }
  }
  return list;
}

std::vector<Wanted> wanted_of(const Holdings& holdings) {
  std::vector<Wanted> wanted;
  for (const Holding& holding : holdings.all()) {
    if (holding.in_schema() && !holding.values.empty()) {
      wanted.push_back({*holding.setting, holding.values});
    }
  }
  return wanted;
}

std::string difference_line(const Difference& difference, bool secrets) {
  const bool masked = is_masked(difference, secrets);
  const std::string address = address_of(difference.setting) + ": ";
  const std::string after = shown(difference.after, masked);
  return difference.before == difference.after
             ? address + after + " (as it was)"
             : address + shown(difference.before, masked) + " -> " + after;
}

Json difference_row(const Difference& difference, bool secrets) {
  Json row = setting_row(difference.setting);
  if (is_masked(difference, secrets)) {
    row["masked"] = true;
  } else {
    add_values(&row, "old", difference.before);
    add_values(&row, "new", difference.after);
  }
  return row;
}

void print(const Difference& difference, bool secrets, const Output& output) {
  if (output.json) {
    output.object(difference_row(difference, secrets));
  } else {
    output.line(difference_line(difference, secrets));
  }
}

}  // namespace configapi::tool
