// Files through calls with the names and argument lists of the Windows
// interface, over the handles of lineio.h and their descriptors.
//
// A handle is the number that fileopen() gives, in a word as wide as a pointer;
// -1 is the invalid one, and so is every value that no int holds. What
// CreateFile() returns can be handed to getline() and its like, and any
// descriptor of the process to the calls below but CloseHandle(). They go
// straight to the descriptor: what getline() has read ahead or putline() keeps
// waiting, and the position of getfpos(), they neither use nor change. Mix the
// two families on one handle only around setfpos().
//
// Sizes and offsets are 32-bit values, alike on 32-bit and 64-bit hosts, up to
// 0xFFFFFFFE; a file may be larger, and is read and written to its end all the
// same.
//
// Results of type int are 1 for success and 0 for failure. GetLastError() tells
// the cause, EBADF for the invalid handle; after a success it means nothing.
// A call that a signal interrupts before anything has moved goes on; what the
// system refused is not logged, but for CreateFile(). SIGXFSZ and SIGPIPE are
// the host's, as lineio.h says. No function throws.
//
// Threads: different handles at once, each handle by one thread at a time. The
// names are common ones, so no other public header includes this one.

#ifndef CONFIGAPI_WINFILE_H_
#define CONFIGAPI_WINFILE_H_

#include <configapi/export.h>
#include <stdint.h>

CONFIGAPI_BEGIN_C

// Opens a file, unbuffered. With bit 0 (value 1) set in access, an existing one
// for reading, as fileopen() does; else one for writing, as filecreate() does:
// made with permissions 0600 when it is missing, its bytes kept. Other bits and
// further arguments are ignored; mind that GENERIC_READ of the Windows headers
// has not bit 0.
//
// Returns the handle, or -1 with the log entries of fileopen() and
// filecreate(). InitLineIO() comes first.
CONFIGAPI_EXPORT intptr_t CreateFile(char* name, unsigned long access, ...);

// Reads up to `length` bytes with one read of the system, which delivers at
// most 2 GiB - 4 kB, and from pipes and terminals what is there.
//
// Returns 1 and sets *done to their number, 0 at the end of the file; or 0,
// with *done 0, or untouched for the invalid handle. The whole of *done is
// written; done may be null. overlapped is ignored.
CONFIGAPI_EXPORT int ReadFile(intptr_t handle, void* buffer,
                              unsigned long length, unsigned long* done,
                              void* overlapped);

// Writes `length` bytes with one write of the system.
//
// Returns 1 and sets *done to the number of bytes written, which is less than
// `length` when the disk, a file-size limit or a pipe had no room for more, or
// at 2 GiB - 4 kB; or 0, with *done 0, also for the invalid handle. done may be
// null. overlapped is ignored.
CONFIGAPI_EXPORT int WriteFile(intptr_t handle, void* buffer,
                               unsigned long length, unsigned long* done,
                               void* overlapped);

// fileclose(): writes output of putline() that waits and closes the file.
// Returns 1, or 0 for a handle that is not of the line I/O or already closed.
CONFIGAPI_EXPORT int CloseHandle(intptr_t handle);

// The size of a file in bytes. `high` is neither read nor written.
//
// Returns 0xFFFFFFFF when it is not to be had (GetLastError() tells why) and
// for 4 GiB - 1 and more (EOVERFLOW).
CONFIGAPI_EXPORT unsigned long GetFileSize(intptr_t handle, void* high);

// Moves the descriptor by distance bytes from the start of the file (method 0),
// from where it is (1) or from the end (2). `high` is ignored.
//
// Returns the new offset; on 32-bit hosts one of 2 GiB or more is negative, and
// is the offset when it is taken as unsigned. Returns -1 when the descriptor
// cannot move, for an offset below 0 or another method (EINVAL), and for one of
// 4 GiB - 1 or more (EOVERFLOW): nothing has moved then. Returns 0 for the
// invalid handle.
CONFIGAPI_EXPORT long SetFilePointer(intptr_t handle, long distance, void* high,
                                     int method);

// Sets the length of a file that is open for writing to what it is; the offset
// of the descriptor plays no part. Bytes that another writer appends at that
// very moment may be lost.
//
// Returns 1, or 0 when the system refuses, as it does for a file that is open
// for reading and for what is no file (EINVAL).
CONFIGAPI_EXPORT int SetEndOfFile(intptr_t handle);

// errno of the calling thread.
CONFIGAPI_EXPORT unsigned long GetLastError(void);

CONFIGAPI_END_C

#endif  // CONFIGAPI_WINFILE_H_
