// The gateway's settings: a typed schema that is compiled in, values that live
// in an LDAP directory, and a process-wide cache in between.
//
// In this header a text is NUL-terminated and not null unless stated, a size
// counts bytes including the NUL, and no function throws. A setting's address
// is a section name and a key name; letter case is ignored in comparisons (in
// ASCII), except that the cache's hash does not ignore it: see below.
//
// Threads: any number may read, add, look up and clear at once. The cache has
// its own reader/writer lock, and readers do not slow one another down. A
// cConfig object is an ldapClient and is used by one thread at a time.

#ifndef CONFIGAPI_CONFIG_H_
#define CONFIGAPI_CONFIG_H_

#include <configapi/export.h>
#include <configapi/ldapclient.h>

CONFIGAPI_BEGIN_C

// The schema.

enum {
  TYPE_BOOLEAN_TF = 1,
  TYPE_BOOLEAN_YN = 2,
  TYPE_BOOLEAN_01 = 3,
  TYPE_DATE = 4,
  TYPE_DIRECTORY = 5,
  TYPE_FILENAME = 6,
  TYPE_FILENAME_N = 7,
  TYPE_HOSTNAME = 8,
  TYPE_DOMAINNAME = 9,
  TYPE_HOSTDOMAIN = 10,
  TYPE_IP_ADDRESS = 11,
  TYPE_NUMBER = 12,
  TYPE_NUMBER_NZ = 13,
  TYPE_REAL = 14,
  TYPE_RFC822_ADDRESS = 15,
  TYPE_STRING = 16,
  TYPE_STRING_N = 17,
  TYPE_STRING_LIST = 18,
  TYPE_RRQ = 19,
  TYPE_TIME = 20,
  TYPE_LOCALCHARSET = 21,
  TYPE_TIMEZONE = 22,
  TYPE_VIMCHARSET = 23,
  TYPE_OCTET = 24
};

enum { FLAG_SINGLE_VALUE = 1, FLAG_MULTIPLE_VALUE = 2 };

// One key. The first slot whose key is the empty text ends a section; nothing
// behind it is to be looked at.
typedef struct cfgKey {
  const char* key;
  unsigned long type;         // a TYPE_ code, 0 in the end slot
  unsigned long flag;         // a FLAG_ code
  const char* defaultValue;   // a text of the key's type
  unsigned long reserved[6];  // zero
  const char* tableValue;     // what a read of the table delivers
  const char* spare;          // the empty text
} cfgKey;

typedef struct cfgSection {
  const char* name;  // the empty text in the end record
  cfgKey keys[100];
} cfgSection;

// All sections in order, and the end record. Constant. The number of records
// is part of the interface: a host may hold a copy.
CONFIGAPI_EXPORT extern const cfgSection cfgTable[24];

// Looks a setting up in the schema table; the first slot that matches answers.
//
// Returns 0, copies its table value into dst and its type code into *type.
// Returns -1 when the table does not know the address, and leaves both as
// they were. REQUIRES: dst has room for 30 bytes, the longest table value and
// its NUL. Walks the table; allocates nothing.
CONFIGAPI_EXPORT int getBufferFromTable(const char* section, const char* key,
                                        char* dst, unsigned long* type);

// Type code of a type name ("TYPE_NUMBER"), letter case ignored; 0 when there
// is none. "TYPE_STRING_LIST" gives 0: it is no type that a host may ask for.
CONFIGAPI_EXPORT unsigned long str2ul(char* name);

// Type name of a code 1 to 24, flag name of a flag 1 or 2; null for any other.
CONFIGAPI_EXPORT const char* ul2str(unsigned long code);
CONFIGAPI_EXPORT const char* ul2strflg(unsigned long flag);

// Validation: whether a text may be a setting's value. Letters and white space
// are the classes of the process's locale (LC_CTYPE), a byte of 0xFF being in
// none; digits are '0' to '9'. Nothing is logged, and only addresses allocate.

// Judges a value by the type of its key.
//
// Returns what valid8_type() returns for the type that getBufferFromTable()
// tells, or 3 when the table does not know the address: the value, which may
// be null, is then not looked at.
CONFIGAPI_EXPORT int valid8(char* section, char* key, char* value);

