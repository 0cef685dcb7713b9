// The user's selection of items: archive name, time span, ID ranges, item
// kinds and how many to write; and the per-item decision made with it.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "export/export_item.h"

namespace qorarc {

// An inclusive pair of numbers, first <= last.
struct IdRange {
  int32_t first = 0;
  int32_t last = 0;
};

struct ItemFilter {
  std::string archive_name;    // empty: any archive
  int32_t item_count_limit = -1;  // negative: no limit
  int64_t from_time = -1;      // 0 or less: not set
  int64_t until_time = -1;     // 0 or less: not set
  bool no_data = false;
  bool no_events = false;
  bool no_log = false;
  std::vector<IdRange> csv_column_ranges;
  std::vector<IdRange> id_ranges;  // empty: all IDs

  bool has_from() const { return from_time > 0; }
  bool has_until() const { return until_time > 0; }
  bool has_timespan() const { return has_from() || has_until(); }
};

// Parses a range list such as "1..5,8,10..20" and appends its ranges to
// `list` in the order given. Returns 0 when the whole text is valid, -1
// otherwise (the ranges before the bad element stay appended). An empty text
// is valid and adds nothing; a trailing "," adds nothing.
int ParseRanges(std::string_view text, std::vector<IdRange>& list);

// Reads a decimal integer from the leading characters of text as strtol does
// (leading white space and one sign allowed, trailing text ignored). Returns
// false when there is no leading number or it does not fit 32 bits.
bool ParseLeadingInt(std::string_view text, int32_t* value);

// The kind of an item, from its value type code and count byte:
//   - code 12 (strings) are log messages: kind 0, left out by "--no-log";
//   - codes 0 to 11 and 31 (system and alarm records) are events: kind 1 when
//     the count byte is non-zero, else 2, left out by "--no-events";
//   - codes 17 to 24 are data arrays: kind 4, left out by "--no-data";
//   - codes 25 to 27 keep kind 0 and are left out by "--no-log".
inline int32_t ItemKind(int code, uint8_t count) {
  if (code >= 17 && code <= 24) return kKindData;
  if (code <= 11 || code == 31) return count != 0 ? kKindEvent : kKindEventZero;
  return kKindOther;
}

enum class Verdict {
  kPass,      // export the item
  kSkip,      // leave it out, go on reading
  kStopFile,  // leave it out and stop reading this file (past the until-time)
};

inline bool InRanges(const std::vector<IdRange>& ranges, int64_t n) {
  for (const IdRange& range : ranges)
    if (range.first <= n && n <= range.last) return true;
  return false;
}

// Applies the time span (both bounds inclusive; an item without a time stamp
// is not tested), the ID ranges and the kind switches to one item.
inline Verdict Judge(const ItemFilter& filter, int64_t timestamp, uint16_t id, int32_t kind) {
  if (timestamp != 0) {
    if (timestamp < filter.from_time) return Verdict::kSkip;
    if (filter.has_until() && timestamp > filter.until_time) return Verdict::kStopFile;
  }
  if (!filter.id_ranges.empty() && !InRanges(filter.id_ranges, id)) return Verdict::kSkip;
  bool left_out = kind == kKindData                                  ? filter.no_data
                  : (kind == kKindEvent || kind == kKindEventZero)   ? filter.no_events
                                                                     : filter.no_log;
  return left_out ? Verdict::kSkip : Verdict::kPass;
}

}  // namespace qorarc
