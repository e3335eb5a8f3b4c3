#include "holdings.h"

#include <algorithm>
#include <array>

#include "nearest.h"

namespace configapi::tool {
namespace {

constexpr std::string_view kSectionName = "cn";

// What makes an entry an entry of settings is no setting itself.
bool is_bookkeeping(std::string_view attribute) {
  constexpr std::array<std::string_view, 3> kNames = {
      kSectionName, "objectClass", "ConfigSerial"};
  return std::any_of(kNames.begin(), kNames.end(), [&](std::string_view name) {
    return same_name(name, attribute);
  });
}

std::vector<std::string> values_of(const Entry* entry, std::string_view name) {
  std::vector<std::string> values;
  if (entry != nullptr) {
    for (const auto& [attribute, value] : entry->values) {
      if (same_name(attribute, name)) {
        values.push_back(value);
      }
    }
  }
  return values;
}

bool is_named(const Entry& entry, std::string_view section) {
  const auto names = values_of(&entry, kSectionName);
  return std::any_of(names.begin(), names.end(), [&](const std::string& name) {
    return same_name(name, section);
  });
}

bool has_section(const std::vector<Holding>& holdings,
                 std::string_view section) {
  return std::any_of(holdings.begin(), holdings.end(), [&](const Holding& h) {
    return same_name(h.section, section);
  });
}

}  // namespace

const Entry* first_named(const std::vector<Entry>& entries,
                         std::string_view section) {
  const auto entry = std::find_if(
      entries.begin(), entries.end(),
      [&](const Entry& candidate) { return is_named(candidate, section); });
  return entry != entries.end() ? &*entry : nullptr;
}

Holdings::Holdings(const std::vector<Entry>& entries) {
  const auto settings = all_settings();
  for (auto first = settings.begin(); first != settings.end();) {
    const auto last = std::find_if(
        first, settings.end(),
        [&](const Setting& s) { return s.section != first->section; });
    add_section(first->section, {first, last},
                first_named(entries, first->section));
    first = last;
  }
  for (const Entry& entry : entries) {
    for (const auto& section : values_of(&entry, kSectionName)) {
      if (!has_section(holdings_, section)) {
        add_section(section, {}, &entry);
      } else if (first_named(entries, section) != &entry) {
        shadowed_.push_back(entry.dn);
      }
    }
  }
}

void Holdings::add_section(const std::string& section,
                           const std::vector<Setting>& settings,
                           const Entry* entry) {
  const auto begin = static_cast<std::ptrdiff_t>(holdings_.size());
  for (const Setting& setting : settings) {
    holdings_.push_back({section, setting.key->key,
                         values_of(entry, setting.key->key), setting});
  }
  if (entry == nullptr) {
    return;
  }
  for (const auto& [attribute, value] : entry->values) {
    const std::string& name = attribute;
    const bool known =
        is_bookkeeping(name) ||
        std::any_of(holdings_.begin() + begin, holdings_.end(),
                    [&](const Holding& h) { return same_name(h.key, name); });
    if (!known) {
      holdings_.push_back(
          {section, name, values_of(entry, name), std::nullopt});
    }
  }
}

std::vector<std::string> values_now(const Holdings& holdings,
                                    const Setting& setting) {
  const auto& all = holdings.all();
  const auto held =
      std::find_if(all.begin(), all.end(), [&](const Holding& holding) {
        return same_name(holding.section, setting.section) &&
               same_name(holding.key, setting.key->key);
      });
  return held != all.end() ? held->values : std::vector<std::string>{};
}

}  // namespace configapi::tool
