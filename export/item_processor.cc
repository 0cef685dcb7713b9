#include "export/item_processor.h"

#include "core/messages.h"
#include "export/export_item.h"
#include "export/record_texts.h"
#include "export/writer.h"

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

ItemProcessor::ItemProcessor(const ItemFilter* filter, bool count_all, Writer* writer)
    : filter_(filter),
      count_all_(count_all),
      writer_(writer),
      ids_(filter->id_ranges, kIdCount) {
  for (size_t type = 0; type < record_texts_.size(); ++type) {
    record_texts_[type] = {ClassText(static_cast<int>(type & 0x1F)),
                           TypeText(static_cast<uint8_t>(type))};
  }
}

bool ItemProcessor::Done() const {
  // A failed write ends the export: nothing more can reach the output.
  if (writer_->failed()) return true;
  const int32_t limit = filter_->item_count_limit;
  if (limit < 0 || count_ < limit) return false;
  return !(count_all_ && count_ < kMaxTotalCount);
}

void ItemProcessor::FileStarted(const std::string& path) {
  VerboseLine("Exporting data from '" + path + "'.");
}

void ItemProcessor::Corruption(const std::string& path) {
  VerboseLine("Error occured while reading file '" + path + "'.");
}

void ItemProcessor::ReadFailed(const std::string& path, int error_number) {
  ReadFailedLine(path, error_number);
  read_failed_ = true;
}

bool ItemProcessor::Item(const ArchiveItem& item) {
  const int64_t timestamp = item.timestamp();
  const int code = item.code();
  const Verdict verdict = Judge(*filter_, ids_, timestamp, item.id, ItemKindOf(code, item.count));
  if (verdict == Verdict::kStopFile) return false;
  if (verdict == Verdict::kSkip) return true;
  const int32_t limit = filter_->item_count_limit;
  const bool write = limit < 0 || count_ < limit;
  ++count_;
  if (!write) return true;

  // The time of day may run past midnight into later days.
  const int64_t day = item.time_of_day() < kNanosPerDay ? item.day : DayOf(timestamp);
  char time_text[kTimeTextSize];
  const RecordTexts& texts = record_texts_[item.type];
  // Every field set at once: a default-built item would first be cleared.
  const ExportItem view{
      .date = dates_.For(timestamp, day),
      .time = std::string_view(time_text, FormatTime(timestamp, time_text)),
      .class_name = texts.class_name,
      .type_name = texts.type_name,
      .level = code == kStringCode ? LevelText(item.count) : std::string_view(),
      .id = code == kSystemCode ? -1 : item.id,
      .value_count = ValueCount(code, item.count),
      .value = {.code = static_cast<uint8_t>(code), .payload = item.value, .text = item.text},
  };
  writer_->writeItem(view);
  return true;
}

}  // namespace qorarc
