#include "export/unwritten_samples.h"

#include <array>

#include "archive/value_elements.h"
#include "base/time_base.h"
#include "export/record_texts.h"
#include "export/view_builder.h"

namespace qorarc {
namespace {

// The time base, 2000-01-01, in milliseconds since 1970-01-01.
constexpr int64_t kUnixOffsetMillis =
    (kTimeBase - std::chrono::sys_days{}).count() * kNanosPerDay / 1'000'000;

// Sorts the rows of a value as ExpandRows makes them: the numeric ones by
// index, the others counted.
struct RowSorter {
  std::array<bool, RowMask::kSize> numeric = {};
  int32_t numeric_count = 0;
  int64_t others = 0;
  void Number(int i) {
    if (i >= 0 && i < RowMask::kSize) numeric[static_cast<size_t>(i)] = true;
    ++numeric_count;
  }
  void Flag(int i, bool) { Number(i); }
  void Integer(int i, int64_t) { Number(i); }
  void Real(int i, double) { Number(i); }
  void Text(std::string_view) { ++others; }
  void Formless(int32_t count) { others += count; }
};

// Per type byte, the first type byte with the same class and type texts:
// the same labels make the same series. Made once: the table takes
// milliseconds, and a dataset run makes an export per archive and day.
const std::array<uint8_t, 256>& SameLabels() {
  static const std::array<uint8_t, 256> table = [] {
    std::array<uint8_t, 256> same_labels;
    for (int type = 0; type < 256; ++type) {
      const auto code = type & 0x1F;
      int same = type;
      for (int other = 0; other < type; ++other) {
        if (ClassText(other & 0x1F) == ClassText(code) &&
            TypeText(static_cast<uint8_t>(other)) == TypeText(static_cast<uint8_t>(type))) {
          same = other;
          break;
        }
      }
      same_labels[static_cast<size_t>(type)] = static_cast<uint8_t>(same);
    }
    return same_labels;
  }();
  return table;
}

}  // namespace

const RowMask* UnwrittenSamples::Note(const ArchiveItem& item) {
  const int code = item.code();
  RowSorter rows;
  const ItemValue value{.code = static_cast<uint8_t>(code), .payload = item.value,
                        .text = item.text};
  VisitValue(value, ValueCount(code, item.count), ValueReading::kExact, rows);
  if (rows.numeric_count == 0 && rows.others == 0) rows.others = 1;  // the empty row
  const int64_t before = count();
  if (item.timestamp() == 0) {
    no_time_ += rows.numeric_count + rows.others;
    if (before == 0) NoteFirst(item);
    return nullptr;
  }
  no_number_ += rows.others;
  bool any = false;
  if (rows.numeric_count > 0) {
    // Time stamps are positive: the division rounds down.
    const int64_t millis = item.timestamp() / 1'000'000 + kUnixOffsetMillis;
    const uint32_t series = uint32_t{item.id} << 16 | uint32_t{SameLabels()[item.type]} << 8;
    for (int32_t i = 0; i < RowMask::kSize; ++i) {
      if (!rows.numeric[static_cast<size_t>(i)]) continue;
      auto [last, added] = last_.try_emplace(series | static_cast<uint32_t>(i), millis);
      if (added || millis > last->second) {
        last->second = millis;
        continue;
      }
      if (!any) mask_.Clear();
      any = true;
      mask_.Set(i);
      ++not_later_;
    }
  }
  if (before == 0 && count() > 0) NoteFirst(item);
  return any ? &mask_ : nullptr;
}

void UnwrittenSamples::NoteFirst(const ArchiveItem& item) {
  // The item as the other formats show it: its ID and its time stamp.
  ViewBuilder builder;
  const ExportItem view = builder.Build(item);
  first_ = (view.id >= 0 ? "ID " + std::to_string(view.id) : std::string("an item without an ID")) +
           (view.timestamp == 0 ? std::string(" without a time stamp")
                                : " at " + std::string(view.date) + "T" +
                                      std::string(view.time) + "Z");
}

std::string UnwrittenSamples::WarningLine() const {
  const bool one = count() == 1;
  return "Warning: " + std::to_string(count()) + (one ? " value has" : " values have") +
         " no OpenMetrics sample and " + (one ? "was" : "were") + " left out (" +
         std::to_string(no_number_) + " without a number, " + std::to_string(no_time_) +
         " without a time stamp, " + std::to_string(not_later_) +
         " not after the last millisecond of their series; first: " + first_ + ").";
}

}  // namespace qorarc
