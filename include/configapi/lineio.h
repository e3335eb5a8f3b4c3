// Buffered line and character access to files, through small integer handles or
// through records that the caller keeps.
//
// A handle is the file's descriptor; a process-wide pool maps it to the file's
// record. Call InitLineIO() once before the first open and TerminateLineIO()
// once after the last close; without a pool every open of a handle fails. The
// calls on records, at the end of this header, need no pool.
//
// Reads go through 4096 bytes of read-ahead, whatever is asked for. Writes go
// straight to the descriptor, or through as many bytes of write-behind where
// the file was opened with `buffered`. A file is open for reading or for
// writing, never both; the calls of the other direction give -1.
//
// In this header a text is NUL-terminated, sizes and positions count bytes,
// and no function throws. An interrupted open or read is tried again, an
// interrupted or short write is continued; only a real failure counts as one.
// A write past the process's file-size limit, or to a pipe that nobody reads,
// is one in a host that ignores SIGXFSZ or SIGPIPE; in any other it raises the
// signal, as write(2) does. Where a text is given below, the failure is logged
// with level 1 and appName as source (host.h). When the system refused
// something, errno tells why, also after the entry was logged. Descriptors are
// opened close-on-exec, and files larger than 2 GiB open and read on 32-bit
// hosts too (there, positions past 2 GiB wrap).
//
// While [Debug] LogFileIO in qxmta.ini is TRUE (in any letter case), every
// open, create and close is logged, also with level 1. The file is asked anew
// each time.
//
// Threads: different handles at once, each handle by one thread at a time, and
// only its user closes it; the same for records. InitLineIO() and
// TerminateLineIO() run while no other thread is in any of these calls. Finding
// the record of a handle takes no lock for descriptors below 1024, and a walk
// over the pool for the others.

#ifndef CONFIGAPI_LINEIO_H_
#define CONFIGAPI_LINEIO_H_

#include <configapi/export.h>

CONFIGAPI_BEGIN_C

enum {
  LINEIO_BUFFER_SIZE = 4096,  // read-ahead and write-behind
  LINEIO_LINE_SIZE = 1024     // the most that one getline delivers
};

// An open file. The fields are for those who look inside.
typedef struct OBX_FILE {
  int fd;         // the descriptor, and so the handle; -1 when there is none
  char* name;     // copy of the path it was opened with
  char* lineBuf;  // LINEIO_LINE_SIZE + 1 bytes
  long pos;       // bytes delivered or accepted since the open or last seek
  int writeMode;  // 1 for writing, 0 for reading
  char* ioBuf;    // LINEIO_BUFFER_SIZE bytes
  char* cursor;   // next byte in ioBuf; null while no buffer is loaded
  int count;      // reading: bytes that the last read gave; writing: bytes free
  int buffered;   // 1: output waits in ioBuf
} OBX_FILE;

// Makes the pool. Returns 0, also when there is one already, or -1 when memory
// is out.
CONFIGAPI_EXPORT int InitLineIO(void);

// Closes every file that is still open, without writing output that waits, and
// releases the pool. InitLineIO() may follow.
CONFIGAPI_EXPORT void TerminateLineIO(void);

// Opens an existing file: for writing when the bit of value 2 is set in flags,
// from its first byte and keeping its length; else for reading. Any `buffered`
// but 0 means 1.
//
// Returns the handle, or -1: silently for a null or empty name, without a pool
// and when memory is out; with "CreateFile failed: NAME, error ERRNO", cut to
// 511 bytes, when the file does not open. Allocates the record and its two
// buffers, once per open file.
CONFIGAPI_EXPORT int fileopen(char* name, int flags, int buffered);

// Opens a file for writing and makes it, with permissions 0600, when it is
// missing. A longer file keeps the bytes behind what is written. flags is not
// used.
//
// Returns the handle, or -1: silently for a null or empty name, with "open
// failed", "Unable to allocate OBX_FILE object", or "Unable to insert OBX_FILE
// object to memory pool".
CONFIGAPI_EXPORT int filecreate(char* name, int flags, int buffered);

// Writes output that waits and closes the file. Returns 1, or 0 for an unknown
// handle. When that output is not written in full, "fileclose: WriteFile
// failed." is logged, errno goes to standard output in decimal on a line of
// its own, and the file is closed all the same.
CONFIGAPI_EXPORT int fileclose(int handle);

