// Holds back the signals that end a run (SIGINT, SIGTERM, SIGHUP, SIGQUIT,
// SIGXFSZ) while a step that must not be cut in two runs: the save of a
// state file, the commit of an output and its cursor. A signal that comes
// meanwhile waits; when the guard ends it is delivered as usual, unless
// TakeCommitted() swallowed it because the step completed.
#pragma once

#include <signal.h>

#include <string>

namespace qorarc {

class DeferredSignals {
 public:
  DeferredSignals();
  ~DeferredSignals();
  DeferredSignals(const DeferredSignals&) = delete;
  DeferredSignals& operator=(const DeferredSignals&) = delete;

  // Takes the signals that came while held; returns the name of the first
  // ("SIGTERM"), empty when none came. They no longer end the run: what
  // they interrupted is done.
  std::string TakeCommitted();

 private:
  sigset_t held_;
  sigset_t previous_;
};

}  // namespace qorarc
