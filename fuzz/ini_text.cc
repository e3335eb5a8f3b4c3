#include "tools/configapi/ini_text.h"

#include <vector>

#include "fuzz/target.h"

namespace {

using configapi::tool::IniLine;

std::vector<IniLine> lines_of(std::string_view text) {
  std::vector<IniLine> lines;
  configapi::tool::IniReader reader(text);
  for (IniLine line; reader.next(&line);) {
    if (line.fault.empty()) {
      lines.push_back(line);
    }
  }
  return lines;
}

std::string written(const IniLine& line) {
  if (line.key.empty()) {
    return configapi::tool::ini_section(line.section);
  }
  return line.masked
             ? configapi::tool::ini_masked(line.key)
             : configapi::tool::ini_setting(line.key, line.value, line.further);
}

}  // namespace

// What was read can be written and read again, and so can a value of any bytes.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data,
                                      std::size_t size) {
  const std::string_view text = fuzz::view(data, size);
  const auto lines = lines_of(text);
  std::string again;
  for (const IniLine& line : lines) {
    again += written(line);
  }
  const auto read_again = lines_of(again);
  fuzz::require(read_again.size() == lines.size());
  for (std::size_t i = 0; i < lines.size(); ++i) {
    fuzz::require(read_again[i].section == lines[i].section);
    fuzz::require(read_again[i].key == lines[i].key);
    fuzz::require(read_again[i].value == lines[i].value);
    fuzz::require(read_again[i].further == lines[i].further);
    fuzz::require(read_again[i].masked == lines[i].masked);
  }

  const auto one = lines_of("[s]\n" + configapi::tool::ini_setting("k", text));
  fuzz::require(one.size() == 2 && one[1].value == text && !one[1].masked);
  return 0;
}
