// Holds a critical section for a scope.

#ifndef CONFIGAPI_CRITICAL_SECTION_LOCK_H_
#define CONFIGAPI_CRITICAL_SECTION_LOCK_H_

#include <configapi/cs.h>

namespace configapi {

class CriticalSectionLock {
 public:
  explicit CriticalSectionLock(CRITICAL_SECTION* cs) : cs_(cs) {
    EnterCriticalSection(cs_);
  }
  ~CriticalSectionLock() { LeaveCriticalSection(cs_); }

  CriticalSectionLock(const CriticalSectionLock&) = delete;
  CriticalSectionLock& operator=(const CriticalSectionLock&) = delete;
  CriticalSectionLock(CriticalSectionLock&&) = delete;
  CriticalSectionLock& operator=(CriticalSectionLock&&) = delete;

 private:
  CRITICAL_SECTION* cs_;
};

}  // namespace configapi

#endif  // CONFIGAPI_CRITICAL_SECTION_LOCK_H_
