// The exit statuses of an export beside 0 (success), 1 (parameters refused)
// and -1 (255: the export failed), and the lines of the archive walk: what
// the plain run and the dataset run share.
#pragma once

#include <string>

#include "archive/discovery.h"
#include "base/messages.h"

namespace qorarc {

// The exit status of a run that completed its document although some
// archive data could not be read, or could not be shown as it is.
inline constexpr int kUnreadableStatus = 2;
// With --strict, the exit status of a run that found no archive file: no
// file of the archive, none in the time span, none at all for --scan.
inline constexpr int kNothingFoundStatus = 3;
// With --state or --dataset, the exit status of a run that found a state
// file held by another run for longer than --state-wait.
inline constexpr int kBusyStatus = 4;

// Shows the walk's findings as it makes them; a directory that cannot be
// listed makes the export's status 2.
class WalkLines : public DiscoveryReporter {
 public:
  explicit WalkLines(bool* unreadable) : unreadable_(unreadable) {}
  void Unlistable(const std::string& path, int error_number) override {
    *unreadable_ = true;
    ReadFailedLine(path, error_number);
  }
  void Unexpected(const std::string& path) override {
    VerboseLine("Unexpected path '" + path + "' ignored");
  }

 private:
  bool* unreadable_;
};

}  // namespace qorarc
