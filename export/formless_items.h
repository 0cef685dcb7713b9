// Items whose values the JSON document has no form for: time and error
// arrays (value codes 25 and 27). The document writes null for each of
// their elements, so that nothing else is lost, and the run ends with one
// warning about them and exit status 2. They are counted as they are
// written, in the reading order, so the warning is the same for any number
// of threads.
#pragma once

#include <cstdint>
#include <string>

#include "archive/archive_format.h"

namespace qorarc {

class FormlessItems {
 public:
  // Counts `item`, about to be written, when it is such an item.
  void Note(const ArchiveItem& item) {
    const int code = item.code();
    if (IsTextWithoutForm(code) && ValueCount(code, item.count) > 0) Count(item);
  }

  int64_t count() const { return count_; }
  // The warning line, without its line feed; for a count above zero.
  std::string WarningLine() const;

 private:
  void Count(const ArchiveItem& item);

  int64_t count_ = 0;
  std::string first_;  // the first item's ID and time stamp
};

}  // namespace qorarc
