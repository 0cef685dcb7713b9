#include "export/utf8_text.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>

namespace qorarc {
namespace {

#define BAD "\xEF\xBF\xBD"
// The first and last sequence of each line of the table of well-formed ones.
constexpr std::string_view kEdges =
    "\xC2\x80\xDF\xBF\xE0\xA0\x80\xE0\xBF\xBF\xED\x9F\xBF\xEF\xBF\xBF\xF0\x90\x80\x80\xF4\x8F\xBF\xBF";

// Well-formed sequences are kept; every other byte is replaced by its own
// U+FFFD. The cases are the edges of the table of well-formed sequences and
// the bytes just outside them.
TEST(Utf8TextTest, ReplacesEachBadByte) {
  const struct {
    const char* what;
    std::string_view input;
    std::string_view expected;
  } cases[] = {
      {"edges kept", kEdges, kEdges},
      {"overlong C0 and C1", "\xC0\x80\xC1\xBF", BAD BAD BAD BAD},
      {"overlong E0", "\xE0\x9F\xBF", BAD BAD BAD},
      {"surrogate", "\xED\xA0\x80", BAD BAD BAD},
      {"overlong F0", "\xF0\x8F\xBF\xBF", BAD BAD BAD BAD},
      {"above U+10FFFF", "\xF4\x90\x80\x80", BAD BAD BAD BAD},
      {"F5 and FF", "\xF5\xFF", BAD BAD},
      {"lone continuation", "a\x80z", "a" BAD "z"},
      // A sequence cut short: each of its bytes, and the next byte starts anew.
      {"cut by a lead byte", "\xE2\x82\xE2\x82\xAC", BAD BAD "\xE2\x82\xAC"},
      {"cut by the end", "\xF0\x9F\x98", BAD BAD BAD},
      {"bad third byte", "\xE2\x82\xC0", BAD BAD BAD},
  };
  for (const auto& c : cases) {
    std::string out(kMaxRepairGrowth * c.input.size(), '\0');
    out.resize(static_cast<size_t>(CopyValidUtf8(out.data(), c.input) - out.data()));
    EXPECT_EQ(out, c.expected) << c.what;
  }
}

}  // namespace
}  // namespace qorarc