// Judges a value, or null, by a type code: 0 when it is valid, -1 when not or
// when there is no such type, 1 for TYPE_STRING_LIST, whatever the value. Null
// is valid for TYPE_NUMBER_NZ, TYPE_STRING_N and TYPE_RRQ.
//
//   TYPE_BOOLEAN_TF      TRUE or FALSE; as for _YN, letter case is ignored
//   TYPE_BOOLEAN_YN      YES or NO
//   TYPE_BOOLEAN_01      0 or 1
//   TYPE_DATE            nn/nn/nnnn, each n a digit; no range is checked
//   TYPE_DIRECTORY       what check_dir() accepts; so TYPE_FILENAME and _N
//   TYPE_HOSTNAME        what check_label() accepts; so TYPE_DOMAINNAME and
//                        TYPE_HOSTDOMAIN
//   TYPE_IP_ADDRESS      four fields of 1 to 3 digits with dots between them,
//                        none above 255
//   TYPE_NUMBER          digits, or empty
//   TYPE_NUMBER_NZ       digits that are not all 0, with or without white space
//                        before them; or empty
//   TYPE_REAL            see below
//   TYPE_RFC822_ADDRESS  at least one address for RecipParse() (rfc822.h)
//   TYPE_STRING          anything; so TYPE_STRING_N and TYPE_RRQ
//   TYPE_TIME            H:M or H:M:S in fields of 1 to 3 characters, all
//                        digits, up to 23 and 59; H may begin with '+', which
//                        alone stands for 0
//   TYPE_LOCALCHARSET    no byte of 0x80 or more
//   TYPE_TIMEZONE        UT, GMT, EST, EDT, CST, CDT, MST, MDT, PST or PDT in
//                        upper case; one letter that is no J; hhmm with or
//                        without '+' or '-' before it, up to 2359; empty, or
//                        anything that begins with none of '+', '-', a letter
//                        and a digit
//   TYPE_VIMCHARSET      CP1252, CP850, CP437, LMBCS, ISTRING, UNICODE or
//                        CP932, letter case ignored
//   TYPE_OCTET           a count (32 bits, host byte order) and so many bytes
//                        that are not 0. The text must hold the count: one with
//                        a byte of 0, as in all counts below 0x01010101, ends
//                        the text and is refused.
//
// Two types change the value in place, its length staying as it is. TYPE_REAL
// makes a '.' of each byte that is no digit, and refuses the value at the
// second one, leaving what follows; what is then 0, or too small for a double,
// is refused as well. So "3,5" becomes "3.5" and "-2" becomes ".2"; '.' is the
// decimal mark in every locale. TYPE_RFC822_ADDRESS changes what RecipParse()
// does, also in a value that it refuses: a backslash with a double quote
// becomes two blanks.
//
// An address is also refused when memory is out for it. The cost is linear in
// the value's length, that of RecipParse() for an address.
CONFIGAPI_EXPORT int valid8_type(unsigned long type, char* value);

// Whether a text is a host's or a domain's name, behind any blanks: a letter,
// then letters, digits, '-' and '.', the last of which is not '.'. Returns 0,
// or -1 when it is not. Lengths are not limited, nor are empty labels noticed.
CONFIGAPI_EXPORT int check_label(char* text);

// Whether a text is a network path, behind any blanks: two backslashes, then
// at least one more, and a letter or digit at the end (\\SERVER\SHARE). Returns
// 1, or 0 when it is not: a truth value of one byte, in C and C++ alike.
CONFIGAPI_EXPORT unsigned char check_dir(char* text);

// The cache: 421 buckets chosen by a hash of the key, in each a chain that is
// searched without regard to letter case. There is no limit and no eviction.
//
// The hash leaves out the key's first character and minds letter case: a key
// that is looked up in other letters than it was added with is usually not
// found, and the caller then asks the directory again.

// The bucket of a key, 0 to 420.
CONFIGAPI_EXPORT unsigned int get_hash_index(char* key);

