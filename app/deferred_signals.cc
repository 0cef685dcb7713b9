#include "app/deferred_signals.h"

#include <cstring>

namespace qorarc {
namespace {

constexpr int kEndingSignals[] = {SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGXFSZ};

}  // namespace

DeferredSignals::DeferredSignals() {
  sigemptyset(&held_);
  for (int signal_number : kEndingSignals) sigaddset(&held_, signal_number);
  pthread_sigmask(SIG_BLOCK, &held_, &previous_);
}

DeferredSignals::~DeferredSignals() { pthread_sigmask(SIG_SETMASK, &previous_, nullptr); }

std::string DeferredSignals::TakeCommitted() {
  std::string first;
  sigset_t pending;
  if (sigpending(&pending) != 0) return first;
  for (int signal_number : kEndingSignals) {
    if (!sigismember(&pending, signal_number) || sigismember(&previous_, signal_number)) continue;
    sigset_t one;
    sigemptyset(&one);
    sigaddset(&one, signal_number);
    const timespec now = {0, 0};
    if (sigtimedwait(&one, nullptr, &now) == signal_number && first.empty())
      first = std::string("SIG") + sigabbrev_np(signal_number);
  }
  return first;
}

}  // namespace qorarc
