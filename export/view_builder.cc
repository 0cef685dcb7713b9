#include "export/view_builder.h"

#include "export/record_texts.h"

namespace qorarc {

ViewBuilder::ViewBuilder(bool date_time) : date_time_(date_time) {
  for (size_t type = 0; type < record_texts_.size(); ++type) {
    record_texts_[type] = {ClassText(static_cast<int>(type & 0x1F)),
                           TypeText(static_cast<uint8_t>(type))};
  }
}

ExportItem ViewBuilder::Build(const ArchiveItem& item) {
  const int64_t timestamp = item.timestamp();
  const int code = item.code();
  std::string_view date;
  std::string_view time;
  if (date_time_) {
    // The time of day may run past midnight into later days.
    const int64_t day = item.time_of_day() < kNanosPerDay ? item.day : DayOf(timestamp);
    date = dates_.For(timestamp, day);
    time = std::string_view(time_text_, FormatTime(timestamp, time_text_));
  }
  const RecordTexts& texts = record_texts_[item.type];
  // Every field set at once: a default-built item would first be cleared.
  return ExportItem{
      .date = date,
      .time = time,
      .timestamp = timestamp,
      .class_name = texts.class_name,
      .type_name = texts.type_name,
      .level = code == kStringCode ? LevelText(item.count) : std::string_view(),
      .id = code == kSystemCode ? -1 : item.id,
      .value_count = ValueCount(code, item.count),
      .value = {.code = static_cast<uint8_t>(code), .payload = item.value, .text = item.text},
  };
}

}  // namespace qorarc
