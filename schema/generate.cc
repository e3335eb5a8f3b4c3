// Writes the directory schema from the settings table: qxconfig.schema for
// slapd.conf and qxconfig.ldif for cn=config.
//
//   generate_schema OIDS_FILE OUTPUT_FOLDER
//
// OIDS_FILE gives every attribute its number for ever: one line "NUMBER NAME"
// each, counted from 1, where a new name goes to the end. An object identifier
// must never change its meaning, so numbers are not made from the table's
// order; and they are not hashes of names, so that two cannot meet.

#include <configapi/config.h>

#include <algorithm>
#include <exception>
#include <fstream>
#include <functional>
#include <iostream>
#include <map>
#include <span>
#include <sstream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace {

using Texts = std::vector<std::string>;

// 2.25 is the arc of UUIDs; this one was drawn for the project.
constexpr std::string_view kArc = "2.25.17447126974200084598404204888647882015";
constexpr std::string_view kSerial = "ConfigSerial";
constexpr std::string_view kSetting = "qxSetting";
constexpr std::string_view kGenerated =
    "# Generated from the settings table by the target \"schema\". Do not "
    "edit.\n";
constexpr std::size_t kMaxLine = 76;

constexpr bool is_letter(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

// A short name of RFC 4512, section 1.4 ("keystring").
bool is_attribute_name(std::string_view text) {
  return !text.empty() && is_letter(text.front()) &&
         std::ranges::all_of(text, [](char c) {
           return is_letter(c) || (c >= '0' && c <= '9') || c == '-';
         });
}

// Attribute names are the same in any letter case.
struct IgnoreCase {
  using is_transparent = void;
  static char lower(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c + ('a' - 'A')) : c;
  }
  bool operator()(std::string_view a, std::string_view b) const {
    return std::ranges::lexicographical_compare(a, b, {}, lower, lower);
  }
};

class Registry {
 public:
  explicit Registry(const std::string& file) : file_(file) {
    std::ifstream in(file);
    if (!in) {
      throw std::runtime_error("cannot read " + file);
    }
    for (std::string line; std::getline(in, line);) {
      if (!line.empty() && line.front() != '#') {
        add(line);
      }
    }
  }

  [[nodiscard]] std::size_t number(std::string_view name) const {
    const auto found = numbers_.find(name);
    if (found == numbers_.end()) {
      throw std::runtime_error(file_ + ": no number for " + std::string(name) +
                               "; append the line \"" +
                               std::to_string(numbers_.size() + 1) + " " +
                               std::string(name) + '"');
    }
    return found->second;
  }

 private:
  void add(const std::string& line) {
    std::istringstream words(line);
    std::size_t number = 0;
    std::string name;
    std::string rest;
    words >> number >> name;
    // A line lost or out of order would give numbers away a second time.
    if (number != numbers_.size() + 1 || !is_attribute_name(name) ||
        words >> rest || !numbers_.emplace(name, number).second) {
      throw std::runtime_error(file_ + ": expected \"" +
                               std::to_string(numbers_.size() + 1) +
                               "\" and a new name instead of \"" + line + '"');
    }
  }

  std::string file_;
  std::map<std::string, std::size_t, IgnoreCase> numbers_;
};

struct Key {
  std::string name;  // as the table spells it first
  Texts sections;
};

// The keys that a section uses.
std::span<const cfgKey> used_keys(const cfgSection& section) {
  const std::span keys(section.keys);
  const auto end = std::ranges::find_if(
      keys, [](const cfgKey& k) { return *k.key == '\0'; });
  return {keys.begin(), end};
}

// Every name of the table once, by its number.
std::map<std::size_t, Key> table_keys(const Registry& registry) {
  std::map<std::size_t, Key> keys;
  for (const cfgSection* section = cfgTable; *section->name != '\0';
       ++section) {
    for (const cfgKey& slot : used_keys(*section)) {
      if (!is_attribute_name(slot.key)) {
        throw std::runtime_error(std::string("no attribute name: ") + slot.key);
      }
      Key& key = keys[registry.number(slot.key)];
      if (key.name.empty()) {
        key.name = slot.key;
      }
      if (key.sections.empty() || key.sections.back() != section->name) {
        key.sections.emplace_back(section->name);
      }
    }
  }
  return keys;
}

std::string joined(const Texts& texts, std::string_view separator) {
  std::string result;
  for (const auto& text : texts) {
    result.append(result.empty() ? "" : separator).append(text);
  }
  return result;
}

