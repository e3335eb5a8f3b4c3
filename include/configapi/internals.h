// What the library exports besides its interface: the steps that its modules
// are made of. Hosts do not call these; tests and tools that look inside do.
// No other public header includes this one, because the names are short and
// stand at global scope.

#ifndef CONFIGAPI_INTERNALS_H_
#define CONFIGAPI_INTERNALS_H_

#include <configapi/config.h>
#include <configapi/cs.h>
#include <configapi/export.h>
#include <configapi/ldapclient.h>
#include <configapi/lineio.h>
#include <configapi/rfc822.h>
#include <pthread.h>

CONFIGAPI_BEGIN_C

// Start-up (src/config/startup.cc). The loader runs both, once per process:
// they create and delete the locks of the header and recipient parsers.
CONFIGAPI_EXPORT void configapi_init(void);
CONFIGAPI_EXPORT void configapi_fini(void);

// Directory client (src/ldap).
struct berval;
struct ldap;
struct ldapmod;

// Waits up to `seconds` for the answer to the request msgid: 0 success, -1 the
// connection failed, -2 no answer in time (the request is then abandoned), -3
// the server refused. REQUIRES: seconds >= 0; ld is connected.
CONFIGAPI_EXPORT int wait4result(struct ldap* ld, int seconds, int msgid);

// Turns a list into the LDAP library's modification array, for each record one
// modification that holds copies, with the operation op (0 add, 1 delete, 2
// replace), or with the record's own when op is -1. Null for a list without
// values and when memory is out. Released with free_modlist(); both release
// functions stop at the first null slot, and null does nothing.
CONFIGAPI_EXPORT struct ldapmod** get_modlist(attrval* list, int op);
CONFIGAPI_EXPORT void free_modlist(struct ldapmod** mods);
CONFIGAPI_EXPORT void free_berval(struct berval** values);

// Where CreateDNFromMail() keeps each thread's buffer. InitDN() makes the key
// once per process, by InitDN2(), and returns 0 or an error number of POSIX
// threads; nothing deletes it. InitDN2() called on its own makes another key
// in place of it. free_key() releases a buffer at its thread's end.
CONFIGAPI_EXPORT extern pthread_key_t key;
CONFIGAPI_EXPORT int InitDN(void);
CONFIGAPI_EXPORT int InitDN2(void);
CONFIGAPI_EXPORT void free_key(void* buffer);

// Header parser (src/rfc822).

// Makes and deletes the two locks below; start-up calls them.
CONFIGAPI_EXPORT void Init822Parser(void);
CONFIGAPI_EXPORT void Terminate822Parser(void);

// Held for one address list, and for one header. A thread that takes both
// takes csParseHdr first.
CONFIGAPI_EXPORT extern CRITICAL_SECTION csRecipParse;
CONFIGAPI_EXPORT extern CRITICAL_SECTION csParseHdr;

// ParseHdr() under its lock, and without.
CONFIGAPI_EXPORT int OBX_ParseHdr(int handle, Header822* hdr,
                                  unsigned int* lines,
                                  unsigned int* statusLine);
CONFIGAPI_EXPORT int ST_ParseHdr(int handle, Header822* hdr,
                                 unsigned int* lines, unsigned int* statusLine);

// Files one header, its continuation lines joined by "\r\n\t". Returns the
// code of the row of _htbl that it fell under, also when the record keeps an
// earlier header of that kind; -1 when the line is no header, or when memory
// is out: the header is then not filed, and "malloc failed." is logged.
CONFIGAPI_EXPORT int ParseLine(const char* line, Header822* hdr);

// Appends the recipients of an address list to *slot, making the table when
// that is null, and returns their number. The value is changed as
// RecipParse() changes it. Without memory for the table the result is 0 and
// *slot stays null.
CONFIGAPI_EXPORT unsigned int AddParse(char* value, RecipTable** slot);

