#include <configapi/cs.h>

extern "C" void InitializeCriticalSection(CRITICAL_SECTION* cs) {
  pthread_mutexattr_t attributes;
  pthread_mutexattr_init(&attributes);
  pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_RECURSIVE);
  pthread_mutex_init(&cs->mutex, &attributes);
  pthread_mutexattr_destroy(&attributes);
}

extern "C" void EnterCriticalSection(CRITICAL_SECTION* cs) {
  pthread_mutex_lock(&cs->mutex);
}

extern "C" void LeaveCriticalSection(CRITICAL_SECTION* cs) {
  pthread_mutex_unlock(&cs->mutex);
}

extern "C" void DeleteCriticalSection(CRITICAL_SECTION* cs) {
  pthread_mutex_destroy(&cs->mutex);
}