std::string quoted(std::string_view text) {
  return "'" + std::string(text) + "'";
}

// Definitions are lists of clauses (RFC 4512, section 4.1), so that each form
// of the schema can break its lines in its own way.
Texts attribute(std::size_t number, std::string_view name,
                std::string_view description) {
  return {"( " + std::string(kArc) + ".1." + std::to_string(number),
          "NAME " + quoted(name), "DESC " + quoted(description)};
}

// Directory strings of any number. Letter case counts: settings are passwords
// and file names too.
Texts with_syntax(Texts clauses) {
  clauses.insert(clauses.end(),
                 {"EQUALITY caseExactMatch", "SUBSTR caseExactSubstringsMatch",
                  "SYNTAX 1.3.6.1.4.1.1466.115.121.1.15 )"});
  return clauses;
}

Texts setting(std::size_t number, const Key& key) {
  Texts clauses =
      attribute(number, key.name,
                (key.sections.size() == 1 ? "Section " : "Sections ") +
                    joined(key.sections, ", "));
  clauses.push_back("SUP " + std::string(kSetting) + " )");
  return clauses;
}

// slapd.conf refuses a very long line, so the names are spread over many.
Texts name_lines(const Texts& names) {
  Texts lines;
  std::string line = "MAY (";
  for (const auto& name : names) {
    const std::string word = (&name == &names.front() ? " " : " $ ") + name;
    if (line.size() + word.size() > kMaxLine) {
      lines.push_back(std::move(line));
      line = " ";
    }
    line += word;
  }
  lines.push_back(line + " ) )");
  return lines;
}

Texts object_class(const Texts& names) {
  Texts clauses = {"( " + std::string(kArc) + ".2.1", "NAME 'qxconfig'",
                   "DESC 'One section of the settings of a mail gateway'",
                   "SUP top STRUCTURAL", "MUST cn"};
  std::ranges::copy(name_lines(names), std::back_inserter(clauses));
  return clauses;
}

struct Schema {
  std::vector<Texts> attributes;
  Texts object_class;
};

Schema make_schema(const Registry& registry) {
  const auto keys = table_keys(registry);
  Schema schema;
  schema.attributes.push_back(with_syntax(attribute(
      registry.number(kSerial), kSerial, "Counts the writes of a section")));
  schema.attributes.push_back(with_syntax(
      attribute(registry.number(kSetting), kSetting, "Any setting")));
  Texts names{std::string(kSerial)};
  for (const auto& [number, key] : keys) {
    schema.attributes.push_back(setting(number, key));
    names.push_back(key.name);
  }
  schema.object_class = object_class(names);
  return schema;
}

// For "include" in slapd.conf: a line that begins with a blank continues.
void write_schema(std::ostream& out, const Schema& schema) {
  out << kGenerated;
  for (const auto& clauses : schema.attributes) {
    out << "\nattributetype " << joined(clauses, "\n  ") << '\n';
  }
  out << "\nobjectclass " << joined(schema.object_class, "\n  ") << '\n';
}

// For ldapadd: the first blank of a continued line is not part of the text.
void write_ldif(std::ostream& out, const Schema& schema) {
  out << kGenerated
      << "dn: cn=qxconfig,cn=schema,cn=config\nobjectClass: olcSchemaConfig\n"
         "cn: qxconfig\n";
  for (const auto& clauses : schema.attributes) {
    out << "olcAttributeTypes: " << joined(clauses, "\n  ") << '\n';
  }
  out << "olcObjectClasses: " << joined(schema.object_class, "\n  ") << '\n';
}

void write_file(const std::string& file, const Schema& schema,
                const std::function<void(std::ostream&, const Schema&)>& form) {
  std::ofstream out(file);
  form(out, schema);
  if (!out.flush()) {
    throw std::runtime_error("cannot write " + file);
  }
}

}  // namespace

int main(int argc, char** argv) try {
  if (argc != 3) {
    std::cerr << "usage: generate_schema OIDS_FILE OUTPUT_FOLDER\n";
    return 2;
  }
  const std::span arguments(argv, 3);
  const Schema schema = make_schema(Registry(arguments[1]));
  const std::string folder = arguments[2];
  write_file(folder + "/qxconfig.schema", schema, write_schema);
  write_file(folder + "/qxconfig.ldif", schema, write_ldif);
  return 0;
} catch (const std::exception& error) {
  std::cerr << "generate_schema: " << error.what() << '\n';
  return 1;
}
