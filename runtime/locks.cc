#include "runtime/locks.h"

#include <ctime>

#include "runtime/errors.h"

namespace qorarc {

namespace {

bool InitPriorityMutex(pthread_mutex_t* mutex, int type) {
  pthread_mutexattr_t attributes;
  if (pthread_mutexattr_init(&attributes) != 0) return false;
  bool created = pthread_mutexattr_setprotocol(&attributes, PTHREAD_PRIO_INHERIT) == 0 &&
                 pthread_mutexattr_settype(&attributes, type) == 0 &&
                 pthread_mutex_init(mutex, &attributes) == 0;
  pthread_mutexattr_destroy(&attributes);
  return created;
}

bool InitMonotonicCondition(pthread_cond_t* condition) {
  pthread_condattr_t attributes;
  if (pthread_condattr_init(&attributes) != 0) return false;
  bool created = pthread_condattr_setclock(&attributes, CLOCK_MONOTONIC) == 0 &&
                 pthread_cond_init(condition, &attributes) == 0;
  pthread_condattr_destroy(&attributes);
  return created;
}

}  // namespace

int CreateRecursiveLock(RecursiveLock* lock) {
  if (!lock->created) lock->created = InitPriorityMutex(&lock->mutex, PTHREAD_MUTEX_RECURSIVE);
  return lock->created ? kSuccess : kInitializationFailed;
}

void TakeLock(RecursiveLock* lock) {
  if (!lock->created || pthread_mutex_lock(&lock->mutex) != 0) return;
  ++lock->depth;
}

void ReleaseLock(RecursiveLock* lock) {
  if (!lock->created || lock->depth == 0) return;
  --lock->depth;
  pthread_mutex_unlock(&lock->mutex);
}

int CreateMonotonicCondition(MonotonicCondition* condition) {
  if (condition->created) return kSuccess;
  if (!InitPriorityMutex(&condition->mutex, PTHREAD_MUTEX_DEFAULT))
    return kInitializationFailed;
  if (!InitMonotonicCondition(&condition->condition)) {
    pthread_mutex_destroy(&condition->mutex);
    return kInitializationFailed;
  }
  condition->created = true;
  return kSuccess;
}

}  // namespace qorarc

