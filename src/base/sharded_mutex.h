// A reader/writer lock whose readers do not slow one another down.

#ifndef CONFIGAPI_SHARDED_MUTEX_H_
#define CONFIGAPI_SHARDED_MUTEX_H_

#include <pthread.h>

#include <array>
#include <atomic>
#include <cstddef>

namespace configapi {

// Every reader takes one of many locks, chosen by its thread, so that two
// threads seldom write to the same cache line; a writer takes them all. That
// suits data which is read all the time and written once in a while.
class ShardedMutex {
 public:
  // Works with std::shared_lock: a thread unlocks what it has locked.
  void lock_shared() { pthread_rwlock_rdlock(&own_shard()); }
  void unlock_shared() { pthread_rwlock_unlock(&own_shard()); }

  void lock() {
    for (Shard& shard : shards_) {
      pthread_rwlock_wrlock(&shard.mutex);
    }
  }
  void unlock() {
    for (Shard& shard : shards_) {
      pthread_rwlock_unlock(&shard.mutex);
    }
  }

 private:
  static constexpr std::size_t kShards = 16;
  static constexpr std::size_t kCacheLines = 128;  // processors fetch pairs

  // Not std::shared_mutex, in which readers that come one after the other keep
  // a writer out for ever. No thread may lock for reading twice.
  struct alignas(kCacheLines) Shard {
    pthread_rwlock_t mutex = PTHREAD_RWLOCK_WRITER_NONRECURSIVE_INITIALIZER_NP;
  };

  pthread_rwlock_t& own_shard() {
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
