// What became of the lines of a header.

#ifndef CONFIGAPI_TOOLS_EXPLAIN_HEADER_H_
#define CONFIGAPI_TOOLS_EXPLAIN_HEADER_H_

#include <string>
#include <vector>

#include "mailbox.h"
#include "remark.h"

namespace configapi::tool {

struct HeaderRemark {
  long line;           // of the file, on which the header begins
  long byte;           // of the file, where that line begins
  std::string header;  // its name, or empty where there is none
  Remark remark;       // offsets count in the header's value, unfolded
};

// Reads a message's header a second time, line by line, and says which lines
// were no headers, what of a line was dropped, which headers stand a second
// time without effect, which addresses were left out and how dates were read.
// Leaves the file's positions anywhere.
std::vector<HeaderRemark> explain_header(const MailFile& file,
                                         const Message& message);

}  // namespace configapi::tool

#endif  // CONFIGAPI_TOOLS_EXPLAIN_HEADER_H_
