// The rows of long CSV that OpenMetrics leaves out, decided on the reading
// thread in reading order, so that the output and the warning are the same
// for any number of threads:
// - rows without a number: texts, items without a value, elements without
//   a form;
// - every row of an item without a time stamp (a sample needs one);
// - a sample at or before the last millisecond written in its series:
//   Prometheus holds milliseconds, and drops, without a word, a second
//   sample of a series in one millisecond and a sample older than the one
//   before it.
// A series is what the labels name: ID, class and type texts, element
// index. The last millisecond of each is kept: one entry per series of the
// export, at most one per ID, record type and element index.
// The run ends with one warning about them and exit status 2.
#pragma once

#include <cstdint>
#include <string>
#include <unordered_map>

#include "archive/archive_format.h"
#include "export/row_mask.h"

namespace qorarc {

class UnwrittenSamples {
 public:
  // Counts the rows of `item`, about to be written, that get no sample.
  // Returns the numeric rows the writer must leave out, or null for none;
  // the mask stays valid until the next call.
  const RowMask* Note(const ArchiveItem& item);

  // All rows left out.
  int64_t count() const { return no_number_ + no_time_ + not_later_; }
  // The warning line, without its line feed; for a count above zero.
  std::string WarningLine() const;

 private:
  void NoteFirst(const ArchiveItem& item);

  // The last millisecond since 1970 written, by series (ID << 16 | type
  // byte << 8 | element index).
  std::unordered_map<uint32_t, int64_t> last_;
  RowMask mask_;
  int64_t no_number_ = 0;
  int64_t no_time_ = 0;
  int64_t not_later_ = 0;
  std::string first_;  // the first such item's ID and time stamp
};

}  // namespace qorarc
