#include "settings_file.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "file_descriptor.h"
#include "nearest.h"
#include "remark.h"
#include "setting_row.h"
#include "verdict.h"

namespace configapi::tool {
namespace {

// Every setting with a value of the greatest length takes an eighth of this,
// however it is escaped.
constexpr std::size_t kLargestFile = std::size_t{4} << 20U;

Failure cannot_read(const std::string& name) {
  return {ExitCode::kFile, "cannot read " + name + ": " + std::strerror(errno)};
}

// Reads to the end, in memory of the file's size.
std::string read_all(int fd, const std::string& name) {
  constexpr std::size_t kBlock = 65536;
  std::string text;
  for (;;) {
    const std::size_t had = text.size();
    text.resize(had + kBlock);
    const ssize_t got = ::read(fd, text.data() + had, kBlock);
    if (got < 0 && errno != EINTR) {
      throw cannot_read(name);
    }
    text.resize(had + static_cast<std::size_t>(std::max<ssize_t>(got, 0)));
    if (got == 0) {
      return text;
    }
    if (text.size() > kLargestFile) {
      throw Failure(ExitCode::kFile, name + " has more than 4 MiB");
    }
  }
}

std::string contents(const std::string& path, const std::string& name) {
  const FileDescriptor file(path == "-"
                                ? fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, 0)
                                : ::open(path.c_str(), O_RDONLY | O_CLOEXEC));
  if (!file) {
    throw cannot_read(name);
  }
  return read_all(file.get(), name);
}

std::string nearest_key(std::string_view word,
                        const std::vector<Setting>& section) {
  std::vector<std::string> names;
  names.reserve(section.size());
  for (const Setting& setting : section) {
    names.emplace_back(setting.key->key);
  }
  return nearest_name(word, names);
}

}  // namespace

SettingsFile::SettingsFile(const std::string& path)
    : name_(path == "-" ? "standard input" : path) {
  const std::string text = contents(path, name_);
  IniReader reader(text);
  for (IniLine line; faults_.size() < kMostFaults && reader.next(&line);) {
    if (!line.fault.empty()) {
      fault(line, line.fault);
    } else if (line.key.empty()) {
      begin_section(line);
    } else if (!section_.empty()) {
      add(line);
    }
    if (faults_.size() == kMostFaults) {
      fault(line, "too many faults; what follows is not looked at");
    }
  }
}

void SettingsFile::begin_section(const IniLine& line) {
  section_ = settings_of(line.section);
  if (section_.empty()) {
    faults_.push_back(
        {line.number,
         "no section " + in_quotes(line.section) + " in the schema",
         nearest_section(line.section), ExitCode::kNotInSchema});
  }
}

void SettingsFile::add(const IniLine& line) {
  const auto setting = std::find_if(
      section_.begin(), section_.end(),
      [&](const Setting& s) { return same_name(s.key->key, line.key); });
  if (setting == section_.end()) {
    faults_.push_back({line.number,
                       "no key " + in_quotes(line.key) + " in section " +
                           section_.front().section,
                       nearest_key(line.key, section_),
                       ExitCode::kNotInSchema});
    return;
  }
  if (line.further) {
    add_further(line, *setting);
  } else {
    add_first(line, *setting);
  }
}

void SettingsFile::add_first(const IniLine& line, const Setting& setting) {
  const auto known = std::find_if(
      wanted_.begin(), wanted_.end(),
      [&](const Wanted& wanted) { return wanted.setting.key == setting.key; });
  if (known != wanted_.end()) {
    fault(line, address_of(setting) + " stands in line " +
                    std::to_string(known->line) + " already");
  } else if (line.masked && !is_secret(setting.key->key)) {
    fault(line, "only a secret can be masked; quotes make a value of it");
  } else {
    wanted_.push_back({setting, {}, line.masked, line.number});
    values_.clear();
    if (!line.masked) {
      wanted_.back().values.push_back(line.value);
      values_.insert(line.value);
    }
  }
}

// Only behind the value before it, so that no file takes long to read however
// many values it has.
void SettingsFile::add_further(const IniLine& line, const Setting& setting) {
  if (wanted_.empty() || wanted_.back().setting.key != setting.key ||
      wanted_.back().masked) {
    fault(line, "one more value of a key that has none in front of it");
  } else if (!values_.insert(line.value).second) {
    fault(line, "a value that the key has already");
  } else {
    wanted_.back().values.push_back(line.value);
  }
}

void SettingsFile::fault(const IniLine& line, const std::string& text) {
  faults_.push_back({line.number, text});
}

Failure SettingsFile::failure(const FileFault& fault) const {
  return {fault.code,
          name_ + ":" + std::to_string(fault.line) + ": " + fault.text,
          fault.nearest};
}

void judge_all(std::vector<Wanted>* all, const Holdings& now,
               std::vector<FileFault>* faults) {
  for (Wanted& wanted : *all) {
    if (values_now(now, wanted.setting) == wanted.values) {
      continue;
    }
    for (std::string& value : wanted.values) {
      const Verdict verdict = judge(wanted.setting, value);
      if (verdict.ok()) {
        value = verdict.stored;
      } else {
        faults->push_back({wanted.line,
                           address_of(wanted.setting) + ": " + verdict.why,
                           {},
                           verdict.code()});
      }
    }
    const std::set<std::string> stored(wanted.values.begin(),
                                       wanted.values.end());
    if (stored.size() != wanted.values.size()) {
      faults->push_back(
          {wanted.line, address_of(wanted.setting) +
                            ": values that are the same once they are stored"});
    }
  }
}

}  // namespace configapi::tool
