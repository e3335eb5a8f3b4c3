// Critical sections in the manner of the Windows API, over one recursive POSIX
// mutex each.
//
// A record is uninitialised, ready or deleted. Enter and leave are valid while
// it is ready; a deleted record may be initialised again. Initialising and
// deleting one record are for its owner to serialise, and nobody may hold it
// when it is deleted. No call reports a failure: results of the POSIX calls
// are dropped, and errno is left alone.

#ifndef CONFIGAPI_CS_H_
#define CONFIGAPI_CS_H_

#include <configapi/export.h>
#include <pthread.h>

CONFIGAPI_BEGIN_C

typedef struct CRITICAL_SECTION {
  pthread_mutex_t mutex;
} CRITICAL_SECTION;

// Makes cs ready. The thread that holds it may enter it again, and it is free
// for others once that thread has left it as often as it entered.
CONFIGAPI_EXPORT void InitializeCriticalSection(CRITICAL_SECTION* cs);

// Blocks until the calling thread holds cs. Any thread; about one uncontended
// mutex operation.
CONFIGAPI_EXPORT void EnterCriticalSection(CRITICAL_SECTION* cs);

// Undoes one enter. A thread that does not hold cs changes nothing.
CONFIGAPI_EXPORT void LeaveCriticalSection(CRITICAL_SECTION* cs);

// Ends the use of cs and releases what the system keeps for it; the record's
// storage stays its owner's.
CONFIGAPI_EXPORT void DeleteCriticalSection(CRITICAL_SECTION* cs);

CONFIGAPI_END_C

#endif  // CONFIGAPI_CS_H_
