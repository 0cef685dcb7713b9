#include "app/state_lock.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstring>
#include <thread>

namespace qorarc {

StateLock::~StateLock() {
  if (fd_ >= 0) close(fd_);
}

StateLock::Result StateLock::Acquire(const std::string& state_path, int wait_seconds,
                                     std::string* err) {
  const std::string path = state_path + ".lock";
  fd_ = open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0666);
  if (fd_ < 0) {
    *err = "Failed to lock state file '" + state_path + "': " + std::strerror(errno) + ".";
    return Result::kFailed;
  }
  // The steady clock: a wall clock that jumps neither ends the wait early
  // nor stretches it.
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(wait_seconds);
  for (;;) {
    if (flock(fd_, LOCK_EX | LOCK_NB) == 0) return Result::kHeld;
    if (errno != EWOULDBLOCK && errno != EINTR) {
      *err = "Failed to lock state file '" + state_path + "': " + std::strerror(errno) + ".";
      return Result::kFailed;
    }
    if (std::chrono::steady_clock::now() >= deadline) return Result::kBusy;
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
  }
}

}  // namespace qorarc
