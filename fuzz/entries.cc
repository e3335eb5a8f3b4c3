// What a directory that is somebody else's may answer. The first byte chooses a
// call. Bit 7 says what the rest is: bytes for the wire as they stand, or
// lines of which entries are made:
//
//   dTEXT  begins an entry of this DN     r...  bytes as they stand, inside of
//   aTEXT  begins an attribute            the entry or behind its last value
//   vTEXT  a value                        sCODE the result (a byte)
//
// An upper-case letter repeats its text a hundred times.

#include <configapi/config.h>
#include <ldap.h>

#include <array>
#include <cstring>
#include <utility>
#include <vector>

#include "fuzz/ldap_peer.h"
#include "fuzz/target.h"

namespace {

using fuzz::require;
namespace ber = fuzz::ber;

struct Attribute {
  std::string name;
  std::vector<std::string> values{};
};

struct Entry {
  std::string dn;
  std::vector<Attribute> attributes{};
  std::string raw{};
};

struct Answer {
  std::vector<Entry> entries;
  int code = 0;

  [[nodiscard]] bool is_whole() const {
    return code == 0 && !entries.empty() &&
           std::ranges::all_of(
               entries, [](const Entry& entry) { return entry.raw.empty(); });
  }
};

void add_line(char letter, const std::string& text, Answer* answer) {
  auto& entries = answer->entries;
  if (letter == 's') {
    answer->code = text.empty() ? 1 : text.front() & 0x7f;
  } else if (letter == 'd' || entries.empty()) {
    entries.push_back({text});
  } else if (letter == 'r') {
    entries.back().raw += text;
  } else if (letter == 'a' || entries.back().attributes.empty()) {
    entries.back().attributes.push_back({text});
  } else {
    entries.back().attributes.back().values.push_back(text);
  }
}

Answer answer_of(std::string_view lines) {
  constexpr std::size_t kMost = 60000;  // bytes, which the socket holds
  constexpr int kTimes = 100;
  Answer answer;
  for (std::size_t size = 0; !lines.empty() && size < kMost;) {
    const std::string_view line = lines.substr(0, lines.find('\n'));
    lines.remove_prefix(std::min(line.size() + 1, lines.size()));
    const char letter = line.empty() ? 'v' : line.front();
    const bool repeats = letter >= 'A' && letter <= 'Z';
    std::string text;
    for (int i = 0; i < (repeats ? kTimes : 1) && text.size() < kMost; ++i) {
      text += line.substr(std::min<std::size_t>(1, line.size()));
    }
    size += text.size() + 16;
    add_line(repeats ? static_cast<char>(letter + 'a' - 'A') : letter, text,
             &answer);
  }
  return answer;
}

std::string bytes_of(const Answer& answer, int id) {
  std::string all;
  for (const Entry& entry : answer.entries) {
    std::string list;
    for (const Attribute& attribute : entry.attributes) {
      std::string values;
      for (const std::string& value : attribute.values) {
        values += ber::element(ber::kText, value);
      }
      list += ber::element(ber::kSequence,
                           ber::element(ber::kText, attribute.name) +
                               ber::element(ber::kSet, values));
    }
    const std::string body = ber::element(ber::kText, entry.dn) +
                             ber::element(ber::kSequence, list + entry.raw);
    all += ber::message(id, ber::element(ber::kEntry, body));
  }
  return all + ber::result(id, ber::kSearchDone, answer.code);
}

template <std::size_t kSize>
void require_ended(const char (&field)[kSize]) {
  require(std::memchr(field, '\0', kSize) != nullptr);
}

// A field holds the text up to its first NUL, cut between characters.
template <std::size_t kSize>
void require_field(const char (&field)[kSize], std::string_view text) {
  constexpr std::size_t kCharacter = 4;  // bytes at the most
  require_ended(field);
  const std::string_view held(field);
  const std::string_view given = text.substr(0, text.find('\0'));
  require(given.starts_with(held));
  require(held.size() == given.size() || held.size() + kCharacter >= kSize);
}

// The records end where they should, and can be read to there.
void walk(const SearchReq* list) {
  for (; list->next != nullptr; list = list->next) {
    require_ended(list->dn);
    const attrval* value = list->attrs;
    for (; value->next != nullptr; value = value->next) {
      require_ended(value->name);
      require_ended(value->value);
    }
    require(value->name[0] == '\0' && value->value[0] == '\0');
  }
  require(list->dn[0] == '\0' && list->attrs == nullptr);
}

void require_same(const SearchReq* list, const Answer& answer) {
  for (const Entry& entry : answer.entries) {
    require(list->next != nullptr);
    require_field(list->dn, entry.dn);
    const attrval* record = list->attrs;
    for (const Attribute& attribute : entry.attributes) {
      const bool is_text =
          std::ranges::all_of(attribute.values, [](const std::string& value) {
            return value.find('\0') == std::string::npos;
          });
      for (const std::string& value : attribute.values) {
        if (is_text) {
          require(record->next != nullptr);
          require_field(record->name, attribute.name);
          require_field(record->value, value);
          record = record->next;
        }
      }
    }
    require(record->next == nullptr);
    list = list->next;
  }
  require(list->next == nullptr);
}

// Each form of the search. An answer that is whole is delivered as it is.
void search(unsigned form, cConfig* client, const Answer* answer) {
  char base[] = "cn=x";
  char filter[] = "(cn=x)";
  char name[] = "K";
  char* attrs[] = {name, nullptr};
  timeval limit{5, 0};
  int rc = -1;
  SearchReq* const list =
      form == 0   ? client->ldapClientSearch(base, 2, 0, filter, &rc)
      : form == 1 ? client->ldapClientSearch(nullptr, 1, 3, filter, &limit, &rc)
      : form == 2
          ? client->ldapClientSearch(base, 0, 1, filter, attrs, &rc)
          : client->ldapClientSearch(base, 2, 2, filter, attrs, &limit, &rc);
  require((list != nullptr) == (rc == 0));
  require(answer == nullptr || !answer->is_whole() || list != nullptr);
  if (list != nullptr) {
    require(list->next != nullptr);
    walk(list);
    if (answer != nullptr && answer->is_whole()) {
      require_same(list, *answer);
    }
  }
  client->srch_free(list);
}

void read_profile(unsigned form, cConfig* client) {
  char section[] = "S";
  char key[] = "K";
  int rc = -1;
  char* const value = form == 0
                          ? client->ldapGetProfileString(section, key, &rc)
                          : client->ldapGetProfileString(section, key);
  require(value == nullptr || form == 1 || rc == 0);
  require(value == nullptr || std::strlen(value) < sizeof(attrval::value));
  client->free(value);
}

// What is cached is what was read, cut where the caller's room ends.
void read_setting(std::size_t size, cConfig* client) {
  constexpr std::size_t kWhole = 512;
  const std::unique_ptr<char[]> cut(new char[size + 1]);
  unsigned long type = 77;
  client->CONFIGRefreshCache();
  const int code = client->CONFIGReadData("S", "K", "", cut.get(), size, &type);
  require(code == 0 || code == 3);
  require(code != 0 || size == 0 || std::strlen(cut.get()) < size);
  std::array<char, kWhole> whole{};
  if (LookupCache("S", "K", whole.data(), kWhole, &type) == 0) {
    require(code == 0 && type == 0 && whole[0] != '\0');
    const std::string_view text(whole.data());
    require(size == 0 || text.substr(0, size - 1) == cut.get());
  }
  client->CONFIGRefreshCache();
}

void write_profile(cConfig* client) {
  char section[] = "S";
  char key[] = "K";
  char value[] = "V";
  client->ldapWriteProfileString(section, key, value);
}

// Answers that are read for their code alone.
void ask_and_change(cConfig* client) {
  char name[] = "cn=S";
  char text[] = "K";
  attrval end{};
  attrval one{2, "K", "V", &end};
  client->ldapClientCompare(name, text, text);
  client->ldapClientModify(name, &one);
  client->ldapClientBind(name, text);
  client->ldapClientDelete(name);
}

}  // namespace

