#include "rules.h"

#include <configapi/config.h>

#include <algorithm>
#include <array>

namespace configapi::tool {
namespace {

struct Rule {
  unsigned long type;
  std::string_view words;
};

constexpr std::string_view kNetworkPath =
    R"(a network path \\SERVER\SHARE or deeper that ends in a letter or digit)";
constexpr std::string_view kHostName =
    "a name of letters, digits, '-' and '.' that begins with a letter and does "
    "not end in '.'";
constexpr std::string_view kAnyText = "any text";

// clang-format off
constexpr std::array kRules = {
    Rule{TYPE_BOOLEAN_TF, "TRUE or FALSE, in any letter case"},
    Rule{TYPE_BOOLEAN_YN, "YES or NO, in any letter case"},
    Rule{TYPE_BOOLEAN_01, "0 or 1"},
    Rule{TYPE_DATE, "ten characters nn/nn/nnnn, every n a digit"},
    Rule{TYPE_DIRECTORY, kNetworkPath},
    Rule{TYPE_FILENAME, kNetworkPath},
    Rule{TYPE_FILENAME_N, kNetworkPath},
    Rule{TYPE_HOSTNAME, kHostName},
    Rule{TYPE_DOMAINNAME, kHostName},
    Rule{TYPE_HOSTDOMAIN, kHostName},
    Rule{TYPE_IP_ADDRESS, "four numbers from 0 to 255 with dots between them"},
    Rule{TYPE_NUMBER, "a whole number in digits alone, or empty"},
    Rule{TYPE_NUMBER_NZ, "a whole number above 0 in digits alone, or empty"},
    Rule{TYPE_REAL, "a number above 0, in digits and at most one '.'; any other "
                    "character is stored as '.'"},
    Rule{TYPE_RFC822_ADDRESS, "at least one mail address (RFC 822); \\\" in "
                              "it is stored as two blanks"},
    Rule{TYPE_STRING, kAnyText},
    Rule{TYPE_STRING_N, kAnyText},
    Rule{TYPE_STRING_LIST, "a list of texts; such a key cannot be written"},
    Rule{TYPE_RRQ, kAnyText},
    Rule{TYPE_TIME, "a time of day, H:M or H:M:S, up to 23:59:59; H may begin "
                    "with '+'"},
    Rule{TYPE_LOCALCHARSET, "7-bit text, or empty"},
    Rule{TYPE_TIMEZONE, "a zone: UT, GMT, EST, EDT, CST, CDT, MST, MDT, PST, "
                        "PDT, one letter other than J, HHMM, +HHMM or -HHMM; "
                        "or empty, or anything that begins with none of a "
                        "letter, a digit, '+' and '-'"},
    Rule{TYPE_VIMCHARSET, "CP1252, CP850, CP437, LMBCS, ISTRING, UNICODE or "
                          "CP932, in any letter case"},
    Rule{TYPE_OCTET, "bytes behind a count of them (32 bits, this machine's "
                     "byte order), no byte of 0 in either"},
};
// clang-format on

}  // namespace

std::string_view rule_of(unsigned long type) {
  const auto* const rule = std::find_if(
      kRules.begin(), kRules.end(),
      [type](const Rule& candidate) { return candidate.type == type; });
  return rule != kRules.end() ? rule->words : "of a known type";
}

std::string_view type_name(unsigned long type) {
  const char* name = ul2str(type);
  return name != nullptr ? name : "TYPE_?";
}

}  // namespace configapi::tool
