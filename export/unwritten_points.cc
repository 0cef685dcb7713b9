#include "export/unwritten_points.h"

#include <cmath>

#include "archive/value_elements.h"
#include "export/long_rows.h"
#include "export/view_builder.h"

namespace qorarc {
namespace {

// Counts the elements that are NaN or infinite.
struct NonFinite {
  int64_t count = 0;
  void Flag(int, bool) {}
  void Integer(int, int64_t) {}
  void Real(int, double v) { count += std::isfinite(v) ? 0 : 1; }
  void Text(std::string_view) {}
  void Formless(int32_t) {}
};

}  // namespace

void UnwrittenPoints::Note(const ArchiveItem& item) {
  const int code = item.code();
  int64_t rows = 0;
  if (item.timestamp() == 0) {
    rows = LongRowCount(code, item.count);
  } else {
    if (TraitsOf(code).category != ValueCategory::kReal) return;
    NonFinite visitor;
    const ItemValue value{.code = static_cast<uint8_t>(code), .payload = item.value, .text = {}};
    VisitValue(value, ValueCount(code, item.count), ValueReading::kExact, visitor);
    rows = visitor.count;
  }
  if (rows == 0) return;
  if (count_ == 0) {
    // The item as the other formats show it: its ID and its time stamp.
    ViewBuilder builder;
    const ExportItem view = builder.Build(item);
    first_ = "ID " + std::to_string(view.id) +
             (view.timestamp == 0 ? std::string(" without a time stamp")
                                  : " at " + std::string(view.date) + "T" +
                                        std::string(view.time) + "Z");
  }
  count_ += rows;
}

std::string UnwrittenPoints::WarningLine() const {
  const bool one = count_ == 1;
  return "Warning: " + std::to_string(count_) + (one ? " value" : " values") +
         " (NaN, infinite or without a time stamp) " + (one ? "has" : "have") +
         " no line protocol form and " + (one ? "was" : "were") + " left out (first: " +
         first_ + ").";
}

}  // namespace qorarc
