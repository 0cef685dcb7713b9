#include "core/locks.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <ctime>
#include <thread>

namespace qorarc {
namespace {

// Whether another thread could take the mutex right now.
bool FreeForOtherThreads(pthread_mutex_t* mutex) {
  bool free = false;
  std::thread other([&] {
    free = pthread_mutex_trylock(mutex) == 0;
    if (free) pthread_mutex_unlock(mutex);
  });
  other.join();
  return free;
}

TEST(RecursiveLock, NestsAndCountsDepth) {
  RecursiveLock lock;
  ASSERT_EQ(CreateRecursiveLock(&lock), 0);
  EXPECT_TRUE(lock.created);
  TakeLock(&lock);
  TakeLock(&lock);
  EXPECT_EQ(lock.depth, 2);
  EXPECT_FALSE(FreeForOtherThreads(&lock.mutex));
  ReleaseLock(&lock);
  EXPECT_EQ(lock.depth, 1);
  EXPECT_FALSE(FreeForOtherThreads(&lock.mutex));
  ReleaseLock(&lock);
  EXPECT_EQ(lock.depth, 0);
  EXPECT_TRUE(FreeForOtherThreads(&lock.mutex));
  pthread_mutex_destroy(&lock.mutex);
}

TEST(RecursiveLock, CreatingAgainKeepsTheHeldLock) {
  RecursiveLock lock;
  ASSERT_EQ(CreateRecursiveLock(&lock), 0);
  TakeLock(&lock);
  EXPECT_EQ(CreateRecursiveLock(&lock), 0);
  EXPECT_FALSE(FreeForOtherThreads(&lock.mutex));
  ReleaseLock(&lock);
  pthread_mutex_destroy(&lock.mutex);
}

TEST(RecursiveLock, UncreatedLockIsNeverTaken) {
  RecursiveLock lock;
  TakeLock(&lock);
  EXPECT_EQ(lock.depth, 0);
  ReleaseLock(&lock);
  EXPECT_EQ(lock.depth, 0);
}

TEST(MonotonicCondition, TimedWaitUsesTheMonotonicClock) {
  MonotonicCondition condition;
  ASSERT_EQ(CreateMonotonicCondition(&condition), 0);
  EXPECT_TRUE(condition.created);
  // A minute ahead on the monotonic clock is decades ago on the realtime
  // clock: a condition on the wrong clock would time out at once instead of
  // waiting for the signal.
  timespec deadline{};
  clock_gettime(CLOCK_MONOTONIC, &deadline);
  deadline.tv_sec += 60;
  pthread_mutex_lock(&condition.mutex);
  std::thread signaller([&] {
    // Taken only once the waiter has released it inside the wait.
    pthread_mutex_lock(&condition.mutex);
    pthread_cond_signal(&condition.condition);
    pthread_mutex_unlock(&condition.mutex);
  });
  EXPECT_EQ(pthread_cond_timedwait(&condition.condition, &condition.mutex, &deadline), 0);
  pthread_mutex_unlock(&condition.mutex);
  signaller.join();
  pthread_cond_destroy(&condition.condition);
  pthread_mutex_destroy(&condition.mutex);
}

}  // namespace
}  // namespace qorarc
