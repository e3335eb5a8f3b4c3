// The headers that have a treatment of their own.

#ifndef CONFIGAPI_HEADERTABLE_H_
#define CONFIGAPI_HEADERTABLE_H_

#include <configapi/rfc822.h>

#include <string_view>

namespace configapi {

// The codes of the table's rows.
enum HeaderCode : int {
  kTo = 1,
  kFrom = 2,
  kCc = 3,
  kBcc = 4,
  kResentTo = 5,
  kResentCc = 6,
  kResentBcc = 7,
  kReceived = 8,
  kReplyTo = 9,
  kReturnReceiptTo = 10,
  kSubject = 11,
  kDate = 12,
  kSender = 13,
  kMessageId = 14,
  kInReplyTo = 15,
  kReferences = 16,
  kReturnPath = 17,
  kResentMessageId = 18,
  kEnvelope = 19,
  kStatus = 20,
  kRecvDate = 21,
  kMimeVersion = 22,
  kContentType = 23,
  kContentTransferEncoding = 24,
  kContentId = 25,
  kContentDescription = 26,
  kResentFrom = 27,
  kResentDate = 28,
  kOther = 29,
};

// The bit of a row's flags that the parser reads.
constexpr int kUnfolded = 2;

// The row of a header whose name is followed by `end`: ':', or a blank for all
// that is not ':'. Any name with a ':' has one, if only that of other headers;
// null means that the line is no header. Letter case does not matter.
const HdrName* find_header_name(std::string_view name, char end);

}  // namespace configapi

#endif  // CONFIGAPI_HEADERTABLE_H_