// Kept for hosts that were linked with them; nothing reads or writes them.
CONFIGAPI_EXPORT extern int R_to;
CONFIGAPI_EXPORT extern int R_cc;
CONFIGAPI_EXPORT extern int R_bcc;
CONFIGAPI_EXPORT extern int R_resent_to;
CONFIGAPI_EXPORT extern int R_resent_cc;
CONFIGAPI_EXPORT extern int R_resent_bcc;
CONFIGAPI_EXPORT extern int R_reply_to;
CONFIGAPI_EXPORT extern int R_sender;
CONFIGAPI_EXPORT extern int R_ret_receipt;

// Line I/O (src/lineio): the pool behind the handles. The list grows to the
// largest number of files that were open at once; nodes stay linked until the
// pool goes.
typedef struct FilePoolNode {
  OBX_FILE* object;  // null after its release
  int inUse;         // 1 while the node holds an open file, else 0
  struct FilePoolNode* next;
} FilePoolNode;

typedef struct FilePool {
  FilePoolNode* first;
  int count;  // nodes, used or free
} FilePool;

// The pool of the handle-based calls; null before InitLineIO() and after
// TerminateLineIO().
CONFIGAPI_EXPORT extern FilePool* thread_file_pool;

// Held for an insertion, and for the test and release of one node. Never both
// by one thread.
CONFIGAPI_EXPORT extern CRITICAL_SECTION filecs;
CONFIGAPI_EXPORT extern CRITICAL_SECTION filecs2;

// A record with its buffers, all zero but for fd -1; null when memory is out.
CONFIGAPI_EXPORT OBX_FILE* NewOBX_FILE(void);

// Releases *slot with its buffers, sets it to null and closes its descriptor.
// Output that waits is lost. A null *slot is left alone.
CONFIGAPI_EXPORT void DelOBX_FILE(OBX_FILE** slot);

// Puts a record into the first free node, or into a new one at the end.
// Returns 0, or -1 for a null pool or when memory is out; the pool is then as
// it was.
CONFIGAPI_EXPORT int AddToFilePool(FilePool* pool, OBX_FILE* object);

// Releases the record of a handle with DelOBX_FILE(). Returns 0, whether or
// not there was one, or -1 for a null pool.
CONFIGAPI_EXPORT int DelFromFilePool(FilePool* pool, int handle);

// The record of a handle, or null.
CONFIGAPI_EXPORT OBX_FILE* GetFromFilePool(FilePool* pool, int handle);

// Whether a node holds a handle: 1 or 0. With a release other than 0 its
// record is released and the node becomes free.
CONFIGAPI_EXPORT int f(FilePoolNode* node, int handle, int release);

// Address lists (src/rfc822). RecipParse() under its lock, and without.
CONFIGAPI_EXPORT unsigned int OBX_RecipParse(char* text, RecipTable* table,
                                             int reset);
CONFIGAPI_EXPORT unsigned int ST_RecipParse(char* text, RecipTable* table,
                                            int reset);

// All below share the one state of the recipient parser: whoever uses them
// holds csRecipParse, or is the only thread that parses addresses.

// Parses the address that begins at `text` into a recipient, and returns where
// the next one begins.
//
// All backslashes with a double quote, to the end of the text, become blanks.
// A recipient whose `canon` is null afterwards has no address: the text breaks
// the grammar (adrparse() fails), or the lexer does, or memory is out. After
// an address adrLine is at the next one; after one that breaks the grammar it
// is just behind the token that was in the way. The result is then the next
// comma; if that token is a comma and not the first, it is this comma.
CONFIGAPI_EXPORT char* ParseAddr(char* text, Recipient* rec);

// Replaces a recipient's text, which is released, by a copy of src, or by null
// when src is null. Returns 1; 0, with the field null, when memory is out.
CONFIGAPI_EXPORT int AssignRp(const char* src, char** field);

// The address lexer. Cuts the text at adrLine into tokens: 0 the end, 257 ":",
// 258 ",", 259 ";", 260 "<", 261 ">", 262 "@", 263 ".", 264 a word, 265 a
// quoted string, 266 a domain literal, -1 a domain literal or comment that
// nothing closes (adrLine is then just behind its "[" or "(").
CONFIGAPI_EXPORT int adrlex(void);

