// Mail headers as records: the header of a message (RFC 822, RFC 2822), the
// recipients of an address list, and the messages of a mailbox file.
//
// In this header a text is NUL-terminated, 8-bit, and not null unless stated;
// no function throws. Records and texts are on the C heap: each text belongs
// to one record alone, and the release functions below take all of it back.
// "Whitespace" is space, tab, line feed, vertical tab, form feed and carriage
// return, whatever the process's locale; letter case is folded in ASCII only.
//
// Threads: any number may parse at once, each into records of its own. Header
// parses of one process follow one another, and so do recipient parses. The
// library makes its two locks when it is loaded, so there is nothing to set up.

#ifndef CONFIGAPI_RFC822_H_
#define CONFIGAPI_RFC822_H_

#include <configapi/export.h>
#include <configapi/rfcdate.h>
#include <stdio.h>

CONFIGAPI_BEGIN_C

// One parsed address: a mailbox, a route address, a bare word or a group.
// RecipParse() sets every text, to the empty one where the address has no such
// part; only `orig` may be null, when memory was out for it. A part is at most
// 255 bytes long.
typedef struct Recipient {
  char* canon;    // "local@domain", "<route:local@domain>" or the whole group
  char* orig;     // as written, without the commas and blanks around it
  char* phrase;   // display name, its words joined by single blanks
  char* comment;  // inside of the last comment, cut as phrases are
  char* local;    // local part; of a group, its last mailbox's
  char* domain;   // domain; of a group, its last mailbox's
  struct Recipient* next;
} Recipient;

// The recipients of a list, in its order. A host may keep one of its own: set
// it to all zeros, fill it with RecipParse(), empty it with Clear_RT().
typedef struct RecipTable {
  Recipient* first;  // null when count is 0
  Recipient* last;   // null when count is 0
  unsigned int count;
} RecipTable;

// One node of an address list. ParseHdr() makes one node per kind of header,
// whose table takes the recipients of every header of that kind; it leaves
// `text` and `next` null.
typedef struct AddrList {
  char* text;          // or null
  RecipTable* recips;  // or null
  struct AddrList* next;
} AddrList;

// One node of a list of texts.
typedef struct TextList {
  char* text;
  struct TextList* next;
} TextList;

// The date of a message.
typedef struct HdrDate {
  // A block of 64 bytes: the date in RFC 822 form, as UTC2rfc() writes it;
  // empty when it could not be written.
  char* text;
  // The wall-clock time and the zone, as the message has them; null when not
  // even the present time could be had in place of an unreadable date.
  UTC_DATE* utc;
} HdrDate;

// One message's header. A null field: the message had no such header.
typedef struct Header822 {
  AddrList* to;
  AddrList* resentTo;
  AddrList* cc;
  AddrList* resentCc;
  AddrList* bcc;
  AddrList* resentBcc;
  AddrList* from;
  AddrList* resentFrom;
  AddrList* replyTo;
  AddrList* returnReceiptTo;
  char* subject;
  char* sender;
  char* messageId;
  char* resentMessageId;
  char* inReplyTo;
  char* references;
  char* returnPath;
  char* status;
  char* envelope;  // what follows "From " in a mailbox's envelope line
  char* mimeVersion;
  char* contentType;
  char* contentTransferEncoding;
  char* contentId;
  char* contentDescription;
  TextList* received;  // the values of all Received headers, in order
  TextList* other;     // "Name: value" of all headers without a field
  HdrDate* date;       // the first of Date and Resent-Date
} Header822;

// A row of the header-name table.
typedef struct HdrName {
  const char* key;  // the name in lower case, its ":" (or blank) included
  int code;         // what ParseLine() (internals.h) returns for it
  int flags;        // 2: the value is unfolded; other bits are not used
} HdrName;

// The headers that have a treatment of their own: 29 rows and one whose fields
// are null and 0. The number of rows is part of the interface: a host may hold
// a copy.
// NOLINTNEXTLINE(bugprone-reserved-identifier,cert-dcl37-c): interface name
CONFIGAPI_EXPORT extern const HdrName _htbl[30];

// Headers.

// A new record without headers, or null when memory is out. Released with
// Free822Header().
CONFIGAPI_EXPORT Header822* New822Header(void);

// Releases a record of New822Header() and all that it owns; null does nothing.
CONFIGAPI_EXPORT void Free822Header(Header822* hdr);

