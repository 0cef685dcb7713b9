#include "export/item_processor.h"

#include <gtest/gtest.h>

namespace qorarc {
namespace {

constexpr int64_t kT = 1'000'000;

Verdict JudgeWithSet(const ItemFilter& filter, int64_t timestamp, uint16_t id, int32_t kind) {
  return Judge(filter, RangeSet(filter.id_ranges, kIdCount), timestamp, id, kind);
}

TEST(JudgeTest, TimeBoundsAreInclusive) {
  ItemFilter filter;
  filter.from_time = 10 * kT;
  filter.until_time = 20 * kT;
  EXPECT_EQ(JudgeWithSet(filter, 10 * kT - 1, 1, kKindData), Verdict::kSkip);
  EXPECT_EQ(JudgeWithSet(filter, 10 * kT, 1, kKindData), Verdict::kPass);
  EXPECT_EQ(JudgeWithSet(filter, 20 * kT, 1, kKindData), Verdict::kPass);
  EXPECT_EQ(JudgeWithSet(filter, 20 * kT + 1, 1, kKindData), Verdict::kStopFile);
  // An item without a time stamp is not tested against the span.
  EXPECT_EQ(JudgeWithSet(filter, 0, 1, kKindData), Verdict::kPass);
}

TEST(JudgeTest, OnlyFromTimeNeverStopsAFile) {
  ItemFilter filter;
  filter.from_time = 10 * kT;
  EXPECT_EQ(JudgeWithSet(filter, 1'000'000 * kT, 1, kKindData), Verdict::kPass);
  EXPECT_EQ(JudgeWithSet(filter, kT, 1, kKindData), Verdict::kSkip);
}

TEST(JudgeTest, IdRanges) {
  ItemFilter filter;
  filter.id_ranges = {{3, 5}, {9, 9}};
  EXPECT_EQ(JudgeWithSet(filter, kT, 2, kKindData), Verdict::kSkip);
  EXPECT_EQ(JudgeWithSet(filter, kT, 3, kKindData), Verdict::kPass);
  EXPECT_EQ(JudgeWithSet(filter, kT, 5, kKindData), Verdict::kPass);
  EXPECT_EQ(JudgeWithSet(filter, kT, 9, kKindData), Verdict::kPass);
  EXPECT_EQ(JudgeWithSet(filter, kT, 65535, kKindData), Verdict::kSkip);
}

TEST(JudgeTest, KindSwitches) {
  struct Row {
    bool no_data, no_events, no_log;
    int32_t kind;
    Verdict verdict;
  } rows[] = {
      {true, false, false, kKindData, Verdict::kSkip},
      {true, false, false, kKindEvent, Verdict::kPass},
      {false, true, false, kKindEvent, Verdict::kSkip},
      {false, true, false, kKindEventZero, Verdict::kSkip},
      {false, true, false, kKindOther, Verdict::kPass},
      {false, false, true, kKindOther, Verdict::kSkip},
      {false, false, true, kKindData, Verdict::kPass},
  };
  for (const Row& row : rows) {
    ItemFilter filter;
    filter.no_data = row.no_data;
    filter.no_events = row.no_events;
    filter.no_log = row.no_log;
    EXPECT_EQ(JudgeWithSet(filter, kT, 1, row.kind), row.verdict) << row.kind;
  }
}

}  // namespace
}  // namespace qorarc
