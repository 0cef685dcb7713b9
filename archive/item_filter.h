// The user's selection of items: archive name, time span, ID ranges, item
// kinds and how many to write. Discovery reads the name and the span; the
// item processor (export/item_processor.h) applies the rest to each item.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace qorarc {

// An inclusive pair of numbers, first <= last: item IDs, or CSV columns.
struct IdRange {
  int32_t first = 0;
  int32_t last = 0;
};

struct ItemFilter {
  std::string archive_name;       // empty: any archive
  int32_t item_count_limit = -1;  // negative: no limit
  int64_t from_time = -1;         // 0 or less: not set
  int64_t until_time = -1;        // 0 or less: not set
  bool no_data = false;
  bool no_events = false;
  bool no_log = false;
  std::vector<IdRange> id_ranges;  // empty: all IDs

  bool has_from() const { return from_time > 0; }
  bool has_until() const { return until_time > 0; }
  bool has_timespan() const { return has_from() || has_until(); }
};

}  // namespace qorarc
