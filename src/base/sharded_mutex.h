// A reader/writer lock whose readers do not slow one another down.

#ifndef CONFIGAPI_SHARDED_MUTEX_H_
#define CONFIGAPI_SHARDED_MUTEX_H_

#include <array>
#include <atomic>
#include <cstddef>
#include <shared_mutex>

namespace configapi {

// Every reader takes one of many locks, chosen by its thread, so that two
// threads seldom write to the same cache line; a writer takes them all. That
// suits data which is read all the time and written once in a while.
class ShardedMutex {
 public:
  // Works with std::shared_lock: a thread unlocks what it has locked.
  void lock_shared() { own_shard().lock_shared(); }
  void unlock_shared() { own_shard().unlock_shared(); }

  void lock() {
    for (Shard& shard : shards_) {
      shard.mutex.lock();
    }
  }
  void unlock() {
    for (Shard& shard : shards_) {
      shard.mutex.unlock();
    }
  }

 private:
  static constexpr std::size_t kShards = 32;
  static constexpr std::size_t kCacheLine = 64;

  struct alignas(kCacheLine) Shard {
    std::shared_mutex mutex;
  };

  std::shared_mutex& own_shard() {
    // 0 until the thread comes first. Without the attribute every look costs
    // a call; libraries that a process loads late may have a few such words.
    [[gnu::tls_model("initial-exec")]] thread_local std::size_t number = 0;
    if (number == 0) {
      static std::atomic<std::size_t> threads{0};
      number = ++threads;
    }
    return shards_[number % kShards].mutex;
  }

  std::array<Shard, kShards> shards_;
};

}  // namespace configapi

#endif  // CONFIGAPI_SHARDED_MUTEX_H_
