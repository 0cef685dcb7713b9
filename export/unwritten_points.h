// The rows of long CSV that the line protocol leaves out: each real element
// that is NaN or infinite, and every row of an item without a time stamp.
// The run ends with one warning about them and exit status 2. They are
// counted as the items are written, in the reading order, so the warning is
// the same for any number of threads.
#pragma once

#include <cstdint>
#include <string>

#include "archive/archive_format.h"

namespace qorarc {

class UnwrittenPoints {
 public:
  // Counts the rows of `item`, about to be written, that have no line.
  void Note(const ArchiveItem& item);

  int64_t count() const { return count_; }
  // The warning line, without its line feed; for a count above zero.
  std::string WarningLine() const;

 private:
  int64_t count_ = 0;
  std::string first_;  // the first such item's ID and time stamp
};

}  // namespace qorarc
