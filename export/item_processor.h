// The item processor: the ItemSink of an export. It applies the filter to
// each item the export loop reads, counts the items that pass, builds the
// writer's view of those below the limit and hands them to the writer, and
// turns the loop's messages into verbose lines.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <string_view>

#include "archive/archive_format.h"
#include "archive/item_filter.h"
#include "archive/read_state.h"
#include "export/range_set.h"
#include "export/time_text.h"

namespace qorarc {

class Writer;

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

class ItemProcessor : public ItemSink {
 public:
  // `count_all`: go on counting items past the filter's limit (up to
  // kMaxTotalCount). Both pointers must outlive the processor.
  ItemProcessor(const ItemFilter* filter, bool count_all, Writer* writer);

  // True past the limit (and the count), or once the writer has failed.
  bool Done() const override;
  void FileStarted(const std::string& path) override;
  bool Item(const ArchiveItem& item) override;
  void Corruption(const std::string& path) override;
  // Reports the file on standard error, always, and remembers the failure.
  void ReadFailed(const std::string& path, int error_number) override;

  // Items that passed the filter: written or, past the limit, only counted.
  int32_t count() const { return count_; }
  // Some file could not be opened or read.
  bool read_failed() const { return read_failed_; }

 private:
  const ItemFilter* filter_;
  bool count_all_;
  Writer* writer_;
  RangeSet ids_;
  int32_t count_ = 0;
  bool read_failed_ = false;
  // Class and type texts by type byte, looked up once at construction
  // rather than per item.
  struct RecordTexts {
    std::string_view class_name;
    std::string_view type_name;
  };
  std::array<RecordTexts, 256> record_texts_;
  DateTextCache dates_;
};

}  // namespace qorarc