// OpenLDAP 2.5 loses a request whose answer it cannot decode. What we forget
// ourselves is still found: none of it comes from its allocator.
// NOLINTNEXTLINE(bugprone-reserved-identifier,cert-dcl37-c): the sanitizer's
extern "C" CONFIGAPI_EXPORT const char* __lsan_default_suppressions() {
  return "leak:liblber";
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data,
                                      std::size_t size) {
  constexpr unsigned kRaw = 0x80;
  constexpr unsigned kForms = 9;
  if (size == 0) {
    return 0;
  }
  const std::string_view rest = fuzz::view(data + 1, size - 1);
  const unsigned form = (data[0] & ~kRaw) % kForms;
  const bool is_raw = (data[0] & kRaw) != 0;
  const Answer answer = answer_of(is_raw ? std::string_view() : rest);
  cConfig client;
  const fuzz::Peer peer(&client);
  peer.say(is_raw ? rest : bytes_of(answer, 1));
  peer.hang_up();
  if (form < 4) {
    search(form, &client, is_raw ? nullptr : &answer);
  } else if (form < 6) {
    read_profile(form - 4, &client);
  } else if (form == 6) {
    read_setting(size % 80, &client);
  } else if (form == 7) {
    write_profile(&client);
  } else {
    ask_and_change(&client);
  }
  client.ldapClientUnbind();
  return 0;
}
