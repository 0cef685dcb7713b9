// The item processor: the ItemSink of an export, and its LoopReporter. It
// applies the filter to each item the export loop reads, counts the items
// that pass, sends those below the limit to the item output, and turns the
// loop's messages into verbose lines. All decisions are taken here, on the reading thread.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "archive/archive_format.h"
#include "archive/item_filter.h"
#include "archive/item_sink.h"
#include "archive/loop_reporter.h"
#include "archive/read_position.h"
#include "export/formless_items.h"
#include "export/item_output.h"
#include "export/range_set.h"
#include "export/unwritten_points.h"
#include "export/unwritten_samples.h"

namespace qorarc {

// "--item-total-count" stops counting items past the limit here.
inline constexpr int32_t kMaxTotalCount = 99'999;

// Every ID an item can have: the ID set covers them all.
inline constexpr int64_t kIdCount = 65'536;

enum class Verdict {
  kPass,      // export the item
  kSkip,      // leave it out, go on reading
  kStopFile,  // leave it out and stop reading this file (past the until-time)
};

// Applies the time span (both bounds inclusive; an item without a time stamp
// is not tested), the ID ranges and the kind switches to one item. `ids` is
// the set of the filter's ID ranges (RangeSet(filter.id_ranges, kIdCount)).
Verdict Judge(const ItemFilter& filter, const RangeSet& ids, int64_t timestamp, uint16_t id,
              int32_t kind);

class ItemProcessor : public ItemSink, public LoopReporter {
 public:
  // `count_all`: go on counting items past the filter's limit (up to
  // kMaxTotalCount). Both pointers must outlive the processor.
  ItemProcessor(const ItemFilter* filter, bool count_all, ItemOutput* output);

  // ItemSink. True past the limit (and the count), or once the writer has
  // failed.
  bool Done() const override;
  bool Item(const ArchiveItem& item) override;
  void Consumed(const ReadPosition& position) override;

  // LoopReporter. The messages go through the item output, in order with
  // the items.
  void FileStarted(const std::string& path) override;
  void Corruption(const std::string& path) override;
  // Reports the file on standard error, always, and remembers the failure.
  void ReadFailed(const std::string& path, int error_number) override;

  // Keeps a cursor (--state): the position after the last record consumed
  // in each file read, held after the record of the limit's last written
  // item. A file that stops early (past the until-time, a read failure)
  // keeps the position before what was not taken, so that the next run
  // resumes there.
  void KeepCursor() { keep_cursor_ = true; }
  // Counts the values the line protocol leaves out (-lp).
  void CountUnwrittenPoints() { count_unwritten_ = true; }
  // Counts the values OpenMetrics leaves out, and tells its writer the
  // samples to skip (-om).
  void CountUnwrittenSamples() { count_unwritten_samples_ = true; }
  // The last position of each file that consumed a record, in file order.
  std::vector<ReadPosition> consumed() const;

  // Items that passed the filter: written or, past the limit, only counted.
  int32_t count() const { return count_; }
  // Items handed to the output.
  int32_t written() const { return written_; }
  // The items written that the JSON document has no form for.
  const FormlessItems& formless() const { return formless_; }
  // The values written that the line protocol has no form for.
  const UnwrittenPoints& unwritten() const { return unwritten_; }
  // The values written that OpenMetrics has no sample for.
  const UnwrittenSamples& unwritten_samples() const { return unwritten_samples_; }
  // Some file could not be opened or read (and that was shown).
  bool read_failed() const { return output_->read_failed(); }

 private:
  const ItemFilter* filter_;
  bool count_all_;
  ItemOutput* output_;
  RangeSet ids_;
  int32_t count_ = 0;
  int32_t written_ = 0;
  FormlessItems formless_;
  bool count_unwritten_ = false;
  UnwrittenPoints unwritten_;
  bool count_unwritten_samples_ = false;
  UnwrittenSamples unwritten_samples_;
  bool keep_cursor_ = false;
  bool cursor_held_ = false;  // the cursor moves no more
  std::vector<ReadPosition> consumed_;  // the last position of each file so far
};

}  // namespace qorarc
