// The item processor: the ItemSink of an export. It applies the filter to
// each item the export loop reads, counts the items that pass, sends those
// below the limit to the item output, and turns the loop's messages into
// verbose lines. All decisions are taken here, on the reading thread.
#pragma once

#include <cstdint>
#include <string>

#include "archive/archive_format.h"
#include "archive/item_filter.h"
#include "archive/read_state.h"
#include "export/item_output.h"

namespace qorarc {

// "--item-total-count" stops counting items past the limit here.
inline constexpr int32_t kMaxTotalCount = 99'999;

enum class Verdict {
  kPass,      // export the item
  kSkip,      // leave it out, go on reading
  kStopFile,  // leave it out and stop reading this file (past the until-time)
};

// Applies the time span (both bounds inclusive; an item without a time stamp
// is not tested), the ID ranges and the kind switches to one item.
Verdict Judge(const ItemFilter& filter, int64_t timestamp, uint16_t id, int32_t kind);

class ItemProcessor : public ItemSink {
 public:
  // `count_all`: go on counting items past the filter's limit (up to
  // kMaxTotalCount). Both pointers must outlive the processor.
  ItemProcessor(const ItemFilter* filter, bool count_all, ItemOutput* output);

  bool Done() const override;
  void FileStarted(const std::string& path) override;
  bool Item(const ArchiveItem& item) override;
  void Corruption(const std::string& path) override;

  // Items that passed the filter: written or, past the limit, only counted.
  int32_t count() const { return count_; }

 private:
  const ItemFilter* filter_;
  bool count_all_;
  ItemOutput* output_;
  int32_t count_ = 0;
};

}  // namespace qorarc
