#include <configapi/cs.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <thread>

namespace {

static_assert(sizeof(CRITICAL_SECTION) == sizeof(pthread_mutex_t));

// Whether another thread would have to wait.
bool is_held(CRITICAL_SECTION* cs) {
  bool held = false;
  std::thread([cs, &held] {
    held = pthread_mutex_trylock(&cs->mutex) == EBUSY;
    if (!held) {
      pthread_mutex_unlock(&cs->mutex);
    }
  }).join();
  return held;
}

TEST(CriticalSection, IsFreeAfterAsManyLeavesAsEnters) {
  CRITICAL_SECTION cs;
  // A record may be used again after its deletion.
  for (int round = 0; round < 2; ++round) {
    InitializeCriticalSection(&cs);
    EXPECT_FALSE(is_held(&cs));
    EnterCriticalSection(&cs);
    EnterCriticalSection(&cs);
    LeaveCriticalSection(&cs);
    EXPECT_TRUE(is_held(&cs));
    LeaveCriticalSection(&cs);
    EXPECT_FALSE(is_held(&cs));
    DeleteCriticalSection(&cs);
  }
}

TEST(CriticalSection, OnlyTheHolderLeaves) {
#ifdef __SANITIZE_THREAD__
  GTEST_SKIP() << "the sanitizer reports what is tried here";
#endif
  CRITICAL_SECTION cs;
  InitializeCriticalSection(&cs);
  EnterCriticalSection(&cs);
  std::thread([&cs] { LeaveCriticalSection(&cs); }).join();
  EXPECT_TRUE(is_held(&cs));
  LeaveCriticalSection(&cs);
  DeleteCriticalSection(&cs);
}

TEST(CriticalSection, LetsOneThreadInAtATime) {
  CRITICAL_SECTION cs;
  InitializeCriticalSection(&cs);
  int entered = 0;
  const auto enter_often = [&] {
    for (int round = 0; round < 2000; ++round) {
      EnterCriticalSection(&cs);
      ++entered;
      LeaveCriticalSection(&cs);
    }
  };
  std::thread other(enter_often);
  enter_often();
  other.join();
  EXPECT_EQ(entered, 2 * 2000);
  DeleteCriticalSection(&cs);
}

}  // namespace
