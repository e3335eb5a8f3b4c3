// The messages of a file, one at a time.

#ifndef CONFIGAPI_TOOLS_MAILBOX_H_
#define CONFIGAPI_TOOLS_MAILBOX_H_

#include <configapi/rfc822.h>

#include <memory>
#include <optional>
#include <string>

#include "mail_file.h"

namespace configapi::tool {

struct ReleaseHeader {
  void operator()(Header822* header) const { Free822Header(header); }
};
using HeaderPtr = std::unique_ptr<Header822, ReleaseHeader>;

struct Message {
  long number;            // from 1
  long line;              // of the file, from 1
  long byte;              // where it begins
  long body;              // where its header ends
  long end;               // where the next one begins
  unsigned header_lines;  // as ParseHdr() counts them
  unsigned status_line;   // 0: it has no Status header
  std::string complaint;  // what the library logged about the header, or ""
  HeaderPtr header;
};

// Walks a mailbox, or a file that is one message. Memory does not grow with
// the file: a message is its header, and goes with it.
class Mailbox {
 public:
  // REQUIRES: the file outlives it.
  explicit Mailbox(const MailFile& file);

  // The next message, or nothing behind the last. Throws a Failure (kFile)
  // when the file is not to be read.
  std::optional<Message> next();

  // Whether messages are told apart: the file begins with "From ".
  [[nodiscard]] bool is_mailbox() const { return is_mailbox_; }

  // The line of the file, from 1, that a byte of the present message is on.
  // REQUIRES: the byte does not stand before one that was asked for earlier.
  long line_at(long byte);

 private:
  long skip_body(long body);

  const MailFile& file_;
  bool is_mailbox_;
  long number_ = 0;
  long position_;    // of the next message
  long counted_to_;  // lines are known up to here
  long lines_before_ = 0;
};

}  // namespace configapi::tool

#endif  // CONFIGAPI_TOOLS_MAILBOX_H_
