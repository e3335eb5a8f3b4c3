// Sends operator new through malloc, so that test::AllocFault counts and fails
// the allocations of the standard library too.

#ifndef CONFIGAPI_TESTS_COUNTED_NEW_H_
#define CONFIGAPI_TESTS_COUNTED_NEW_H_

namespace test {

// While it lives, this thread's operator new is not counted: for the fakes,
// whose own memory is not what a test is about.
class Uncounted {
 public:
  Uncounted();
  ~Uncounted();
  Uncounted(const Uncounted&) = delete;
  Uncounted& operator=(const Uncounted&) = delete;
  Uncounted(Uncounted&&) = delete;
  Uncounted& operator=(Uncounted&&) = delete;

 private:
  bool before_;
};

}  // namespace test

#endif  // CONFIGAPI_TESTS_COUNTED_NEW_H_