CONFIGAPI_EXPORT extern char* adrLine;  // the text that has not been read
CONFIGAPI_EXPORT extern char* adrlval;  // the last of the next two to be set
CONFIGAPI_EXPORT extern char LexToken[512];  // the last word
CONFIGAPI_EXPORT extern char ColToken[512];  // the last quoted string or
                                             // literal with its delimiters
// Not 0: dots belong to words. "@", "," and ">" set it to 0.
CONFIGAPI_EXPORT extern int LexDotSkip;

// Reads the quoted string (close is '"') or domain literal (']') that begins
// at adrLine. Returns ColToken; null, adrLine unmoved, when a literal stays
// open. A quoted string that does so ends with the text.
// NOLINTNEXTLINE(bugprone-reserved-identifier,cert-dcl37-c): interface name
CONFIGAPI_EXPORT char* _CollectStr(char close);

// Skips the comment whose parenthesis stands right before adrLine and copies
// its inside, cut to 255 bytes, to commentPart, which is returned; null,
// adrLine unmoved, when it stays open.
// NOLINTNEXTLINE(bugprone-reserved-identifier,cert-dcl37-c): interface name
CONFIGAPI_EXPORT char* _SkipComment(void);

// Terminates a token of n characters, without its last one when that is a
// blank.
// NOLINTNEXTLINE(bugprone-reserved-identifier,cert-dcl37-c): interface name
CONFIGAPI_EXPORT void _clean_str(char* buf, unsigned int n);

// The address grammar. Reads one address at adrLine: a word, a mailbox or a
// group. LexDotSkip is to be 1 and the parts below empty.
//
// Returns 0 when there is one, adrLine behind it: behind the ">" of a mailbox
// or the ";" of a group, else behind the token that follows it. Returns 1 after
// calling adrerror() when the text breaks the grammar or the address has a
// part of more than 255 bytes; adrLine is then just behind the token at which
// that was found. Where the lexer gives -1 the result is 0 at once; the address
// is then complete only if there is a canonical form.
CONFIGAPI_EXPORT int adrparse(void);
CONFIGAPI_EXPORT void adrerror(const char* message);  // does nothing

// The parts of the last address: at most 255 bytes and a NUL, at the pointer
// that stands behind the buffer that ParseAddr() lets it point to. Those that
// the address lacks are empty. After a failure they hold what was read by then.
CONFIGAPI_EXPORT extern char localBuf[256];
CONFIGAPI_EXPORT extern char* localPart;
CONFIGAPI_EXPORT extern char domainBuf[256];
CONFIGAPI_EXPORT extern char* domainPart;
CONFIGAPI_EXPORT extern char phraseBuf[256];
CONFIGAPI_EXPORT extern char* phrasePart;
CONFIGAPI_EXPORT extern char specBuf[256];  // local@domain
CONFIGAPI_EXPORT extern char* specPart;
CONFIGAPI_EXPORT extern char routeBuf[256];  // "@a,@b" of <@a,@b:local@domain>
CONFIGAPI_EXPORT extern char* routePart;
CONFIGAPI_EXPORT extern char routeaBuf[256];  // the whole of it
CONFIGAPI_EXPORT extern char* routeaPart;
CONFIGAPI_EXPORT extern char commentBuf[256];  // inside of the last comment
CONFIGAPI_EXPORT extern char* commentPart;
CONFIGAPI_EXPORT extern char wordBuf[256];  // the last word of the address
CONFIGAPI_EXPORT extern char* wordPart;
// The canonical form: local@domain, the route address, a lone word, or the
// group. A group keeps the mailboxes that fit.
CONFIGAPI_EXPORT extern char canonbuf[256];
CONFIGAPI_EXPORT extern char* adrCanon;

CONFIGAPI_END_C

#endif  // CONFIGAPI_INTERNALS_H_
