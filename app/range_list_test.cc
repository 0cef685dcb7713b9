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
    bool accepted;
    std::vector<std::pair<int32_t, int32_t>> ranges;  // appended, also before a refusal
  };
  const Case cases[] = {
      {"ranges and single IDs", "1..5,8,10..20", true, {{1, 5}, {8, 8}, {10, 20}}},
      {"nothing", "", true, {}}, {"a range of one ID", "3..3", true, {{3, 3}}},
      {"a trailing comma", "1,2,", true, {{1, 1}, {2, 2}}}, {"text after the digits", "5x", true, {{5, 5}}},
      {"a second '..' after the digits", "1..2..3", true, {{1, 2}}},
      {"blanks and signs before the digits", " 7.. +9", true, {{7, 9}}}, {"negative IDs", "-3..-1", true, {{-3, -1}}},
      {"repeats in the order given", "2,1..4,2", true, {{2, 2}, {1, 4}, {2, 2}}},
      {"the largest 32-bit number", "2147483647", true, {{INT_MAX, INT_MAX}}},
      {"a backward range", "5..3", false, {}}, {"an empty element", "1,,2", false, {{1, 1}}},
      {"no digits", "a", false, {}}, {"no last bound", "1..", false, {}}, {"no first bound", "..4", false, {}},
      {"a blank after the sign", "- 4", false, {}}, {"past 32 bits", "2147483648", false, {}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    std::vector<IdRange> list;
    EXPECT_EQ(ParseRanges(c.text, &list), c.accepted);
    std::vector<std::pair<int32_t, int32_t>> got;
    for (const IdRange& r : list) got.emplace_back(r.first, r.last);
    EXPECT_EQ(got, c.ranges);
  }
}

// --strict: every bound is the whole text of a number, or the list is
// refused; a count is read the same way.
TEST(ParseRangesTest, WholeNumbersOnly) {
  const std::pair<const char*, bool> cases[] = {
      {"1..5,8,10..20", true}, {"", true},      {"1,2,", true},   {"-3..+9", true},        {"119-123", false},
      {"119;400", false},      {"5x", false},   {" 7", false},    {"1..2..3", false},      {"2147483648", false}};
  for (const auto& [text, accepted] : cases) {
    std::vector<IdRange> list;
    EXPECT_EQ(ParseRanges(text, &list, true), accepted) << text;
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
