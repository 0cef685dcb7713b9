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

// --strict: every bound is a whole number, or the list is refused.
TEST(ParseRangesTest, WholeNumbersOnly) {
  struct Case {
    const char* what;
    const char* text;
    int result;
  };
  const Case cases[] = {
      {"ranges and single IDs", "1..5,8,10..20", 0}, {"nothing", "", 0},
      {"a trailing comma", "1,2,", 0},               {"signs", "-3..+9", 0},
      {"a dash range", "119-123", -1},               {"a semicolon list", "119;400", -1},
      {"text after the digits", "5x", -1},           {"a second '..'", "1..2..3", -1},
      {"a blank before the digits", " 7", -1},       {"a blank after them", "7 ", -1},
      {"a sign alone", "-", -1},                     {"past 32 bits", "2147483648", -1},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    std::vector<IdRange> list;
    EXPECT_EQ(ParseRanges(c.text, &list, true), c.result);
  }
}

TEST(ParseWholeIntTest, TheWholeTextOrNothing) {
  struct Case {
    const char* text;
    bool parsed;
    int32_t value;
  };
  const Case cases[] = {{"12", true, 12},      {"-1", true, -1},     {"+0", true, 0},
                        {"2147483647", true, INT_MAX}, {"1e3", false, 7},  {"12 ", false, 7},
                        {"", false, 7},        {"+", false, 7},      {"-2147483649", false, 7}};
  for (const Case& c : cases) {
    int32_t value = 7;
    EXPECT_EQ(ParseWholeInt(c.text, &value), c.parsed) << c.text;
    EXPECT_EQ(value, c.value) << c.text;
  }
}

}  // namespace
}  // namespace qorarc
