#include "runtime/dprint.h"

#include <gtest/gtest.h>

#include <string>

#include "base/time_base.h"

namespace qorarc {
namespace {

TEST(PrefixesOf, SourceAndSeverity) {
  const struct {
    uint32_t level;
    const char* prefixes;
  } kCases[] = {
      {0x1, "[ OS    ][ ERROR ] "}, {0x8, "[ OS    ][VERBOSE] "}, {0x100000, "[ BLOCK ][ ERROR ] "},
      // The severity comes from any field; the most severe wins.
      {0x14, "[ OS    ][ ERROR ] "}, {0x60, "[ CORE  ][WARNING] "},
      // Blocks: 0x2000 alone is a warning, everything else but errors is info.
      {0x2000, "[ BLOCK ][WARNING] "}, {0x2200, "[ BLOCK ][ INFO  ] "}, {0, "[ BLOCK ][ INFO  ] "},
  };
  for (const auto& c : kCases) {
    LevelPrefixes prefixes = PrefixesOf(c.level);
    EXPECT_EQ(std::string(prefixes.source) + prefixes.severity, c.prefixes) << std::hex << c.level;
  }
}

TEST(FormatLogTimestamp, Layout) {
  constexpr int64_t kSecond = kNanosPerSecond, kDay = kNanosPerDay;
  const struct {
    int64_t nanoseconds;
    const char* text;
  } kCases[] = {
      {59 * kDay + 86399 * kSecond + 999000000, "2000-02-29 23:59:59.999"},
      {9812 * kDay + (17 * 3600 + 49 * 60 + 42) * kSecond + 123456789, "2026-11-12 17:49:42.123"},
      {-kDay, "1999-12-31 00:00:00.000"},
      // The seconds are rounded as a whole, as printf rounds them.
      {59 * kSecond + 999600000, "2000-01-01 00:00:60.000"},
  };
  for (const auto& c : kCases) {
    char buffer[kLogTimestampSize];
    EXPECT_EQ(FormatLogTimestamp(c.nanoseconds, buffer), 23u);
    EXPECT_STREQ(buffer, c.text) << c.nanoseconds;
  }
}

TEST(DPrint, ConsoleLinesHavePrefixesAndAtMost2047Characters) {
  SetMessageMask(kMaskConsole);
  ::testing::internal::CaptureStdout();
  // dPrint leaves the level test to its callers.
  dPrint(0x2000, "%d %s\n", 42, "block");
  // The prefixes do not count against the 2047 characters of the text.
  dPrint(kLevelCoreInfo, "%s", std::string(2047, 'x').c_str());
  dPrint(kLevelCoreInfo, "%s", std::string(2048, 'y').c_str());
  // U+00E9 has no form in the C locale's character set.
  dPrint(kLevelCoreError, "%ls", L"caf\u00e9");
  SetMessageMask(kDefaultMessageMask);
  EXPECT_EQ(::testing::internal::GetCapturedStdout(),
            "[ BLOCK ][WARNING] 42 block\n[ CORE  ][ INFO  ] " + std::string(2047, 'x') +
                "[ CORE  ][ INFO  ] " + std::string(2031, 'y') + " ... [TRUNCATED]" +
                "[ CORE  ][ ERROR ] dPrint encountered an encoding error");
}

}  // namespace
}  // namespace qorarc