// Reads the header of one message from a file that fileopen() (lineio.h) gave,
// up to and with the empty line that ends it, and files it into the record.
//
// Returns 1 when the header was read, also when it ended with the file. *lines
// is then the number of lines read, the empty line included, and *statusLine
// the number, counted from 1, of the line on which the (first) Status header
// begins, 0 without one. The file stands behind the last line that was read.
// Returns 0, with a log line (level 1, source "ParseHdr"), when the handle is
// not to be read ("getline failed.") or memory is out for the work buffer
// ("malloc failed.", "realloc failed."); the headers read before stay filed.
//
// A line ends in a line feed, or at the end of the file. Of a line, the text
// up to its last carriage return counts; what follows a NUL byte is dropped.
// A line whose text is empty ends the header, unless the line began with a NUL;
// one that begins with whitespace continues the header before it. The value of
// a header is the text behind its name and the whitespace that follows; lines
// are joined by "\r\n\t" in it, in the address headers other than
// Return-Receipt-To, in Resent-Date and in Sender by one blank. Names are
// compared without regard to letter case. A line that is no header (no name
// directly followed by ":", or by a blank for "From ") is ignored.
//
// A record may be filled by several calls: a text and the date stay as the
// first header of their kind had them, whereas the recipients of address
// headers, `received` and `other` are appended to. A date that is not to be
// read is replaced by the present time, in the zone that the process had at
// the first such date or has set since. A header for which memory is out is
// not filed ("malloc failed.", source "ParseLine"), and reading goes on.
//
// A header is joined to at most 63 * 1024 - 1 bytes. A longer first line is
// cut; a continuation line that would pass the limit logs "too many headers to
// parse.", and reading stops behind it with result 1, what was joined so far
// being filed and the rest of the header left unread.
//
// Cost: one pass over the lines; one allocation per stored text.
CONFIGAPI_EXPORT int ParseHdr(int handle, Header822* hdr, unsigned int* lines,
                              unsigned int* statusLine);

// Address lists.

// Parses an address list (RFC 822 section 6.1) and appends a Recipient for
// each address to the table. A reset other than 0 first makes the table empty,
// without releasing what was in it.
//
// Returns the number of recipients in the table, those that were there before
// included. Returns 0, with nothing appended, for a text that is null, empty
// or all whitespace, or whose double quotes do not pair up. Returns 0 when
// memory is out for a record: those appended before stay, so that the table is
// to be emptied with Clear_RT() after any result.
//
// An address that breaks the grammar is left out, the others are kept. An
// address is ended by a comma or a semicolon; a group ("name: a@b, c@d;") is
// one recipient. An address with a local part, domain or route of more than
// 255 bytes is left out, never cut. Nothing is logged.
//
// The text is changed in place: each backslash with a double quote becomes two
// blanks. The parts are copies. Cost grows linearly with the text, but for
// open parentheses beyond 128 kB; the only allocations are the records and
// their texts.
CONFIGAPI_EXPORT unsigned int RecipParse(char* text, RecipTable* table,
                                         int reset);

// A recipient whose fields are all null, or null when memory is out.
CONFIGAPI_EXPORT Recipient* AllocateRecipient(void);

// Releases the texts of a recipient and sets them to null; `next` stays. The
// record itself is its owner's to release. Null does nothing.
CONFIGAPI_EXPORT void Clear_RP(Recipient* rec);

// Releases the recipients of a table and makes it empty. The table itself is
// its owner's. Null does nothing.
CONFIGAPI_EXPORT void Clear_RT(RecipTable* table);

// Releases an address list: its nodes, their texts, tables and recipients.
// Null does nothing.
// NOLINTNEXTLINE(bugprone-reserved-identifier,cert-dcl37-c): interface name
CONFIGAPI_EXPORT void _free_a_l(AddrList* list);

// Mailbox files, in which each message begins with an envelope line ("From ",
// the sender, a date in ctime() form).

// Skips the body of a message up to the next message's envelope line. The
// stream is open for reading and can be positioned.
//
// Returns 1 when there is one: the stream then stands at its beginning.
// Returns -1 at the end of the stream, and when it is not to be read any
// further (ferror() tells). *endPos is in either case the position at which
// the stream stands (-1 when a long cannot hold it), and *lines is increased
// by the number of lines skipped; a line of more than 1023 bytes counts, and is
// looked at, in pieces of 1023. The stream is locked for the whole call.
CONFIGAPI_EXPORT int ParseBody(FILE* stream, long* endPos, unsigned int* lines);

// Whether a line, with or without its line end, is an envelope line: it begins
// with "From ", holds two ":" and ends in a year. Returns 1 or 0; of a last
// word of L bytes, line end included, the first (L + 3) / 2 must be digits.
CONFIGAPI_EXPORT int isNextMsgHeader(const char* line);

CONFIGAPI_END_C

#endif  // CONFIGAPI_RFC822_H_
