// Fails allocations of the code under test. For white-box tests: the linker
// sends malloc, calloc and realloc of everything that is linked into the test
// through here, and operator new is replaced for the whole process. What the
// host's services (LogMessage, GetPrivateProfileString) allocate is not
// counted.

#ifndef CONFIGAPI_TESTS_ALLOC_FAULT_H_
#define CONFIGAPI_TESTS_ALLOC_FAULT_H_

namespace test {

enum class Failing { kOne, kAllFrom };

// While it lives, the n-th allocation of this thread (counted from 1) fails,
// and those behind it as well, if they are to; none if n is 0 and one is to.
class AllocFault {
 public:
  explicit AllocFault(int n, Failing failing = Failing::kOne);
  ~AllocFault();
  AllocFault(const AllocFault&) = delete;
  AllocFault& operator=(const AllocFault&) = delete;
  AllocFault(AllocFault&&) = delete;
  AllocFault& operator=(AllocFault&&) = delete;

  // How many there were while the last one lived. Loop n = 1, 2, ... until
  // they are less than n.
  static int count();
};

}  // namespace test

#endif  // CONFIGAPI_TESTS_ALLOC_FAULT_H_
