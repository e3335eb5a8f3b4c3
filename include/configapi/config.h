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

  // Drops every cached value, for all objects of the process. Returns 0.
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
