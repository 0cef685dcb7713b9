#include "runtime/locks.h"

#include <gtest/gtest.h>

#include <future>

namespace qorarc {
namespace {

// Whether another thread could take the mutex right now.
bool FreeForOtherThreads(pthread_mutex_t* mutex) {
  return std::async(std::launch::async, [mutex] {
           return pthread_mutex_trylock(mutex) == 0 && pthread_mutex_unlock(mutex) == 0;
         }).get();
}

TEST(RecursiveLock, NestsAndCountsDepth) {
  RecursiveLock lock;
  // Never created: taking and releasing do nothing.
  TakeLock(&lock);
  ReleaseLock(&lock);
  EXPECT_EQ(lock.depth, 0);
  ASSERT_EQ(CreateRecursiveLock(&lock), 0);
  TakeLock(&lock);
  TakeLock(&lock);
  // Creating it again keeps it held.
  EXPECT_EQ(CreateRecursiveLock(&lock), 0);
  ReleaseLock(&lock);
  EXPECT_EQ(lock.depth, 1);
  EXPECT_FALSE(FreeForOtherThreads(&lock.mutex));
  ReleaseLock(&lock);
  EXPECT_EQ(lock.depth, 0);
  EXPECT_TRUE(FreeForOtherThreads(&lock.mutex));
  pthread_mutex_destroy(&lock.mutex);
}

}  // namespace
}  // namespace qorarc
