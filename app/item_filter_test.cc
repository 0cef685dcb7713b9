#include "app/item_filter.h"

#include <gtest/gtest.h>

namespace qorarc {
namespace {

struct RangeCase {
  const char* text;
  int result;
  std::vector<std::pair<int32_t, int32_t>> ranges;
};

class ParseRangesTest : public ::testing::TestWithParam<RangeCase> {};

TEST_P(ParseRangesTest, ParsesOrRefuses) {
  const RangeCase& c = GetParam();
  std::vector<IdRange> list;
  EXPECT_EQ(ParseRanges(c.text, list), c.result) << c.text;
  std::vector<std::pair<int32_t, int32_t>> got;
  for (const IdRange& r : list) got.emplace_back(r.first, r.last);
  EXPECT_EQ(got, c.ranges) << c.text;
}

INSTANTIATE_TEST_SUITE_P(
    Table, ParseRangesTest,
    ::testing::Values(RangeCase{"1..5,8,10..20", 0, {{1, 5}, {8, 8}, {10, 20}}},
                      RangeCase{"", 0, {}}, RangeCase{"5", 0, {{5, 5}}},
                      RangeCase{"3..3", 0, {{3, 3}}}, RangeCase{"1,2,", 0, {{1, 1}, {2, 2}}},
                      RangeCase{"5x", 0, {{5, 5}}}, RangeCase{"1..2..3", 0, {{1, 2}}},
                      RangeCase{" 7.. +9", 0, {{7, 9}}}, RangeCase{"-3..-1", 0, {{-3, -1}}},
                      RangeCase{"2,1..4,2", 0, {{2, 2}, {1, 4}, {2, 2}}}, RangeCase{"5..3", -1, {}},
                      RangeCase{"1,,2", -1, {{1, 1}}}, RangeCase{",1", -1, {}},
                      RangeCase{",", -1, {}}, RangeCase{"a", -1, {}}, RangeCase{"1..", -1, {}},
                      RangeCase{"..4", -1, {}}, RangeCase{"1,4..x", -1, {{1, 1}}},
                      RangeCase{"99999999999", -1, {}}));

TEST(ParseRangesTest, AppendsToExistingRanges) {
  std::vector<IdRange> list{{1, 2}};
  ASSERT_EQ(ParseRanges("7", list), 0);
  ASSERT_EQ(list.size(), 2u);
  EXPECT_EQ(list[1].first, 7);
}

TEST(ParseLeadingIntTest, ReadsLeadingDigits) {
  int32_t value = 0;
  EXPECT_TRUE(ParseLeadingInt("12abc", &value));
  EXPECT_EQ(value, 12);
  EXPECT_TRUE(ParseLeadingInt("  -4", &value));
  EXPECT_EQ(value, -4);
  EXPECT_FALSE(ParseLeadingInt("abc", &value));
  EXPECT_FALSE(ParseLeadingInt("", &value));
  EXPECT_FALSE(ParseLeadingInt("- 4", &value));
  EXPECT_FALSE(ParseLeadingInt("2147483648", &value));
}

TEST(ItemKindTest, FollowsTheValueTypeCode) {
  struct Row {
    int code;
    uint8_t count;
    int32_t kind;
  } rows[] = {{0, 4, 1},  {0, 0, 2},  {1, 0, 2},  {8, 3, 1},  {11, 0, 2}, {31, 1, 1},
              {12, 25, 0}, {12, 0, 0}, {17, 8, 4}, {24, 2, 4}, {25, 2, 0}, {27, 1, 0}};
  for (const Row& row : rows) EXPECT_EQ(ItemKind(row.code, row.count), row.kind) << row.code;
}

constexpr int64_t kT = 1'000'000;

TEST(JudgeTest, TimeBoundsAreInclusive) {
  ItemFilter filter;
  filter.from_time = 10 * kT;
  filter.until_time = 20 * kT;
  EXPECT_EQ(Judge(filter, 10 * kT - 1, 1, kKindData), Verdict::kSkip);
  EXPECT_EQ(Judge(filter, 10 * kT, 1, kKindData), Verdict::kPass);
  EXPECT_EQ(Judge(filter, 20 * kT, 1, kKindData), Verdict::kPass);
  EXPECT_EQ(Judge(filter, 20 * kT + 1, 1, kKindData), Verdict::kStopFile);
  // An item without a time stamp is not tested against the span.
  EXPECT_EQ(Judge(filter, 0, 1, kKindData), Verdict::kPass);
}

TEST(JudgeTest, OnlyFromTimeNeverStopsAFile) {
  ItemFilter filter;
  filter.from_time = 10 * kT;
  EXPECT_EQ(Judge(filter, 1'000'000 * kT, 1, kKindData), Verdict::kPass);
  EXPECT_EQ(Judge(filter, kT, 1, kKindData), Verdict::kSkip);
}

TEST(JudgeTest, IdRanges) {
  ItemFilter filter;
  filter.id_ranges = {{3, 5}, {9, 9}};
  EXPECT_EQ(Judge(filter, kT, 2, kKindData), Verdict::kSkip);
  EXPECT_EQ(Judge(filter, kT, 3, kKindData), Verdict::kPass);
  EXPECT_EQ(Judge(filter, kT, 5, kKindData), Verdict::kPass);
  EXPECT_EQ(Judge(filter, kT, 9, kKindData), Verdict::kPass);
  EXPECT_EQ(Judge(filter, kT, 65535, kKindData), Verdict::kSkip);
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
    EXPECT_EQ(Judge(filter, kT, 1, row.kind), row.verdict) << row.kind;
  }
}

}  // namespace
}  // namespace qorarc
