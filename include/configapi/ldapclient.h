// A session with an LDAP directory, and the records that carry entries.
//
// In this header a text is NUL-terminated, and not null unless stated. Sizes
// count bytes. No function throws; every one is synchronous. An ldapClient is
// used by one thread at a time, different objects by any number at once.
// Failures are logged with LogMessage under the source "LDAP Client API",
// level 1 for errors and 6 for searches that found nothing.
//
// Every wait has a limit, also when a server stops in the middle of a message:
// NETWORK_TIMEOUT of ldap.conf (3 seconds where it is not set) for connecting
// to a host, TLS included, and for sending, TIMEOUT (30 seconds) for an answer.
// Resolving a host's name has the system's limits. A server that hangs up
// raises no SIGPIPE in the host, and a signal that the host handles does not
// end a wait. Referrals are not followed. An answer that announces a message,
// which is one entry of a search, of more than 16 MiB is no answer: the
// connection is lost.
//
// A connection that is lost is replaced: by a new one to the hosts that it was
// made to, bound as bindDN and bindPassword when it was bound so, which is
// logged at level 6 ("reconnected to URI"). A search or compare that finds its
// connection lost is then sent again, once; so is one that is not answered in
// time, to another host of a list, unless it has a limit of its own. Other
// requests may change something and are never sent twice; but a connection that
// the server has closed before is replaced first. So is one whose server did
// not answer in time, unless it answers a short question before the next
// request. Where no host can be had the operation fails as if the connection
// were still the old one, and the next one tries again. A search's own limit
// holds for each step of this, too. So `ld` may change in any operation: a copy
// of an object shares its connection, and only one of the two may be used. A
// host that binds through `ld` itself is not bound again.
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
  char bindDN[64] = {};        // set by a bind that succeeded; empty before
  char bindPassword[64] = {};  // set by a bind that succeeded; empty before
  struct ldap* ld = nullptr;   // the connection, null while there is none
  int cacheEnabled = 0;        // 1 when the LDAP library caches results itself

  ldapClient();

  // Opens a connection (LDAP version 3) to the host, null for "localhost"; a
  // port of 0 or less is 389. An object that is connected is unbound first.
  //
  // The host may be a name, an address, one of both with ":PORT", a URI (RFC
  // 4516: ldap://, ldaps://, ldapi://; with the extension StartTLS, as in
  // "ldap://h/????!StartTLS", encryption begins on the usual port), or a list
  // of these with blanks between: the first that takes the connection and
  // answers a search for its root entry is taken. A connection to another than
  // the first goes back to the first when that answers again; it is tried
  // every 30 seconds, before an operation. Certificates are checked as
  // ldap.conf's TLS options tell; one that does not verify is refused by
  // default.
  //
  // Returns 0, or 4 with a log line that gives errno when the connection fails
  // (ECONNREFUSED, ETIMEDOUT, EPROTO for a certificate that was refused, EMFILE
  // without a descriptor, EINVAL for what is no host, 0 for a name that does
  // not resolve), the host text has 64 bytes or more (ENAMETOOLONG) or the port
  // is more than 65535 (EINVAL); the object is then unconnected.
  int ldapClientConnect(char* host, int port);

  // Authenticates with a simple bind (RFC 4513 section 5.1) and waits for the
  // answer as long as TIMEOUT of ldap.conf says, but up to 360 seconds, and as
  // long where it is not set; both texts may be null (anonymous). They may be
  // the object's own bindDN and bindPassword.
  //
  // Returns 0 and keeps the texts in bindDN and bindPassword; a null text
  // leaves its field as it was, an empty one empties it. Returns 4 with a log
  // line on any failure, and the connection is then closed and both fields as
  // they were; a text of 64 bytes or more is refused the same way.
  int ldapClientBind(char* dn, char* password);

  // Closes the connection, if there is one.
  void ldapClientUnbind();

  // Searches below `base` (null: the LDAP library's default base) with scope
  // 0 base, 1 one level, 2 subtree, and a filter of RFC 4515. `option` sets
  // alias dereferencing: 0 never, 1 searching, 2 finding, 3 always. `attrs`
  // names the attribute types wanted and ends with null; null, like the
  // overloads without it, wants all. `timeout` bounds the wait in place of
  // TIMEOUT; an answer that comes later is kept until the connection is closed.
  //
  // An attribute with a value that holds a NUL byte, which is no text, is left
  // out of its entry.
  //
  // Returns the entries in the server's order, for the caller to release with
  // srch_free(), and *rc = 0. Otherwise null and *rc = 1 (failed, a limit of
  // the server was exceeded, nothing found, or memory is out), 2 (entries
  // could not be counted) or 4 (not connected); the connection stays. One
  // allocation for each entry and value, and one more for each end record.
  SearchReq* ldapClientSearch(char* base, int scope, int option, char* filter,
                              int* rc);
  SearchReq* ldapClientSearch(char* base, int scope, int option, char* filter,
                              struct timeval* timeout, int* rc);
  SearchReq* ldapClientSearch(char* base, int scope, int option, char* filter,
                              char** attrs, int* rc);
  SearchReq* ldapClientSearch(char* base, int scope, int option, char* filter,
                              char** attrs, struct timeval* timeout, int* rc);

  // Adds the entry `dn` with the values of the list; `op` is ignored. An
  // attribute with several values has a record for each, anywhere in the list.
  // Returns 0, or -1 with a log line. A list without values sends nothing and
  // fails. The list stays the caller's.
  int ldapClientAdd(char* dn, attrval* list);

  // Changes the entry `dn` by the list, in order and as one step: the server
  // applies all or none. Returns 0, or the LDAP result code with a log line
  // (32: no such entry; negative when the LDAP library failed, -1 when the
  // connection did, -5 when the server did not answer in time, which may have
  // made the change or make it yet). A list without values, an object without a
  // connection and memory that is out send nothing and give -1. The list stays
  // the caller's.
  int ldapClientModify(char* dn, attrval* list);

  // Deletes the entry. Returns 0, or -1 with a log line.
  int ldapClientDelete(char* dn);

  // Gives the entry `dn`, which is named by its cn, the RDN "cn=" and the
  // value of `newName`, which may be a DN, an RDN or a bare value, under the
  // same parent; the old naming value goes. The values are what dn_check()
  // takes from both names, as they stand there: special characters of the new
  // one are to be escaped (RFC 4514), and neither can hold a ','. An entry
  // whose own name has escapes cannot be renamed: the server is asked to delete
  // the value as the name spells it, and refuses.
  //
  // First cn's values are exchanged by a modify, then the RDN. Version 3
  // servers refuse the modify (codes 64 and 67), which is logged, and exchange
  // the values with the RDN. Returns 0, or -1 with a log line; when only the
  // second step fails, what the first one did stays. A value of 512 bytes or
  // more is refused before anything is sent.
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
  // "qxconfig", a key one of its attributes. A section is taken as a plain
  // name: it is escaped (RFC 4514, RFC 4515) where it enters a DN or a filter.

  // Reads a key's value. The first form asks the server for an entry that has
  // the key, the second for the section's entry.
  //
  // Returns the key's first value in the first entry found at or below the
  // section's, as a new text for the caller to release with free(), or null
  // when there is none. *rc is the code of the search: 1 when the entry is
  // missing and, because the first form asks for the key, when that is
  // missing too. Also null, and *rc = 1, when section and key have more than
  // 65 bytes together (second form: the section more than 1020) and when
  // memory is out. A key that can be no attribute's name (RFC 4512 section 2.5)
  // is not asked for (first form): a search that failed. A null is logged at
  // level 6, but not when the entry was found and lacks the key.
  char* ldapGetProfileString(char* section, char* key, int* rc);
  char* ldapGetProfileString(char* section, char* key);

  // Stores a key's value in place of all that it had, and counts the write in
  // the attribute "ConfigSerial": 0 when the entry is created or first gets
  // it, then one more each time; negative counters and texts that are no
  // number count as 0, and the largest long stays what it is. The counter is
  // that of the first entry of this cn anywhere below the LDAP library's
  // default base. The section's entry is created when it is missing. Two
  // writers of one section at once may count once. Up to three requests.
  //
  // Returns 0, or -1 with a log line: then nothing was stored, unless the
  // connection failed after the server had the request. A key of 64 bytes or
  // more, a value of 512 or more and a section of more than 1020 are refused
  // before anything is sent, and a section of 512 or more where its entry is
  // missing. Without an answer about the counter nothing is stored: it must
  // not start over.
  int ldapWriteProfileString(char* section, char* key, char* value);

  // Directory names of mail addresses. These three work on texts alone, on any
  // object and in any thread; addresses are parsed one after the other in a
  // process (RecipParse(), rfc822.h). Each gives null for a null address, for
  // one that RecipParse() refuses, for one whose domain is missing or holds a
  // character of DN syntax (one of "+,;<>#\, a blank, tab or line end), and
  // when memory is out. Nothing is logged, and the address stays as it is. Of
  // several addresses the first one's domain counts.
  //
  // The last two put the text that they are given into the DN as it stands,
  // display name and all: "cn=Joe <joe@a.b>,dc=a,dc=b". A ',' or a '+' in it
  // is then read as the end of the value, and makes the DN another entry's or
  // none at all; "joe+lists@a.b" has one. For an address from outside, write
  // its value escaped (RFC 4514 section 2.4) in front of what GetSuffix()
  // gives: that is always a well-formed DN.

  // The domain as a chain of components (RFC 2247): "joe@sub.a.b" gives
  // "dc=sub,dc=a,dc=b". No component is empty: RecipParse() refuses stray dots,
  // and those of a literal ("[a..b]") are passed over. The result, in a block
  // of 2048 bytes that is zero behind it, is the caller's to release with
  // free().
  char* GetSuffix(char* address);

  // "cn=ADDRESS,SUFFIX", for the caller to release with free(). Also null for
  // an address of more than 255 bytes.
  char* Mail2DN(char* address);

  // "mail=ADDRESS,SUFFIX", in a buffer of 2000 bytes that belongs to the
  // thread: valid until the thread's next call or its end, never released by
  // the caller. Also null, as is every later call, when the process has no
  // thread-specific key left, and for a DN that does not fit, which is never
  // cut. A result before a null stays as it was. A host that unloads the
  // library first ends the threads that have called this.
  char* CreateDNFromMail(char* address);
};

#endif  // __cplusplus

#endif  // CONFIGAPI_LDAPCLIENT_H_
