// The host's INI reader. The first byte is the buffer's size, the next two
// lines are section and key, the rest is the file.

#include <configapi/host.h>

#include <cstring>
#include <vector>

#include "fuzz/target.h"
#include "tools/configapi/ini_text.h"

namespace {

using fuzz::require;

constexpr char kNone[] = "\n";  // no value has a line end

// Calls twice, into exactly so many bytes, and looks at what comes back.
std::string read(const char* section, const char* key, std::size_t size,
                 const char* file) {
  std::vector<char> buffer(size, '#');
  std::vector<char> again(size, '?');
  const auto get = [&](std::vector<char>* to) {
    return GetPrivateProfileString(section, key, kNone, to->data(), size, file);
  };
  const unsigned long length = get(&buffer);
  require(get(&again) == length);
  if (size == 0) {
    require(length == 0);
    return {};
  }
  require(length < size && buffer[length] == '\0');
  std::string text(buffer.data(), length);
  require(text == std::string_view(again.data(), length));
  require(section == nullptr || key == nullptr ||
          text.find('\0') == std::string::npos);
  return text;
}

// Every name of a list, asked for, is there.
void look_up_names(const char* section, std::size_t size, const char* file) {
  const std::string list = read(section, nullptr, size, file);
  require(list.empty() || list.back() == '\0');
  for (std::size_t i = 0; i < list.size();) {
    const std::string name = list.c_str() + i;
    i += name.size() + 1;
    require(!name.empty());
    if (section == nullptr) {
      require(!read(name.c_str(), nullptr, size, file).empty());
    } else {
      require(read(section, name.c_str(), size, file) != kNone);
    }
  }
}

// A value that is written as the tool writes it is read as it was, unless it
// takes escapes, which are the tool's own.
void write_and_read(const char* value, std::size_t size) {
  const std::string line = configapi::tool::ini_setting("k", value);
  if (line.starts_with("k=$\"")) {
    return;
  }
  fuzz::MemoryFile file("[s]\n" + line + "[t]\nk=other\n");
  require(read("S", "K", size, file.path()) == value);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data,
                                      std::size_t size) {
  constexpr std::size_t kWhole = 8192;
  std::string_view rest = fuzz::view(data, size);
  const std::size_t room = size == 0 ? 0 : data[0];
  rest.remove_prefix(std::min<std::size_t>(1, size));
  const auto section = fuzz::take_line(&rest);
  const auto key = fuzz::take_line(&rest);
  fuzz::MemoryFile file(rest);
  const std::string cut = read(section.get(), key.get(), room, file.path());
  const std::string whole = read(section.get(), key.get(), kWhole, file.path());
  require(cut == whole.substr(0, room == 0 ? 0 : room - 1));
  read(section.get(), nullptr, room, file.path());
  read(nullptr, key.get(), room, file.path());
  look_up_names(nullptr, kWhole, file.path());
  look_up_names(section.get(), kWhole, file.path());
  write_and_read(fuzz::exact_copy(rest).get(), kWhole);
  return 0;
}
