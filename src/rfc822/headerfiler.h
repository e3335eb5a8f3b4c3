// Files gathered headers into a record.

#ifndef CONFIGAPI_HEADERFILER_H_
#define CONFIGAPI_HEADERFILER_H_

#include <configapi/rfc822.h>

#include <cstddef>
#include <string_view>

namespace configapi {

// One parse of one record. It remembers where the record's lists end, so that
// a header of a million lines does not walk them a million times.
class HeaderFiler {
 public:
  explicit HeaderFiler(Header822* header) : header_(header) {}

  // Files one header, its lines joined by "\r\n\t", and returns what
  // ParseLine() does. The text is read in place and may be changed on the way.
  //
  // REQUIRES: text[length] is the only NUL.
  int file(char* text, std::size_t length);

 private:
  // Appends to one of the record's lists; the end is null until it is known.
  static bool append(TextList** list, TextList*** end, char* text);

  // All of these return false when memory is out, and then nothing is filed.
  static bool add_addresses(AddrList** field, char* value);
  static bool store_text(char** field, std::string_view value);
  bool store_date(const char* value);
  bool append_received(std::string_view value);
  bool append_other(std::string_view name, std::string_view value);

  Header822* header_;
  TextList** received_end_ = nullptr;
  TextList** other_end_ = nullptr;
};

}  // namespace configapi

#endif  // CONFIGAPI_HEADERFILER_H_
