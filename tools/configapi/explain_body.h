// Where a mailbox looks as if another message began, and none does.

#ifndef CONFIGAPI_TOOLS_EXPLAIN_BODY_H_
#define CONFIGAPI_TOOLS_EXPLAIN_BODY_H_

#include <vector>

#include "explain_header.h"
#include "mailbox.h"

namespace configapi::tool {

// Reads the body of the mailbox's present message as ParseBody() did, and says
// which lines that begin with "From " are no envelope lines to it, and why: a
// message that seems to be missing is there, in the body of the one before.
// Stops behind fifty of them. Leaves the stream's position anywhere.
std::vector<HeaderRemark> explain_body(const MailFile& file,
                                       const Message& message,
                                       Mailbox* mailbox);

}  // namespace configapi::tool

#endif  // CONFIGAPI_TOOLS_EXPLAIN_BODY_H_
