// The kinds of lock the runtime core creates: POSIX mutexes with priority
// inheritance, so that a real-time thread waiting for a lock lends its
// priority to the holder, and a condition variable timed on the monotonic
// clock, which wall-clock changes cannot disturb.
#pragma once

#include <pthread.h>

#include <cstdint>

namespace qorarc {

// A recursive priority-inheritance mutex and the depth to which it is taken.
// Creating it again once created does nothing.
struct RecursiveLock {
  pthread_mutex_t mutex;
  bool created = false;
  uint16_t depth = 0;
};

// Returns 0 or -115 (Initialization failed).
int CreateRecursiveLock(RecursiveLock* lock);
// Take and release count the depth; both do nothing on a lock that was
// never created, so shutdown works after a failed start.
void TakeLock(RecursiveLock* lock);
void ReleaseLock(RecursiveLock* lock);

// A priority-inheritance mutex of the default type with a condition
// variable whose timed waits run on the monotonic clock.
struct MonotonicCondition {
  pthread_mutex_t mutex;
  pthread_cond_t condition;
  bool created = false;
};

// Returns 0 or -115 (Initialization failed).
int CreateMonotonicCondition(MonotonicCondition* condition);

}  // namespace qorarc
