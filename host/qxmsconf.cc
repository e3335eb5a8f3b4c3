#include <configapi/host.h>
#include <ini.h>
#include <strings.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

// Weak: the executable's own, where it has one, is the one that counts.
[[gnu::weak]] char appName[] = "configapi";

namespace {

// Lines as Windows takes them: of any length that is likely, and with nothing
// in a value that starts a comment. An indented line is a line of its own.
[[maybe_unused]] const bool kConfigured = []() noexcept {
  static char comment[] = ";";
  ini_start_comment_prefixes = comment;
  ini_allow_inline_comments = false;
  ini_allow_multiline = false;
  ini_use_stack = false;
  ini_allow_realloc = true;
  ini_max_line = 1 << 20;
  return true;
}();

// Longer names come cut from the parser: none is taken for another.
constexpr std::size_t kLongestSection = 48;

struct Query {
  const char* section;
  const char* key;
  bool found = false;
  std::string value{};
  std::vector<std::string> names{};
};

bool same_name(const char* a, const char* b) {
  return strcasecmp(a, b) == 0;
}

void add_name(Query* query, const char* name) {
  const auto known = std::any_of(
      query->names.begin(), query->names.end(),
      [name](const std::string& n) { return same_name(n.c_str(), name); });
  if (!known) {
    query->names.emplace_back(name);
  }
}

// The first entry of a name answers, as on Windows.
int on_entry(void* context, const char* section, const char* name,
             const char* value) try {
  auto* query = static_cast<Query*>(context);
  if (*name == '\0') {
    return 1;  // it would end a list of keys
  }
  if (query->section == nullptr) {
    // Lines before the first section have none, and a cut name finds nothing.
    if (*section != '\0' && std::strlen(section) <= kLongestSection) {
      add_name(query, section);
    }
  } else if (!same_name(section, query->section)) {
    return 1;
  } else if (query->key == nullptr) {
    add_name(query, name);
  } else if (!query->found && same_name(name, query->key)) {
    query->found = true;
    query->value = value != nullptr ? value : "";
  }
  return 1;
} catch (...) {
  return 0;
}

std::string_view unquoted(std::string_view text) {
  const bool quoted = text.size() >= 2 && text.front() == text.back() &&
                      (text.front() == '"' || text.front() == '\'');
  return quoted ? text.substr(1, text.size() - 2) : text;
}

std::string resolved(const char* file) {
  const char* folder = std::getenv("QXMSCONF_DIR");
  const bool bare = std::strchr(file, '/') == nullptr;
  if (bare && folder != nullptr && *folder != '\0') {
    return std::string(folder) + "/" + file;
  }
  return file;
}

unsigned long store(std::string_view text, char* buffer, unsigned long size) {
  if (buffer == nullptr || size == 0) {
    return 0;
  }
  const std::size_t length = std::min<std::size_t>(text.size(), size - 1);
  std::memcpy(buffer, text.data(), length);
  buffer[length] = '\0';
  return length;
}

unsigned long store_list(const std::vector<std::string>& names, char* buffer,
                         unsigned long size) {
  if (buffer == nullptr || size == 0) {
    return 0;
  }
  std::string joined;
  for (const auto& name : names) {
    joined.append(name).push_back('\0');
  }
  // Two NULs end the list even where it is cut.
  const std::size_t room = size >= 2 ? size - 2 : 0;
  const bool cut = joined.size() > size - 1;
  const std::size_t length = cut ? room : joined.size();
  joined.copy(buffer, length);
  std::memset(buffer + length, 0, std::min<std::size_t>(2, size - length));
  return length;
}

}  // namespace

extern "C" unsigned long GetPrivateProfileString(
    const char* section, const char* key, const char* default_value,
    char* buffer, unsigned long size, const char* file) try {
  Query query{section, key};
  const bool cut = section != nullptr && std::strlen(section) > kLongestSection;
  if (file != nullptr && !cut) {
    ini_parse(resolved(file).c_str(), on_entry, &query);
  }
  if (section == nullptr || key == nullptr) {
    return store_list(query.names, buffer, size);
  }
  if (!query.found) {
    return store(default_value != nullptr ? default_value : "", buffer, size);
  }
  return store(unquoted(query.value), buffer, size);
} catch (...) {
  return store(default_value != nullptr ? default_value : "", buffer, size);
}
