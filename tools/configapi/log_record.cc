#include "log_record.h"

#include <ldap.h>

#include <algorithm>
#include <array>
#include <utility>

#include "nearest.h"

namespace configapi::tool {
namespace {

using Kind = LogRecord::Kind;

std::optional<Kind> kind_of(std::string_view object_class) {
  constexpr std::array<std::pair<std::string_view, Kind>, 4> kKinds = {{
      {"auditAdd", Kind::kAdd},
      {"auditModify", Kind::kModify},
      {"auditDelete", Kind::kDelete},
      {"auditModRDN", Kind::kRename},
  }};
  for (const auto& [name, kind] : kKinds) {
    if (same_name(name, object_class)) {
      return kind;
    }
  }
  return std::nullopt;
}

// "20261123041207.000001Z" as people write it.
std::string readable_time(const std::string& stamp) {
  constexpr std::size_t kDigits = 14;
  if (stamp.size() < kDigits) {
    return stamp;
  }
  return stamp.substr(0, 4) + "-" + stamp.substr(4, 2) + "-" +
         stamp.substr(6, 2) + "T" + stamp.substr(8, 2) + ":" +
         stamp.substr(10, 2) + ":" + stamp.substr(12, 2) + "Z";
}

// The value of a line "NAME: VALUE" with this name.
std::optional<std::string> value_in(std::string_view line,
                                    std::string_view name) {
  const std::size_t colon = line.find(':');
  if (colon == std::string_view::npos ||
      !same_name(line.substr(0, colon), name)) {
    return std::nullopt;
  }
  return std::string(line.substr(std::min(colon + 2, line.size())));
}

// Where the server compares values, runs of blanks count as one.
std::string squeezed(const std::string& value) {
  std::string result;
  for (const char c : value) {
    if (c != ' ' || (!result.empty() && result.back() != ' ')) {
      result += c;
    }
  }
  if (result.ends_with(' ')) {
    result.pop_back();
  }
  return result;
}

void remove_value(Values* values, const std::string& value) {
  const auto found =
      std::find_if(values->begin(), values->end(), [&](const auto& candidate) {
        return squeezed(candidate) == squeezed(value);
      });
  if (found != values->end()) {
    values->erase(found);
  }
}

Values old_values(const LogRecord& record, std::string_view key) {
  Values values;
  for (const auto& line : record.old) {
    if (auto value = value_in(line, key)) {
      values.push_back(std::move(*value));
    }
  }
  return values;
}

// What the modifications make of the old values, or nothing when none is about
// this key. A line is "KEY:+ VALUE", or "KEY:-" for all values; a ":" parts
// two modifications of one key.
std::optional<Values> new_values(const LogRecord& record, std::string_view key,
                                 const Values& old) {
  std::optional<Values> values;
  bool replacing = false;  // the line before was "KEY:= ..." too
  for (const auto& line : record.mods) {
    const std::size_t colon = line.find(':');
    if (colon == 0 || colon == std::string::npos ||
        !same_name(line.substr(0, colon), key)) {
      replacing = false;
      continue;
    }
    if (!values) {
      values = old;
    }
    const char operation = line.size() > colon + 1 ? line[colon + 1] : '\0';
    const bool has_value = line.size() > colon + 2;
    const std::string value =
        has_value ? line.substr(std::min(colon + 3, line.size())) : "";
    if ((operation == '=' && !replacing) || (operation == '-' && !has_value)) {
      values->clear();
    }
    replacing = operation == '=';
    if (has_value && (operation == '=' || operation == '+')) {
      values->push_back(value);
    } else if (has_value && operation == '-') {
      remove_value(&*values, value);
    }
  }
  return values;
}

}  // namespace

std::optional<LogRecord> record_of(const Entry& entry) {
  LogRecord record;
  bool is_change = false;
  for (const auto& [name, value] : entry.values) {
    if (same_name(name, "objectClass")) {
      if (const auto kind = kind_of(value)) {
        record.kind = *kind;
        is_change = true;
      }
    } else if (same_name(name, "entryCSN")) {
      record.csn = value;
    } else if (same_name(name, "reqEntryUUID")) {
      record.entry = value;
    } else if (same_name(name, "reqDN")) {
      record.dn = value;
    } else if (same_name(name, "reqNewRDN")) {
      record.new_rdn = value;
    } else if (same_name(name, "reqStart")) {
      record.time = readable_time(value);
    } else if (same_name(name, "reqAuthzID")) {
      record.who = value;
    } else if (same_name(name, "reqMod")) {
      record.mods.push_back(value);
    } else if (same_name(name, "reqOld")) {
      record.old.push_back(value);
    }
  }
  if (!is_change || record.csn.empty()) {
    return std::nullopt;
  }
  if (record.who.empty()) {
    record.who = "anonymous";
  }
  for (auto& csn : old_values(record, "entryCSN")) {
    record.before = std::move(csn);
  }
  return record;
}

std::vector<Difference> changes_of(const LogRecord& record) {
  std::vector<Difference> changes;
  const std::string section = section_of(record.dn);
  if (section.empty() || record.kind == Kind::kRename) {
    return changes;
  }
  for (const Setting& setting : all_settings()) {
    if (!same_name(setting.section, section)) {
      continue;
    }
    const Values old = old_values(record, setting.key->key);
    const auto fresh = record.kind == Kind::kDelete
                           ? Values{}
                           : new_values(record, setting.key->key, old);
    if (fresh && *fresh != old) {
      changes.push_back({setting, old, *fresh});
    }
  }
  return changes;
}

std::string section_of(const std::string& dn) {
  LDAPDN parts = nullptr;
  std::string section;
  if (ldap_str2dn(dn.c_str(), &parts, LDAP_DN_FORMAT_LDAPV3) == LDAP_SUCCESS &&
      parts != nullptr) {
    for (LDAPAVA** pair = *parts; *pair != nullptr; ++pair) {
      const berval& name = (*pair)->la_attr;
      const berval& value = (*pair)->la_value;
      if (same_name({name.bv_val, name.bv_len}, "cn")) {
        section.assign(value.bv_val, value.bv_len);
      }
    }
  }
  ldap_dnfree(parts);
  return section;
}

}  // namespace configapi::tool
