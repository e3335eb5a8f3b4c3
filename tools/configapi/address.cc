#include "address.h"

#include <fnmatch.h>

#include <algorithm>
#include <utility>

#include "nearest.h"

namespace configapi::tool {
namespace {

bool glob_matches(const std::string& pattern, std::string_view name) {
  return fnmatch(pattern.c_str(), std::string(name).c_str(), FNM_CASEFOLD) == 0;
}

// The slots of a section in use: a scan stops at the first empty key.
std::vector<Setting> keys_of(const cfgSection& section) {
  std::vector<Setting> settings;
  for (const cfgKey& key : section.keys) {
    if (*key.key == '\0') {
      break;
    }
    const bool listed = std::any_of(
        settings.begin(), settings.end(),
        [&](const Setting& s) { return same_name(s.key->key, key.key); });
    if (!listed) {
      settings.push_back({section.name, &key});
    }
  }
  return settings;
}

bool names_a_section(const std::string& pattern) {
  const auto settings = all_settings();
  return std::any_of(settings.begin(), settings.end(), [&](const Setting& s) {
    return glob_matches(pattern, s.section);
  });
}

// A right key under a wrong section is a slip too, whatever the section.
std::string nearest_address(std::string_view section, std::string_view key) {
  constexpr std::size_t kWrongSection = 2;
  std::string nearest;
  std::size_t least = typing_tolerance(key) + 1;
  for (const Setting& setting : all_settings()) {
    if (length_difference(key, setting.key->key) >= least) {
      continue;
    }
    const std::size_t distance =
        typing_distance(key, setting.key->key) +
        std::min(typing_distance(section, setting.section), kWrongSection);
    if (distance < least) {
      least = distance;
      nearest = address_of(setting);
    }
  }
  return nearest;
}

std::string nearest_section_or_key(std::string_view word) {
  std::vector<std::string> names;
  for (const Setting& setting : all_settings()) {
    names.emplace_back(setting.section);
    names.emplace_back(setting.key->key);
  }
  return nearest_name(word, names);
}

}  // namespace

std::string address_of(const Setting& setting) {
  return std::string(setting.section).append("/").append(setting.key->key);
}

std::vector<Setting> all_settings() {
  static const std::vector<Setting> all = [] {
    std::vector<Setting> settings;
    for (const cfgSection* section = cfgTable; *section->name != '\0';
         ++section) {
      const auto keys = keys_of(*section);
      settings.insert(settings.end(), keys.begin(), keys.end());
    }
    return settings;
  }();
  return all;
}

std::vector<Setting> settings_of(std::string_view section) {
  auto settings = all_settings();
  std::erase_if(settings, [section](const Setting& setting) {
    return !same_name(setting.section, section);
  });
  return settings;
}

std::string nearest_section(std::string_view word) {
  std::vector<std::string> names;
  for (const Setting& setting : all_settings()) {
    names.emplace_back(setting.section);
  }
  return nearest_name(word, names);
}

Selection::Selection(std::string_view word)
    : section_(word.substr(0, word.find('/'))),
      key_("*"),
      has_slash_(word.find('/') != std::string_view::npos) {
  if (has_slash_) {
    key_ = word.substr(section_.size() + 1);
  } else if (word.empty()) {
    section_ = "*";
  } else if (!names_a_section(section_)) {
    key_ = std::exchange(section_, "*");
  }
}

bool Selection::matches(std::string_view section, std::string_view key) const {
  return glob_matches(section_, section) && glob_matches(key_, key);
}

bool Selection::names(std::string_view section) const {
  return !has_slash_ && section_ == "*" && glob_matches(key_, section);
}

std::vector<Setting> Selection::settings() const {
  std::vector<Setting> settings;
  for (const Setting& setting : all_settings()) {
    if (matches(setting.section, setting.key->key)) {
      settings.push_back(setting);
    }
  }
  return settings;
}

bool Selection::is_glob() const {
  return (section_ + key_).find_first_of("*?[") != std::string::npos;
}

bool Selection::is_address() const {
  return has_slash_;
}

Failure not_in_schema(std::string_view word) {
  const Selection selection(word);
  const std::string quoted = "'" + std::string(word) + "'";
  if (word.find_first_of("*?[") != std::string_view::npos) {
    return {ExitCode::kNotInSchema, "no setting matches " + quoted};
  }
  if (!selection.is_address()) {
    return {ExitCode::kNotInSchema,
            "no section or key " + quoted + " in the schema",
            nearest_section_or_key(word)};
  }
  const std::size_t slash = word.find('/');
  return {ExitCode::kNotInSchema, "no setting " + quoted + " in the schema",
          nearest_address(word.substr(0, slash), word.substr(slash + 1))};
}

std::vector<Setting> require_settings(std::string_view word) {
  auto settings = Selection(word).settings();
  if (settings.empty()) {
    throw not_in_schema(word);
  }
  return settings;
}

std::vector<Setting> require_addressed(std::string_view word) {
  const Selection selection(word);
  if (!selection.is_address()) {
    const auto settings = selection.settings();
    throw Failure(ExitCode::kUsage,
                  "an address is SECTION/KEY, not '" + std::string(word) + "'",
                  settings.empty() ? "" : address_of(settings.front()));
  }
  return require_settings(word);
}

Setting require_one(std::string_view word) {
  if (Selection(word).is_glob()) {
    throw Failure(ExitCode::kUsage,
                  "'" + std::string(word) + "' is a glob, not one setting");
  }
  return require_addressed(word).front();
}

}  // namespace configapi::tool
