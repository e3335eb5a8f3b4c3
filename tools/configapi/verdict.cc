#include "verdict.h"

#include <configapi/config.h>

#include "remark.h"
#include "rules.h"
#include "setting_row.h"
#include "utf8.h"

namespace configapi::tool {
namespace {

using Flaw = Verdict::Flaw;

std::string named(const Setting& setting, const std::string& value) {
  return is_secret(setting.key->key) ? "the value" : in_quotes(value);
}

Verdict by_type(const Setting& setting, const std::string& value) {
  Verdict verdict;
  verdict.stored = value;
  int answer = valid8_type(setting.key->type, verdict.stored.data());
  if (answer == 0 && verdict.stored != value) {
    // Blanks in place of \" may leave a quote without its other one, and the
    // gateway would refuse what it stored itself.
    std::string again = verdict.stored;
    answer = valid8_type(setting.key->type, again.data());
  }
  if (answer == 1) {
    verdict.flaw = Flaw::kNotWritable;
    verdict.why =
        "a " + std::string(type_name(setting.key->type)) + " cannot be written";
  } else if (answer != 0) {
    verdict.flaw = Flaw::kInvalid;
    verdict.why = named(setting, value) + " is not ";
    verdict.why += rule_of(setting.key->type);
  }
  return verdict;
}

}  // namespace

Verdict judge(const Setting& setting, const std::string& value) {
  if (value.empty()) {
    return {Flaw::kEmpty, "a directory holds no empty value: unset it instead"};
  }
  if (value.size() > kMaxValueBytes) {
    return {Flaw::kTooLong, "a value of " + std::to_string(value.size()) +
                                " bytes; the gateway reads " +
                                std::to_string(kMaxValueBytes) + " at most"};
  }
  if (!is_utf8(value) || value.find('\0') != std::string::npos) {
    return {Flaw::kNotText,
            named(setting, value) + " is not UTF-8 text without NUL bytes"};
  }
  return by_type(setting, value);
}

ExitCode Verdict::code() const {
  switch (flaw) {
    case Flaw::kNone:
      return ExitCode::kDone;
    case Flaw::kNotWritable:
      return ExitCode::kNotWritable;
    default:
      return ExitCode::kNo;
  }
}

const char* flaw_name(Flaw flaw) {
  switch (flaw) {
    case Flaw::kNone:
      return "none";
    case Flaw::kEmpty:
      return "empty";
    case Flaw::kTooLong:
      return "too_long";
    case Flaw::kNotText:
      return "not_text";
    case Flaw::kInvalid:
      return "invalid";
    case Flaw::kNotWritable:
      return "not_writable";
  }
  return "";
}

}  // namespace configapi::tool
