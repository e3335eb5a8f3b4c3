// Address lists: the lists of real mail, all of the corpus, and lists that are
// made to hurt.

#include <configapi/rfc822.h>

#include <cstddef>
#include <cstring>
#include <deque>
#include <string>
#include <string_view>
#include <vector>

#include "harness.h"

#ifdef CONFIGAPI_BENCH_GMIME
#include <gmime/gmime.h>
#endif
#ifdef CONFIGAPI_BENCH_ETPAN
#include <libetpan/libetpan.h>
#endif
#ifdef CONFIGAPI_BENCH_DOVECOT
#include "dovecot_addresses.h"
#endif

namespace {

using Texts = std::vector<std::string>;

// Without a corpus: the forms that mail mostly has.
Texts made_lists() {
  return {
      "postmaster@mail.example",
      "John Smith <john.smith@sales.example>",
      "\"Smith, John\" <js@h.example>, Ann <ann@lists.mail.example>",
      "Ann Example\n\t<ann.example@engineering.example>",
      "a@b.example (Ann), list-owner+ann=b.example@lists.example,\n c@d.org",
      "team: a@b.example, c@d.example;",
      "\"Department of Redundancy\" <department@redundancy.example>",
  };
}

// A list that RecipParse() may write to.
class Scratch {
 public:
  explicit Scratch(const Texts& texts) {
    std::size_t longest = 0;
    for (const auto& text : texts) {
      longest = std::max(longest, text.size());
    }
    bytes_.resize(longest + 1);
  }
  char* copy(const std::string& text) {
    std::memcpy(bytes_.data(), text.c_str(), text.size() + 1);
    return bytes_.data();
  }

 private:
  std::vector<char> bytes_;
};

bench::Work ours(const Texts& lists) {
  return bench::over(
      lists, [scratch = Scratch(lists)](const std::string& text) mutable {
        RecipTable table{};
        RecipParse(scratch.copy(text), &table, 1);
        bench::keep(&table);
        Clear_RT(&table);
      });
}

std::vector<bench::Side> peers(const Texts& lists) {
  std::vector<bench::Side> sides;
#ifdef CONFIGAPI_BENCH_DOVECOT
  sides.push_back({"dovecot", bench::over(lists, [](const std::string& text) {
                     dovecot_parse_addresses(text.data(), text.size());
                   })});
#endif
#ifdef CONFIGAPI_BENCH_GMIME
  sides.push_back({"gmime", bench::over(lists, [](const std::string& text) {
                     InternetAddressList* list =
                         internet_address_list_parse(nullptr, text.c_str());
                     if (list != nullptr) {
                       g_object_unref(list);
                     }
                   })});
#endif
#ifdef CONFIGAPI_BENCH_ETPAN
  sides.push_back(
      {"libetpan", bench::over(lists, [](const std::string& text) {
         std::size_t at = 0;
         mailimf_address_list* list = nullptr;
         if (mailimf_address_list_parse(text.data(), text.size(), &at, &list) ==
             MAILIMF_NO_ERROR) {
           mailimf_address_list_free(list);
         }
       })});
#endif
  (void)lists;
  return sides;
}

bench::Row row_of(const char* name, const Texts& lists) {
  bench::Row row{.name = name, .unit = "list"};
  row.ours = ours(lists);
  row.peers = peers(lists);
  if (!row.peers.empty()) {
    row.bound = bench::Bound{row.peers.front().name, 1.0};
  }
  row.count_units = lists.size();
  return row;
}

// A kind of list that invites a parser to go over it again and again: head,
// pieces up to the size, tail.
struct HostileKind {
  const char* name;
  const char* head;
  const char* piece;
  const char* tail;
};

constexpr HostileKind kHostileKinds[] = {
    {"addresses", "", "a@b, ", ""},
    {"groups", "", "g: a@b; ", ""},
    {"one-group", "g: ", "a@b, ", "c@d;"},
    {"quoted-pairs", "", R"("a\"b" <c@d>, )", ""},
    {"nested-comments", "a@b ", "(", "x"},
    {"colons", "", "g:", ""},
    {"long-domain", "a@b", ".b", ""},
    {"long-route", "<", "@r,", "@r:a@b>"},
    {"long-phrase", "", "a \t", "<a@b>"},
    {"open-quote", "\"", "a", ""},
    {"open-comments", "", "a, (b ", ""},
    {"open-literals", "", "[a", ""},
    {"backslashes", "\"\"", "\\", ""},
};

// The list, with the comments of the kind that nests them closed.
Texts hostile_list(const HostileKind& kind, std::size_t size) {
  std::string list = kind.head;
  const bool nests = std::string_view(kind.name) == "nested-comments";
  const std::size_t opened = nests ? size / 2 : size;
  while (list.size() < opened) {
    list += kind.piece;
  }
  list += kind.tail;
  if (nests) {
    list.append(size / 2, ')');
  }
  return {list};
}

// The cost may grow with the size of a list and little more.
bench::Row hostile_row(const HostileKind& kind) {
  constexpr std::size_t kSmall = std::size_t{16} * 1024;
  constexpr double kGrowth = 4.5;  // from 16 kB to 64 kB
  static std::deque<Texts> lists;
  const Texts& large = lists.emplace_back(hostile_list(kind, 4 * kSmall));
  const Texts& small = lists.emplace_back(hostile_list(kind, kSmall));
  bench::Row row{.name = std::string("recipients/64kB-") + kind.name,
                 .unit = "list"};
  row.ours = ours(large);
  row.limit = bench::Side{"16kB", ours(small)};
  row.bound = bench::Bound{"16kB", kGrowth, true};
  row.count_units = 4;
  return row;
}

}  // namespace

int main(int argc, char** argv) {
#ifdef CONFIGAPI_BENCH_DOVECOT
  dovecot_addresses_start();
#endif
#ifdef CONFIGAPI_BENCH_GMIME
  g_mime_init();
#endif
  std::vector<bench::Row> rows;
  if (bench::corpus_folder() == nullptr) {
    rows.push_back(row_of("recipients/mail", made_lists()));
  } else {
    rows.push_back(
        row_of("recipients/corpus", bench::corpus_cases("addresses")));
    rows.push_back(row_of("recipients/mail",
                          bench::corpus_cases("addresses/harvested.txt")));
  }
  for (const auto& kind : kHostileKinds) {
    rows.push_back(hostile_row(kind));
  }
  return bench::run(argc, argv, rows);
}