// Reads the next line: the bytes up to and with the next line feed, or 1024
// bytes, or what is left of the file, whichever is least; never none. A longer
// line comes in pieces. Bytes are delivered as they are, NUL included.
//
// Returns 1 and points *line at the bytes and a NUL behind them. They live in
// the record: use them before the next getline of this handle, do not free
// them. Returns 0 at the end of the file, and -1 for a null line, an unknown
// handle or a failed read ("ReadFile failed." for the first block, "getline:
// ReadFile failed." for a later one); *line is then untouched, and the next
// call reads again and loses nothing, not even the beginning of the line. A
// read that gives less than 4096 bytes is the file's last: from there the
// result stays 0 until setfpos() or uninch().
//
// In C++ it is also called getline: see below. A search and a copy of the
// line's bytes; allocates nothing.
CONFIGAPI_EXPORT int configapi_getline(int handle, char** line);

// Writes the bytes of a text without its NUL; nothing is added.
//
// Returns 1, or -1 for a null text, an unknown handle or a failed write. An
// unbuffered file then says nothing, a buffered one "putline: WriteFile
// failed.". Output of earlier calls goes on waiting, and of this text only
// whole blocks that were written count. Once a buffered file has written a
// block, its position becomes the descriptor's offset.
CONFIGAPI_EXPORT int putline(int handle, char* text);

// Next byte as 0 to 255; -1 at the end of the file, for an unknown handle, or
// when a read fails ("inch: ReadFile failed.").
CONFIGAPI_EXPORT int inch(int handle);

// Steps back by one byte, so that the next read delivers it again; c is not
// used. Output that waits is written first. Does nothing for an unknown
// handle, at position 0, or where the descriptor cannot move (a pipe, beyond
// the bytes read ahead).
CONFIGAPI_EXPORT void uninch(int c, int handle);

// Writes one byte. A full buffer is written when the next byte arrives.
// Returns 1, or -1 for an unknown handle or a failed write, which only a
// buffered file logs ("outch: WriteFile failed.").
CONFIGAPI_EXPORT int outch(int c, int handle);

// Moves to an offset from the start of the file; the next read comes from the
// descriptor. Output that waits is written first.
//
// Returns the new position, or -1: for an unknown handle, or with "setfpos:
// Internal file I/O error" when the output cannot be written or the descriptor
// cannot move. Nothing has moved then.
CONFIGAPI_EXPORT long setfpos(int handle, long offset);

// Position of a handle, or -1 for an unknown one.
CONFIGAPI_EXPORT long getfpos(int handle);

// The same calls on records that the caller keeps. Each does what its twin
// above does, with the same result, log entries and errno, and a null record
// where the twin has an unknown handle; only what differs is said here. The
// record comes first in all of them. It is in no pool: no handle means it, and
// TerminateLineIO() leaves it alone.

// As fileopen(), unbuffered. Returns the record, for FileClose() to release, or
// null: silently for a null or empty name, with "CreateFile failed." when the
// file does not open, with "Unable to allocate new file objcet." when memory is
// out. LogFileIO has it as "fileopen: NAME, FileHandle #FD".
CONFIGAPI_EXPORT OBX_FILE* FileOpen(char* name, int flags);

// As filecreate(), unbuffered. Returns the record, for FileClose() to release,
// or null, always silently; errno tells why.
CONFIGAPI_EXPORT OBX_FILE* FileCreate(char* name);

// As fileclose(), but nothing goes to standard output. Always returns 1; the
// record is gone. REQUIRES: file is not null.
CONFIGAPI_EXPORT int FileClose(OBX_FILE* file);

// As configapi_getline(), putline(), inch(), uninch() (c is not used), outch(),
// getfpos() and setfpos().
CONFIGAPI_EXPORT int GetLine(OBX_FILE* file, char** line);
CONFIGAPI_EXPORT int PutLine(OBX_FILE* file, char* text);
CONFIGAPI_EXPORT int InCh(OBX_FILE* file);
CONFIGAPI_EXPORT void UninCh(OBX_FILE* file, int c);
CONFIGAPI_EXPORT int OutCh(OBX_FILE* file, int c);
CONFIGAPI_EXPORT long GetFilePos(OBX_FILE* file);
CONFIGAPI_EXPORT long SetFilePos(OBX_FILE* file, long offset);

CONFIGAPI_END_C

// The library also exports configapi_getline under the name `getline`, which
// older hosts were linked with. Two things follow for a host that uses the C
// library's getline besides:
// - C cannot declare both, so this header declares the other name, and C++
//   gets an overload. A host must not declare the old name itself.
// - In one linked executable the name can mean only one of them, and with this
//   library on the link line it means ours. Such a host calls getdelim with
//   '\n', which is the same. Shared objects linked without this library keep
//   the C library's: the names carry versions.
#ifdef __cplusplus
inline int getline(int handle, char** line) {
  return configapi_getline(handle, line);
}
#endif

#endif  // CONFIGAPI_LINEIO_H_
