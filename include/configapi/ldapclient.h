// A session with an LDAP directory, and the records that carry entries.
//
// In this header a text is NUL-terminated, and not null unless stated. Sizes
// count bytes. No function throws; every one is synchronous. An ldapClient is
// used by one thread at a time, different objects by any number at once.
// Failures are logged with LogMessage under the source "LDAP Client API",
// level 1 for errors and 6 for searches that found nothing.
//
// Lists end with a record that is all zero and carries no data: walk a list
// while the current record's `next` is not null. N values make N + 1 records.

#ifndef CONFIGAPI_LDAPCLIENT_H_
#define CONFIGAPI_LDAPCLIENT_H_

#include <configapi/export.h>
#include <sys/time.h>

CONFIGAPI_BEGIN_C

// One attribute value. A DN, name or value read from the directory that does
// not fit its field is cut there, never inside a UTF-8 character.
typedef struct attrval {
  int op;                // modify: 0 add, 1 delete, 2 replace; else 0
  char name[64];         // attribute type
  char value[512];       // one value
  struct attrval* next;  // null in the end record
} attrval;

// One entry of a search result.
typedef struct SearchReq {
  char dn[256];            // the entry's distinguished name
  attrval* attrs;          // its values, an attribute's values side by side
  struct SearchReq* next;  // null in the end record
} SearchReq;

// The value of the first RDN of a distinguished name: what stands between the
// first '=' and the next ','. Without ',' it is everything behind the first
// '='; without '=' in front of the first ',' it is the text up to that ',' or
// the whole text. The caller releases the copy with free(); null when memory
// is out. Any thread.
CONFIGAPI_EXPORT char* dn_check(char* text);

// A list of one text, in the form of an attribute list of a search: a
// null-terminated array that owns a copy. Null when memory is out. Released
// with free_getlist().
CONFIGAPI_EXPORT char** get_list(char* text);

// Releases a list and its texts; null does nothing.
CONFIGAPI_EXPORT void free_getlist(char** list);

// The name in a filter or RDN: leading '(' are passed over, the text up to the
// first '=' (or to the end) is copied: "(cn=MAIL)" gives "cn". The caller
// releases the copy with free(); null when memory is out.
CONFIGAPI_EXPORT char* parse_keyname(char* text);

CONFIGAPI_END_C

#ifdef __cplusplus

struct ldap;

// One connection. Construct, connect, bind when the directory wants it, use,
// and unbind: there is no destructor. Every operation on an object that is not
// connected gives its failure code; a search then logs nothing.
class CONFIGAPI_EXPORT ldapClient {
 public:
  char bindDN[64];        // set by a bind that succeeded
  char bindPassword[64];  // set by a bind that succeeded
  struct ldap* ld;        // the connection, null while there is none
  int cacheEnabled;       // 1 when the LDAP library caches results itself

  ldapClient();

  // Opens a connection (LDAP version 3) to the host, null for "localhost"; a
  // port of 0 or less is 389. An object that is connected is unbound first.
  //
  // Returns 0, or 4 with a log line when the connection fails or the host name
  // has 64 bytes or more; the object is then unconnected.
  int ldapClientConnect(char* host, int port);

  // Authenticates with a simple bind (RFC 4513 section 5.1) and waits up to
  // 360 seconds for the answer; both texts may be null (anonymous).
  //
  // Returns 0 and keeps the texts in bindDN and bindPassword. Returns 4 with a
  // log line on any failure, and the connection is then closed; a text of 64
  // bytes or more is refused the same way.
  int ldapClientBind(char* dn, char* password);

  // Closes the connection, if there is one.
  void ldapClientUnbind();

  // Searches below `base` (null: the LDAP library's default base) with scope
  // 0 base, 1 one level, 2 subtree, and a filter of RFC 4515. `option` sets
  // alias dereferencing: 0 never, 1 searching, 2 finding, 3 always. `attrs`
  // names the attribute types wanted and ends with null; null, like the
  // overloads without it, wants all. `timeout` bounds the wait.
  //
  // Returns the entries, for the caller to release with srch_free(), and
  // *rc = 0. Otherwise null and *rc = 1 (failed, or nothing found; also when
  // memory is out), 2 (entries could not be counted) or 4 (not connected).
  SearchReq* ldapClientSearch(char* base, int scope, int option, char* filter,
                              int* rc);
  SearchReq* ldapClientSearch(char* base, int scope, int option, char* filter,
                              struct timeval* timeout, int* rc);
  SearchReq* ldapClientSearch(char* base, int scope, int option, char* filter,
                              char** attrs, int* rc);
  SearchReq* ldapClientSearch(char* base, int scope, int option, char* filter,
                              char** attrs, struct timeval* timeout, int* rc);

  // Adds the entry `dn` with the values of the list; `op` is ignored.
  // Returns 0, or -1 with a log line. A list without values sends nothing and
  // fails. The list stays the caller's.
  int ldapClientAdd(char* dn, attrval* list);

  // Changes the entry `dn` by the list, in order and as one step: the server
  // applies all or none. Returns 0, or the LDAP result code with a log line
  // (32: no such entry). A list without values, or an object without a
  // connection, sends nothing and gives -1. The list stays the caller's.
  int ldapClientModify(char* dn, attrval* list);

  // Deletes the entry. Returns 0, or -1 with a log line.
  int ldapClientDelete(char* dn);

  // Gives the entry `dn` the RDN "cn=" and the value of `newName`, which may
  // be a DN, an RDN or a bare value, under the same parent; the old naming
  // value goes. Returns 0, or -1 with a log line.
  int ldapClientModRDN(char* dn, char* newName);

  // Asks the server whether the entry has the value. Returns 0 when it has,
  // else -1 (also on any error); both are logged at level 6.
  int ldapClientCompare(char* dn, char* attribute, char* value);

  // Releases a search result; null is allowed.
  void srch_free(SearchReq* list);

  // Releases a text that this class or this header's functions handed out;
  // null is allowed.
  void free(void* p);

  // Profile strings: a section is the entry "cn=SECTION" of object class
  // "qxconfig", a key one of its attributes. Section and key are taken as
  // plain names: they are escaped (RFC 4514, RFC 4515) where they enter a DN or
  // a filter.

  // Reads a key's value. The first form asks the server for an entry that has
  // the key, the second for the section's entry.
  //
  // Returns a new text, or null when there is none. *rc is the code of the
  // search: with a missing entry 1, and in the first form with a missing key
  // too. Section and key of more than 65 bytes together (second form: a
  // section of more than 1020) give null and *rc = 1.
  char* ldapGetProfileString(char* section, char* key, int* rc);
  char* ldapGetProfileString(char* section, char* key);

  // Stores a key's value and counts the write in the attribute "ConfigSerial":
  // 0 when the entry is created or first gets it, then one more each time. The
  // section's entry is created when it is missing. Two writers of one section
  // at once may count once.
  //
  // Returns 0, or -1 with a log line; then nothing was stored. A key of 64
  // bytes or more, a value of 512 or more and a section of more than 1020 are
  // refused before anything is sent.
  int ldapWriteProfileString(char* section, char* key, char* value);
};

#endif  // __cplusplus

#endif  // CONFIGAPI_LDAPCLIENT_H_
