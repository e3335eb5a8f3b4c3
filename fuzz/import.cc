// From INI text to the changes that an import makes. The text in front of a
// form feed is what the directory has, the text behind it the file. The changes
// are such as may be written, and bring the directory to where the file wants
// it; what it then holds can be exported and imported again.

#include <algorithm>
#include <map>
#include <vector>

#include "fuzz/target.h"
#include "tools/configapi/difference.h"
#include "tools/configapi/ini_text.h"
#include "tools/configapi/setting_row.h"
#include "tools/configapi/settings_file.h"
#include "tools/configapi/verdict.h"

namespace {

using configapi::tool::Difference;
using configapi::tool::Entry;
using configapi::tool::Holding;
using configapi::tool::Holdings;
using configapi::tool::IniLine;
using configapi::tool::SettingsFile;
using configapi::tool::Unnamed;
using configapi::tool::Wanted;
using fuzz::require;

// Each section an entry, no value twice.
std::vector<Entry> entries_of(std::string_view text) {
  std::vector<Entry> entries;
  configapi::tool::IniReader reader(text);
  for (IniLine line; reader.next(&line);) {
    if (!line.fault.empty()) {
      continue;
    }
    if (line.key.empty()) {
      entries.push_back({"cn=x", {{"cn", line.section}}});
      continue;
    }
    const std::pair value(line.key, line.value);
    auto& values = entries.back().values;
    if (std::ranges::find(values, value) == values.end()) {
      values.push_back(value);
    }
  }
  return entries;
}

SettingsFile file_of(std::string_view text) {
  return SettingsFile(fuzz::MemoryFile(text).path());
}

// Sorted, each once.
template <typename Range>
bool is_distinct(Range all) {
  std::ranges::sort(all);
  return std::ranges::adjacent_find(all) == all.end();
}

void require_allowed(const Difference& difference, const Holdings& now) {
  const auto& [setting, before, after] = difference;
  require(before == values_now(now, setting) && before != after);
  require(is_distinct(after));
  for (const std::string& value : after) {
    const auto verdict = configapi::tool::judge(setting, value);
    require(verdict.ok() && verdict.stored == value);
  }
  for (const char c : difference_line(difference, false)) {
    require(static_cast<unsigned char>(c) >= 0x20 && c != 0x7f);
  }
}

// What the directory has when the changes are made.
Holdings changed(const Holdings& now, const std::vector<Difference>& list) {
  std::map<std::string, Entry> entries;
  for (const Holding& holding : now.all()) {
    const auto difference =
        std::ranges::find_if(list, [&](const Difference& candidate) {
          return holding.in_schema() &&
                 candidate.setting.key == holding.setting->key;
        });
    for (const std::string& value :
         difference == list.end() ? holding.values : difference->after) {
      auto& values = entries[holding.section].values;
      if (values.empty()) {
        values.emplace_back("cn", holding.section);
      }
      values.emplace_back(holding.key, value);
    }
  }
  std::vector<Entry> all;
  all.reserve(entries.size());
  for (const auto& [section, entry] : entries) {
    all.push_back(entry);
  }
  return Holdings(all);
}

std::string exported(const Holdings& holdings) {
  std::string text;
  for (const Wanted& wanted : wanted_of(holdings)) {
    text += configapi::tool::ini_section(wanted.setting.section);
    for (const std::string& value : wanted.values) {
      text += configapi::tool::ini_setting(wanted.setting.key->key, value,
                                           &value != wanted.values.data());
    }
  }
  return text;
}

void import(const SettingsFile& file, const Holdings& now) {
  std::vector<Wanted> wanted = file.wanted();
  auto faults = file.faults();
  judge_all(&wanted, now, &faults);
  for (const auto& fault : faults) {
    require(fault.line > 0 && *file.failure(fault).what() != '\0');
  }
  if (!faults.empty()) {
    return;
  }
  for (const Unnamed unnamed : {Unnamed::kStay, Unnamed::kGo}) {
    const auto list = differences(now, wanted, unnamed);
    for (const Difference& difference : list) {
      require_allowed(difference, now);
    }
    const Holdings later = changed(now, list);
    require(differences(later, wanted, unnamed).empty());
    const SettingsFile again = file_of(exported(later));
    require(again.faults().empty());
    require(differences(later, again.wanted(), Unnamed::kGo).empty());
  }
}

// Any bytes can be a value.
void write_and_read(std::string_view value) {
  const std::string text = "[s]\n" + configapi::tool::ini_setting("k", value);
  configapi::tool::IniReader reader(text);
  IniLine line;
  require(reader.next(&line) && reader.next(&line));
  require(line.fault.empty() && line.value == value && !line.masked);
  require(!reader.next(&line));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data,
                                      std::size_t size) {
  const std::string_view all = fuzz::view(data, size);
  write_and_read(all);
  const std::size_t middle = std::min(all.find('\f'), all.size());
  const Holdings now(entries_of(all.substr(0, middle)));
  import(file_of(all.substr(std::min(middle + 1, size))), now);
  return 0;
}
