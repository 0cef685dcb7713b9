// The item as the writers see it: its texts and a view of its stored value.
#pragma once

#include <cstdint>
#include <string_view>

#include "archive/value_elements.h"
#include "export/row_mask.h"

namespace qorarc {

// Texts are views of static tables or of buffers owned by whoever builds the
// item; they stay valid for the writeItem call only.
struct ExportItem {
  std::string_view date;        // "2021-03-04", or "---" without a time stamp
  std::string_view time;        // "05:06:07.123456", or "---"
  int64_t timestamp = 0;        // nanoseconds since the time base; 0: none
  std::string_view class_name;  // "GrDouble"; may be empty
  std::string_view type_name;   // "HiHi", "Lo  "; may be empty
  std::string_view level;       // "Core Warning"; may be empty
  int32_t id = -1;              // negative: the item has no ID
  int32_t value_count = 0;      // 0 or less: no values
  ItemValue value;
  // The rows the writer leaves out, by element index; null: none. Only the
  // OpenMetrics writer reads it.
  const RowMask* left_out = nullptr;
};

}  // namespace qorarc
