// Recognises an address of the usual shape without going by the grammar.

#ifndef CONFIGAPI_PLAINADDR_H_
#define CONFIGAPI_PLAINADDR_H_

#include <string_view>

#include "rfc822/addrgram.h"

namespace configapi {

struct PlainAddress {
  AddressTexts texts;
  std::string_view written;  // the address itself
  const char* next;          // behind the comma, or at the end of the list
};

// Nearly all addresses of a list are of one of these shapes:
//
//   [ word *( blank word ) | quoted string ] "<" word "@" sub-domains ">"
//   word "@" sub-domains
//
// with nothing but blanks up to the next comma or the end, no comments, no
// gaps, and parts that fit. Fills the address as the grammar would. False: it
// is anything else, and for the grammar to read.
//
// REQUIRES: `text` is not at a blank, and ends in a NUL.
bool read_plain_address(const char* text, PlainAddress& address);

}  // namespace configapi

#endif  // CONFIGAPI_PLAINADDR_H_
