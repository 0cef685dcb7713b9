#include "app/range_list.h"

#include <gtest/gtest.h>

#include <cctype>
#include <ostream>
#include <string>
#include <string_view>

namespace qorarc {
namespace {

struct RangeCase {
  const char* text;
  int result;
  std::vector<std::pair<int32_t, int32_t>> ranges;
};

void PrintTo(const RangeCase& c, std::ostream* os) { *os << '"' << c.text << '"'; }

// "Accepts_1To5And8", "Refuses_Minus3": the case's text in words.
std::string CaseName(const ::testing::TestParamInfo<RangeCase>& info) {
  std::string name = info.param.result == 0 ? "Accepts_" : "Refuses_";
  const std::string_view text = info.param.text;
  if (text.empty()) name += "Empty";
  for (size_t i = 0; i < text.size(); ++i) {
    if (text.substr(i, 2) == "..") {
      name += "To";
      ++i;
    } else if (std::isalnum(static_cast<unsigned char>(text[i]))) {
      name += text[i];
    } else {
      name += text[i] == ',' ? "And" : text[i] == ' ' ? "Blank" : text[i] == '-' ? "Minus" : "Plus";
    }
  }
  return name;
}

class ParseRangesTest : public ::testing::TestWithParam<RangeCase> {};

TEST_P(ParseRangesTest, ParsesOrRefuses) {
  const RangeCase& c = GetParam();
  std::vector<IdRange> list;
  EXPECT_EQ(ParseRanges(c.text, &list), c.result) << c.text;
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
                      RangeCase{"99999999999", -1, {}}),
    CaseName);

TEST(ParseRangesTest, AppendsToExistingRanges) {
  std::vector<IdRange> list{{1, 2}};
  ASSERT_EQ(ParseRanges("7", &list), 0);
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

}  // namespace
}  // namespace qorarc
