#include "app/range_list.h"

#include <gtest/gtest.h>

#include <climits>
#include <utility>
#include <vector>

namespace qorarc {
namespace {

// The ranges of a list, and the leading integers of its bounds, which a
// count value shares (app/options_test.cc).
TEST(ParseRangesTest, ParsesOrRefuses) {
  struct Case {
    const char* what;
    const char* text;
    int result;
    std::vector<std::pair<int32_t, int32_t>> ranges;  // appended, also before a refusal
  };
  const Case cases[] = {
      {"ranges and single IDs", "1..5,8,10..20", 0, {{1, 5}, {8, 8}, {10, 20}}},
      {"nothing", "", 0, {}}, {"a range of one ID", "3..3", 0, {{3, 3}}},
      {"a trailing comma", "1,2,", 0, {{1, 1}, {2, 2}}}, {"text after the digits", "5x", 0, {{5, 5}}},
      {"a second '..' after the digits", "1..2..3", 0, {{1, 2}}},
      {"blanks and signs before the digits", " 7.. +9", 0, {{7, 9}}}, {"negative IDs", "-3..-1", 0, {{-3, -1}}},
      {"repeats in the order given", "2,1..4,2", 0, {{2, 2}, {1, 4}, {2, 2}}},
      {"the largest 32-bit number", "2147483647", 0, {{INT_MAX, INT_MAX}}},
      {"a backward range", "5..3", -1, {}}, {"an empty element", "1,,2", -1, {{1, 1}}},
      {"no digits", "a", -1, {}}, {"no last bound", "1..", -1, {}}, {"no first bound", "..4", -1, {}},
      {"a blank after the sign", "- 4", -1, {}}, {"past 32 bits", "2147483648", -1, {}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    std::vector<IdRange> list;
    EXPECT_EQ(ParseRanges(c.text, &list), c.result);
    std::vector<std::pair<int32_t, int32_t>> got;
    for (const IdRange& r : list) got.emplace_back(r.first, r.last);
    EXPECT_EQ(got, c.ranges);
  }
}

// --strict: every bound is the whole text of a number, or the list is
// refused; a count is read the same way.
TEST(ParseRangesTest, WholeNumbersOnly) {
  const std::pair<const char*, int> cases[] = {
      {"1..5,8,10..20", 0}, {"", 0},      {"1,2,", 0},   {"-3..+9", 0},        {"119-123", -1},
      {"119;400", -1},      {"5x", -1},   {" 7", -1},    {"1..2..3", -1},      {"2147483648", -1}};
  for (const auto& [text, result] : cases) {
    std::vector<IdRange> list;
    EXPECT_EQ(ParseRanges(text, &list, true), result) << text;
  }
  int32_t value = 7;
  EXPECT_FALSE(ParseWholeInt("1e3", &value) || ParseWholeInt("+", &value) ||
               ParseWholeInt("", &value));
  EXPECT_EQ(value, 7);
  EXPECT_TRUE(ParseWholeInt("-12", &value));
  EXPECT_EQ(value, -12);
}

}  // namespace
}  // namespace qorarc
