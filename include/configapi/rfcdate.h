// Dates of Internet mail: the texts of RFC 822 section 5 and of ctime(), and
// the broken-down record between them.
//
// In this header a text is NUL-terminated, and no pointer is null unless
// stated. A record keeps the date and time as they were written, with their
// zone; nothing is ever converted to UTC. Characters are classified as the
// process's locale does (isspace, isalpha, ispunct), byte by byte. Names of
// months and zones match in exact letters.
//
// Threads: any number may call at once; the tables are constant, and nothing
// is kept between calls. No function throws, recurses or changes the locale.

#ifndef CONFIGAPI_RFCDATE_H_
#define CONFIGAPI_RFCDATE_H_

#include <configapi/export.h>

CONFIGAPI_BEGIN_C

// Flags of a record.
enum {
  DATE_ZONE = 1,    // a zone was recognised, and `zone` holds it
  DATE_SECONDS = 2  // the text gave seconds
};

// A date and time. The ranges are those of rfc2UTC().
typedef struct UTC_DATE {
  int year;    // 1980 to 2037
  int month;   // 1 to 12
  int day;     // 1 to the month's last
  int hour;    // 0 to 23
  int minute;  // 0 to 59
  int second;  // 0 to 59; 0 when the text gave none
  int spare;   // 0
  int zone;    // minutes east of UTC: -300 for -0500
  int flags;   // DATE_ flags
} UTC_DATE;

// Parsing.

// Reads a date of RFC 822 section 5.1: an optional day name, day, month name
// and year, then optionally hour, ":" minute, ":" second and a zone, as in
// "Mon, 16 Nov 1998 15:48:37 -0500". Blanks between the parts may be missing
// or many. The day name is not looked at, a month name counts by its first
// three letters, years 80 to 99 and 0 to 37 are those of 1980 to 2037, and
// what follows the zone is ignored. A zone that getzone() does not recognise
// leaves the record without one.
//
// Returns 1 and a new record in *out, which the caller releases with free().
// Returns 0 and null in *out when the text is no such date, a part is out of
// its range or memory is out. A null text gives 0 and leaves *out as it was.
// One allocation, and none for a text that is refused; reads the text once.
CONFIGAPI_EXPORT int rfc2UTC(const char* text, UTC_DATE** out);

// Reads a date in the form of ctime(): "Mon Nov 16 15:48:37 1998", also with a
// zone name before the year. The first word, up to a blank, may be anything.
// Day, hour, minute and second are taken as they stand, without a range.
// Without a zone, or with one of 0 minutes, the record gets the machine's
// standard time: what the last tzset(), ctime() or localtime() of the process
// put into `timezone`, or 0 when there was none.
//
// Results, ownership and cost are those of rfc2UTC().
CONFIGAPI_EXPORT int ctime2UTC(const char* text, UTC_DATE** out);

// Formatting.

// Writes the date as "Mon, 16 Nov 1998 15:48:37 -0500": without the seconds
// when DATE_SECONDS is clear, with "+0000" when DATE_ZONE is. The weekday is
// computed. A year of 0 to 37 or 80 to 99 is first replaced in the record by
// the year it stands for, and a log entry says so. Fields out of their ranges
// are written as the numbers they are.
//
// Returns 1 and the text in `out`: at most 31 characters for a record in its
// ranges, and never more than 63, where any other is cut. Returns 0 and the
// empty text for a null date, a month outside 1 to 12, another year (which is
// logged) or a day so far below 1 that it has no weekday.
//
// REQUIRES: `out` has room for 64 bytes. Allocates nothing.
CONFIGAPI_EXPORT int UTC2rfc(UTC_DATE* date, char* out);

// Weekday of the record's year, month and day, 0 for Saturday to 6 for Friday:
// that of the Gregorian calendar from 1753 on. Days past the month's end count
// on. -1 for a month outside 1 to 12; less than 0 also when year or day lie
// far enough below 0.
CONFIGAPI_EXPORT int makewkday(const UTC_DATE* date);

// Zones.

// Reads a zone: after blanks, a sign and four digits ("-0330"), or a name of
// zone_tbl that is not part of a longer word ("EST"). What follows is ignored.
// The four characters behind a sign are taken for digits whatever they are:
// "+9999" is 99 hours and 99 minutes. Fewer than four are no zone.
//
// Sets the record's zone and DATE_ZONE, or leaves the record as it was when
// there is no zone.
CONFIGAPI_EXPORT void getzone(const char* text, UTC_DATE* date);

// The minutes east of UTC of a zone as getzone() reads it, -1 when there is
// none. "-0001" is -1 too.
CONFIGAPI_EXPORT int GetZoneInt(const char* text);

// Name tables. Constant; the numbers of entries are part of the interface, as
// a host may hold a copy.

// A name and its value. A table ends with a null name, whose value is what a
// search gives that finds nothing.
typedef struct NameEntry {
  const char* name;
  int value;
} NameEntry;

// 64 zones in byte order of their names; a value is the offset east of UTC as
// a Date header writes it, read as one number (-330 is -0330). Ends with -99.
CONFIGAPI_EXPORT extern const NameEntry zone_tbl[65];

// "Jan" 0 to "Dec" 11. Ends with -1.
CONFIGAPI_EXPORT extern const NameEntry tbl_month[13];

// Weekday names as makewkday() counts: "Sat", "Sun" to "Fri".
CONFIGAPI_EXPORT extern const char* const Day[7];

// Days of the months of a common year, January first.
CONFIGAPI_EXPORT extern const int dmsize[12];

// Folds a byte to upper case by its low seven bits: 'a' and 0xE1 give 'A'.
CONFIGAPI_EXPORT extern const unsigned char CharConv[256];

// Value of the first entry whose name equals the key, else the end entry's.
CONFIGAPI_EXPORT int cmd_srch(const char* key, const NameEntry* table);

// Name of the first entry with this value, or null. It is the table's.
CONFIGAPI_EXPORT const char* rcmd_srch(int value, const NameEntry* table);

// Finds the key among the first `count` entries of a table by bisection, else
// gives the value of entry number `count`.
//
// REQUIRES: those entries are in order of CharConv of their first bytes and
// then of their bytes, as zone_tbl is; count is not negative, and the table
// has an entry of that number.
CONFIGAPI_EXPORT int cmdbsrch(const char* key, const NameEntry* table,
                              int count);

CONFIGAPI_END_C

#endif  // CONFIGAPI_RFCDATE_H_
