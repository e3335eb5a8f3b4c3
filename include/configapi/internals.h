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

CONFIGAPI_BEGIN_C

// Start-up (src/config/startup.cc). The loader runs both, once per process:
// they create and delete the locks of the header and recipient parsers.
CONFIGAPI_EXPORT void configapi_init(void);
CONFIGAPI_EXPORT void configapi_fini(void);

// Directory client (src/ldap).
struct berval;
struct ldap;
struct ldapmod;

// Waits for the answer to a request: 0 success, -1 the connection failed, -2
// no answer in time (the request is then abandoned), -3 the server refused.
CONFIGAPI_EXPORT int wait4result(struct ldap* ld, int seconds, int msgid);

// Turns a list into the LDAP library's modification array, every record with
// the operation op (0 add, 1 delete, 2 replace), or with its own when op is
// -1. Null for a list without values and when memory is out. Released with
// free_modlist().
CONFIGAPI_EXPORT struct ldapmod** get_modlist(attrval* list, int op);
CONFIGAPI_EXPORT void free_modlist(struct ldapmod** mods);
CONFIGAPI_EXPORT void free_berval(struct berval** values);

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

CONFIGAPI_END_C

#endif  // CONFIGAPI_INTERNALS_H_
