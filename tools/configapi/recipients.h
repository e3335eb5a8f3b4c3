// Recipients of an address list, and how they are shown.

#ifndef CONFIGAPI_TOOLS_RECIPIENTS_H_
#define CONFIGAPI_TOOLS_RECIPIENTS_H_

#include <configapi/rfc822.h>

#include <cstddef>
#include <string>

#include "output.h"

namespace configapi::tool {

// A table of the host's own, emptied when it goes out of scope.
class RecipientList {
 public:
  // Parses a list; the text is a copy since parsing changes it.
  explicit RecipientList(std::string text) {
    RecipParse(text.data(), &table_, 1);
  }
  ~RecipientList() { Clear_RT(&table_); }
  RecipientList(const RecipientList&) = delete;
  RecipientList& operator=(const RecipientList&) = delete;
  RecipientList(RecipientList&&) = delete;
  RecipientList& operator=(RecipientList&&) = delete;

  [[nodiscard]] const RecipTable& table() const { return table_; }

 private:
  RecipTable table_{};
};

// An array of objects with the members address, written, phrase, comment,
// local and domain; empty for null.
Json recipient_rows(const RecipTable* table);

// Prints the address behind a label, and below it, further in, each part that
// there is.
void print_recipient(const Recipient& recipient, const std::string& label,
                     const Output& output);

}  // namespace configapi::tool

#endif  // CONFIGAPI_TOOLS_RECIPIENTS_H_
