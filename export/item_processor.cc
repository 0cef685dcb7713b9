#include "export/item_processor.h"

#include "base/messages.h"

namespace qorarc {

Verdict Judge(const ItemFilter& filter, const RangeSet& ids, int64_t timestamp, uint16_t id,
              int32_t kind) {
  if (timestamp != 0) {
    if (timestamp < filter.from_time) return Verdict::kSkip;
    if (filter.has_until() && timestamp > filter.until_time) return Verdict::kStopFile;
  }
  if (!filter.id_ranges.empty() && !ids.Contains(id)) return Verdict::kSkip;
  const bool left_out = kind == kKindData                                ? filter.no_data
                        : (kind == kKindEvent || kind == kKindEventZero) ? filter.no_events
                                                                         : filter.no_log;
  return left_out ? Verdict::kSkip : Verdict::kPass;
}

ItemProcessor::ItemProcessor(const ItemFilter* filter, bool count_all, ItemOutput* output)
    : filter_(filter), count_all_(count_all), output_(output), ids_(filter->id_ranges, kIdCount) {}

bool ItemProcessor::Done() const {
  // A failed write ends the export: nothing more can reach the output.
  if (output_->Failed()) return true;
  const int32_t limit = filter_->item_count_limit;
  if (limit < 0 || count_ < limit) return false;
  return !(count_all_ && count_ < kMaxTotalCount);
}

void ItemProcessor::FileStarted(const std::string& path) {
  if (g_verbose) output_->Report({"Exporting data from '" + path + "'."});
}

void ItemProcessor::Corruption(const std::string& path) {
  if (g_verbose) output_->Report({"Error occured while reading file '" + path + "'."});
}

void ItemProcessor::ReadFailed(const std::string& path, int error_number) {
  output_->Report({ReadFailedText(path, error_number), true});
}

void ItemProcessor::Consumed(const ReadPosition& position) {
  if (!keep_cursor_ || cursor_held_) return;
  if (consumed_.empty() || consumed_.back().file != position.file)
    consumed_.push_back(position);
  else
    consumed_.back() = position;
  // Called right after the item that reached the limit: the cursor stays
  // after its record, also while -itc goes on counting.
  const int32_t limit = filter_->item_count_limit;
  if (limit >= 0 && count_ >= limit) cursor_held_ = true;
}

std::vector<ReadPosition> ItemProcessor::consumed() const { return consumed_; }

bool ItemProcessor::Item(const ArchiveItem& item) {
  const int64_t timestamp = item.timestamp();
  const Verdict verdict =
      Judge(*filter_, ids_, timestamp, item.id, ItemKindOf(item.code(), item.count));
  if (verdict == Verdict::kStopFile) return false;
  if (verdict == Verdict::kSkip) return true;
  const int32_t limit = filter_->item_count_limit;
  const bool write = limit < 0 || count_ < limit;
  ++count_;
  if (!write) return true;
  ++written_;
  formless_.Note(item);
  if (count_unwritten_) unwritten_.Note(item);
  const RowMask* left_out = count_unwritten_samples_ ? unwritten_samples_.Note(item) : nullptr;
  output_->Write(item, left_out);
  return true;
}

}  // namespace qorarc
