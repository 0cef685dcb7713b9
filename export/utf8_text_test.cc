#include "export/utf8_text.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>

namespace qorarc {
namespace {

using namespace std::string_view_literals;

std::string Repaired(std::string_view s) {
  std::string out(kMaxRepairGrowth * s.size(), '\0');
  out.resize(static_cast<size_t>(CopyValidUtf8(out.data(), s) - out.data()));
  return out;
}

struct Utf8Case {
  const char* name;
  std::string_view input;
  std::string_view expected;
};

void PrintTo(const Utf8Case& c, std::ostream* os) { *os << c.name; }

class Utf8TextTest : public testing::TestWithParam<Utf8Case> {};

TEST_P(Utf8TextTest, ReplacesEachBadByte) {
  EXPECT_EQ(Repaired(GetParam().input), GetParam().expected);
}

// The rows take the edges of the lines of the table of well-formed
// sequences, and the bytes just outside them.
INSTANTIATE_TEST_SUITE_P(
    Sequences, Utf8TextTest,
    testing::Values(
        Utf8Case{"Empty", "", ""},
        Utf8Case{"AsciiAndControls", "a\x01\x7F\0b"sv, "a\x01\x7F\0b"sv},
        Utf8Case{"TwoByteEdges", "\xC2\x80\xDF\xBF", "\xC2\x80\xDF\xBF"},
        Utf8Case{"OverlongC0C1", "\xC0\x80\xC1\xBF", "\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD"},
        Utf8Case{"E0Edges", "\xE0\xA0\x80\xE0\xBF\xBF", "\xE0\xA0\x80\xE0\xBF\xBF"},
        Utf8Case{"E0Overlong", "\xE0\x9F\xBF", "\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD"},
        Utf8Case{"E1ToECAndEEToEF", "\xE1\x80\x80\xEC\xBF\xBF\xEE\x80\x80\xEF\xBF\xBF",
                 "\xE1\x80\x80\xEC\xBF\xBF\xEE\x80\x80\xEF\xBF\xBF"},
        Utf8Case{"EDEdge", "\xED\x9F\xBF", "\xED\x9F\xBF"},
        Utf8Case{"EDSurrogate", "\xED\xA0\x80", "\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD"},
        Utf8Case{"F0Edges", "\xF0\x90\x80\x80\xF0\xBF\xBF\xBF", "\xF0\x90\x80\x80\xF0\xBF\xBF\xBF"},
        Utf8Case{"F0Overlong", "\xF0\x8F\xBF\xBF",
                 "\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD"},
        Utf8Case{"F1ToF3", "\xF1\x80\x80\x80\xF3\xBF\xBF\xBF", "\xF1\x80\x80\x80\xF3\xBF\xBF\xBF"},
        Utf8Case{"F4Edge", "\xF4\x8F\xBF\xBF", "\xF4\x8F\xBF\xBF"},
        Utf8Case{"F4AboveUnicode", "\xF4\x90\x80\x80",
                 "\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD"},
        Utf8Case{"F5AndFF", "\xF5\xFF", "\xEF\xBF\xBD\xEF\xBF\xBD"},
        Utf8Case{"LoneContinuation", "a\x80z", "a\xEF\xBF\xBDz"},
        // A sequence cut short: each of its bytes, and the next byte starts anew.
        Utf8Case{"CutByAscii", "\xE2\x82z", "\xEF\xBF\xBD\xEF\xBF\xBDz"},
        Utf8Case{"CutByLead", "\xE2\x82\xE2\x82\xAC", "\xEF\xBF\xBD\xEF\xBF\xBD\xE2\x82\xAC"},
        Utf8Case{"CutByEnd", "\xF0\x9F\x98", "\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD"},
        Utf8Case{"BadThirdByte", "\xE2\x82\xC0", "\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD"},
        Utf8Case{"Latin1", "caf\xE9!", "caf\xEF\xBF\xBD!"}),
    [](const testing::TestParamInfo<Utf8Case>& info) { return std::string(info.param.name); });

}  // namespace
}  // namespace qorarc
