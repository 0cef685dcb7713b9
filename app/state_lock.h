// One run at a time per state file: an exclusive flock() on "FILE.lock"
// beside it, held until the run ends. The lock file is never removed, so
// that two runs can never lock two different files of the same name; a
// process that dies, however it dies, releases its lock.
#pragma once

#include <string>

namespace qorarc {

class StateLock {
 public:
  enum class Result { kHeld, kBusy, kFailed };

  StateLock() = default;
  ~StateLock();
  StateLock(const StateLock&) = delete;
  StateLock& operator=(const StateLock&) = delete;

  // Takes the lock of `state_path`, waiting up to `wait_seconds` while
  // another run holds it. kFailed sets `*err`: the lock file cannot be made
  // or locked (a read-only or missing directory), where no state could be
  // saved either.
  Result Acquire(const std::string& state_path, int wait_seconds, std::string* err);

 private:
  int fd_ = -1;
};

}  // namespace qorarc
