#include "app/help_text.h"

#include <gtest/gtest.h>
#include <stdlib.h>

#include <sstream>
#include <string>

namespace qorarc {
namespace {

std::string HelpWith(const char* no_color) {
  if (no_color == nullptr)
    unsetenv("NO_COLOR");
  else
    setenv("NO_COLOR", no_color, 1);
  std::ostringstream out;
  PrintHelp(&out);
  unsetenv("NO_COLOR");
  return out.str();
}

// The colour codes wrap the logo and its two empty lines; NO_COLOR with a
// value removes exactly those two codes and nothing else.
TEST(HelpTextTest, NoColorRemovesOnlyTheLogoColour) {
  const std::string open = "\x1b[1;36m";
  const std::string close = "\x1b[0m";
  const std::string coloured = HelpWith(nullptr);
  ASSERT_EQ(coloured.compare(0, open.size(), open), 0);
  size_t close_at = coloured.find(close);
  ASSERT_NE(close_at, std::string::npos);
  EXPECT_EQ(coloured.substr(close_at - 3, 3), "\n\n\n");
  EXPECT_EQ(coloured.find('\x1b', close_at + 1), std::string::npos);

  std::string expected_plain = coloured;
  expected_plain.erase(close_at, close.size());
  expected_plain.erase(0, open.size());
  EXPECT_EQ(HelpWith("1"), expected_plain);
  EXPECT_EQ(HelpWith("no"), expected_plain);
  EXPECT_EQ(HelpWith(""), coloured);
}

}  // namespace
}  // namespace qorarc