// Forgets all entries without releasing them. Returns 0. For a process that
// starts over; ClearCache() is what empties a cache in use.
CONFIGAPI_EXPORT int InitCache(void);

// Adds the value of an address, or replaces the value and type it had. A value
// that equals the present one but for letter case changes nothing, the type
// included. The cache keeps copies. Returns 0 always: when memory is out for
// the value, nothing is cached for the address.
CONFIGAPI_EXPORT int AddCache(const char* section, const char* key,
                              const char* value, unsigned long type);

// Looks up the value cached for an address.
//
// Returns 0 and fills dst and *type when there is one; the value is cut to
// size - 1 bytes and terminated (a size of 0 leaves dst untouched). Returns 1
// when there is none, and then leaves dst and *type as they were. Walks one
// chain and allocates nothing.
CONFIGAPI_EXPORT int LookupCache(const char* section, const char* key,
                                 char* dst, unsigned long size,
                                 unsigned long* type);

// Releases every entry. Returns 0.
CONFIGAPI_EXPORT int ClearCache(void);

CONFIGAPI_END_C

#ifdef __cplusplus

// A host's view of the settings. Connect and bind the ldapClient that it is
// (ldapclient.h) before a read that goes to the directory.
class CONFIGAPI_EXPORT cConfig : virtual public ldapClient {
 public:
  // Reads one setting: from the cache; else, with a null `source`, from the
  // schema table; else from the directory. `source` only chooses the store;
  // its text is never read. A directory value that is not empty is cached
  // whole, with type 0.
  //
  // Returns 0 and the value in dst, cut to size - 1 bytes and terminated; it
  // is empty when the directory's entry lacks the key. Returns 3 when there is
  // no value (address not in the table, entry not found, directory not to be
  // reached, or an empty text in the cache) and 5 when `size` bytes could not
  // be had; dst is then untouched. A size of 0 never touches dst.
  //
  // *type is set to the cached type on a cache hit, or to the schema's type
  // when the schema knows the address, with results 0 and 3 alike; else it
  // stays.
  int CONFIGReadData(const char* section, const char* key, const char* source,
                     char* dst, unsigned long size, unsigned long* type);

  // Writes one setting to the directory, when valid8() finds its value valid,
  // and then drops every cached value, for all objects of the process. With a
  // flag of 1 the value is only judged: nothing is written, the cache stays.
  // valid8() may change the value in place, and what it leaves is written.
  //
  // Returns 0 when the value is valid, 1 when it is not, 2 when it is null, 3
  // when the schema does not know the address, and 6 when the key's type is not
  // to be written (TYPE_STRING_LIST). With 1, 3 and 6 "invalid data" is logged
  // (level 6, source "CONFIG API"); but for 0 nothing is written and the cache
  // stays.
  //
  // 0 does not mean that the directory took the value: a refusal, or a value
  // that ldapWriteConfigString() refuses, is only logged, and the cache dropped
  // all the same. Who must know reads the setting back.
  int CONFIGWriteData(const char* section, const char* key, char* value,
                      int flag);

  // Drops every cached value, for all objects of the process. Returns 0. The
  // directory is not asked: where it is away, reads give 3 until it is back.
  int CONFIGRefreshCache();

  // Reads one value from the entry whose cn is the section; the cache is not
  // touched. When several values match, the last one is delivered.
  //
  // *status is the code of ldapClientSearch (0 found); 1 for a section of more
  // than 94 bytes. dst is left as it was when there is no such value. `type` is
  // not used and may be null. REQUIRES: dst has room for 512 bytes.
  void ldapGetConfigString(const char* section, const char* key, char* dst,
                           unsigned long* type, int* status);

  // Stores one value in the entry "cn=" and `dn` (a section's name, escaped by
  // RFC 4514) and its object class, creating the entry when the modify fails.
  // The cache is not touched and the value not validated. A failure is logged
  // ("ldapWriteConfigString failed") and not reported; a section of more than
  // 94 bytes, a key of 64 or more or a value of 512 or more is refused that
  // way, and nothing is sent.
  void ldapWriteConfigString(const char* dn, const char* key, char* value);
};

#endif  // __cplusplus

#endif  // CONFIGAPI_CONFIG_H_
