#include "explain_body.h"

#include <configapi/rfc822.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <string>
#include <string_view>

namespace configapi::tool {
namespace {

constexpr std::size_t kPiece = 1024;  // what ParseBody() reads at once

std::string why_no_envelope(std::string_view line) {
  const bool has_time = std::count(line.begin(), line.end(), ':') >= 2;
  return in_quotes(line.substr(0, line.find_last_not_of("\r\n") + 1)) +
         " begins no message: " +
         (has_time ? "it does not end in a year"
                   : "it has no time with hours, minutes and seconds");
}

}  // namespace

std::vector<HeaderRemark> explain_body(const MailFile& file,
                                       const Message& message,
                                       Mailbox* mailbox) {
  std::vector<HeaderRemark> remarks;
  std::FILE* const stream = file.stream();
  if (!mailbox->is_mailbox() ||
      std::fseek(stream, message.body, SEEK_SET) != 0) {
    return remarks;
  }
  std::array<char, kPiece> piece{};
  for (long at = message.body; at >= 0 && at < message.end;
       at = std::ftell(stream)) {
    if (std::fgets(piece.data(), piece.size(), stream) == nullptr ||
        remarks.size() == kMostRemarks) {
      break;
    }
    const std::string_view line(piece.data());
    if (line.starts_with("From ") && isNextMsgHeader(piece.data()) == 0) {
      remarks.push_back(
          {mailbox->line_at(at), at, "", {why_no_envelope(line)}});
    }
  }
  return remarks;
}

}  // namespace configapi::tool
