#include "core/dprint.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <regex>
#include <string>

#include "support/files.h"

namespace qorarc {
namespace {

std::string Format(const char* format, ...) __attribute__((format(printf, 1, 2)));
std::string Format(const char* format, ...) {
  char buffer[kMessageBufferSize];
  va_list args;
  va_start(args, format);
  FormatDiagnostic(buffer, format, args);
  va_end(args);
  return buffer;
}

class DPrintTest : public ::testing::Test {
 protected:
  void SetUp() override {
    saved_mask_ = MessageMask();
    path_ = ::testing::TempDir() + "qorarc-dprint-" + std::to_string(getpid()) + ".log";
    std::remove(path_.c_str());
  }
  void TearDown() override {
    CloseLogFile();
    std::remove(path_.c_str());
    SetMessageMask(saved_mask_);
  }

  // What dPrint writes to standard output with the given mask.
  static std::string Console(uint32_t mask, uint32_t level, const char* text) {
    SetMessageMask(mask);
    ::testing::internal::CaptureStdout();
    dPrint(level, "%s", text);
    return ::testing::internal::GetCapturedStdout();
  }

  uint32_t saved_mask_ = 0;
  std::string path_;
};

TEST(PrefixesOf, SourceAndSeverity) {
  const struct {
    uint32_t level;
    const char* source;
    const char* severity;
  } kCases[] = {
      {0x1, "[ OS    ]", "[ ERROR ] "}, {0x2, "[ OS    ]", "[WARNING] "},
      {0x4, "[ OS    ]", "[ INFO  ] "}, {0x8, "[ OS    ]", "[VERBOSE] "},
      {0x11, "[ OS    ]", "[ ERROR ] "},
      // The severity comes from any field, not only the source's own.
      {0x14, "[ OS    ]", "[ ERROR ] "}, {0x10, "[ CORE  ]", "[ ERROR ] "},
      {0x20, "[ CORE  ]", "[WARNING] "}, {0x40, "[ CORE  ]", "[ INFO  ] "},
      {0x80, "[ CORE  ]", "[VERBOSE] "}, {0x60, "[ CORE  ]", "[WARNING] "},
      {0x40000040, "[ CORE  ]", "[ INFO  ] "}, {0x100, "[ BLOCK ]", "[ ERROR ] "},
      {0x100000, "[ BLOCK ]", "[ ERROR ] "}, {0x2000, "[ BLOCK ]", "[WARNING] "},
      {0x2200, "[ BLOCK ]", "[ INFO  ] "}, {0x200, "[ BLOCK ]", "[ INFO  ] "},
      {0x20000, "[ BLOCK ]", "[ INFO  ] "}, {0x400, "[ BLOCK ]", "[ INFO  ] "},
      {0x800, "[ BLOCK ]", "[ INFO  ] "}, {0x0, "[ BLOCK ]", "[ INFO  ] "},
  };
  for (const auto& c : kCases) {
    LevelPrefixes prefixes = PrefixesOf(c.level);
    EXPECT_STREQ(prefixes.source, c.source) << std::hex << c.level;
    EXPECT_STREQ(prefixes.severity, c.severity) << std::hex << c.level;
  }
}

TEST(FormatDiagnostic, KeepsUpTo2047CharactersAndMarksTruncation) {
  EXPECT_EQ(Format("%d %s!\n", 42, "abc"), "42 abc!\n");
  EXPECT_EQ(Format("%s", ""), "");
  EXPECT_EQ(Format("%s", std::string(2047, 'x').c_str()), std::string(2047, 'x'));
  const std::string truncated = std::string(2031, 'x') + " ... [TRUNCATED]";
  ASSERT_EQ(truncated.size(), 2047u);
  EXPECT_EQ(Format("%s", std::string(2048, 'x').c_str()), truncated);
  EXPECT_EQ(Format("%s", std::string(5000, 'x').c_str()), truncated);
  EXPECT_EQ(Format("%s%s", std::string(2040, 'x').c_str(), "0123456789"), truncated);
  // U+00E9 has no form in the C locale's character set.
  EXPECT_EQ(Format("%ls", L"caf\u00e9"), "dPrint encountered an encoding error");
}

TEST(FormatLogTimestamp, Layout) {
  constexpr int64_t kSecond = 1000000000;
  constexpr int64_t kDay = 86400 * kSecond;
  const struct {
    int64_t nanoseconds;
    const char* text;
  } kCases[] = {
      {0, "2000-01-01 00:00:00.000"},
      {59 * kDay + 86399 * kSecond + 999000000, "2000-02-29 23:59:59.999"},
      {60 * kDay, "2000-03-01 00:00:00.000"},
      // 2026-11-12 17:49:42.123456789
      {9812 * kDay + (17 * 3600 + 49 * 60 + 42) * kSecond + 123456789, "2026-11-12 17:49:42.123"},
      {36524 * kDay, "2099-12-31 00:00:00.000"},
      {36525 * kDay + 5 * kSecond + 7000000, "2100-01-01 00:00:05.007"},
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

TEST_F(DPrintTest, ConsoleLineHasPrefixesAndNoTimestamp) {
  EXPECT_EQ(Console(kMaskConsole | kLevelCoreInfo, kLevelCoreInfo, "core info\n"),
            "[ CORE  ][ INFO  ] core info\n");
  EXPECT_EQ(Console(kMaskConsole, 0x2000, "block warning\n"), "[ BLOCK ][WARNING] block warning\n");
  EXPECT_EQ(Console(kMaskConsole, 0x11, "no line end"), "[ OS    ][ ERROR ] no line end");
  // dPrint leaves the level test to its callers.
  EXPECT_EQ(Console(kMaskConsole, kLevelCoreVerbose, "verbose\n"),
            "[ CORE  ][VERBOSE] verbose\n");
  // The prefixes do not count against the 2047 characters of the text.
  EXPECT_EQ(Console(kMaskConsole, kLevelCoreInfo, std::string(2048, 'l').c_str()),
            "[ CORE  ][ INFO  ] " + std::string(2031, 'l') + " ... [TRUNCATED]");
}

TEST_F(DPrintTest, SilentWithoutOutputBits) {
  ASSERT_EQ(OpenLogFile(path_.c_str()), 0);
  EXPECT_EQ(Console(kDefaultMessageMask, kLevelCoreInfo, "default\n"), "");
  EXPECT_EQ(Console(0, kLevelCoreInfo, "zero\n"), "");
  EXPECT_EQ(Console(0xFFFFFF, kLevelCoreError, "all levels\n"), "");
  CloseLogFile();
  EXPECT_EQ(testing::ReadFile(path_), "");
}

TEST_F(DPrintTest, LogFileLinesCarryTheTime) {
  ASSERT_EQ(OpenLogFile(path_.c_str()), 0);
  EXPECT_TRUE(LogFileIsOpen());
  EXPECT_EQ(Console(kMaskLogFile | kLevelCoreError, kLevelCoreError, "first\n"), "");
  EXPECT_EQ(Console(kMaskLogFile, 0x200, "second\n"), "");
  CloseLogFile();
  EXPECT_FALSE(LogFileIsOpen());
  // Closed: nothing more reaches the file.
  EXPECT_EQ(Console(kMaskLogFile, 0x200, "third\n"), "");
  const std::regex kExpected(
      "\\d{4}-\\d{2}-\\d{2} \\d{2}:\\d{2}:\\d{2}\\.\\d{3} \\[ CORE  \\]\\[ ERROR \\] first\n"
      "\\d{4}-\\d{2}-\\d{2} \\d{2}:\\d{2}:\\d{2}\\.\\d{3} \\[ BLOCK \\]\\[ INFO  \\] second\n");
  std::string text = testing::ReadFile(path_);
  EXPECT_TRUE(std::regex_match(text, kExpected)) << text;
}

TEST_F(DPrintTest, OpenFailureGivesErrno) {
  EXPECT_EQ(OpenLogFile("/nonexistent-qorarc-dir/qorcore.log"), ENOENT);
  EXPECT_FALSE(LogFileIsOpen());
}

TEST_F(DPrintTest, StartBanner) {
  SetMessageMask(kMaskConsole | kLevelCoreInfo);
  ::testing::internal::CaptureStdout();
  WriteStartBanner();
  std::string text = ::testing::internal::GetCapturedStdout();
  // "%c" in the C locale: "Thu Nov 12 17:49:42 2026".
  EXPECT_TRUE(std::regex_match(
      text, std::regex("\\[ CORE  \\]\\[ INFO  \\] \\*\\*\\*\\*\\*\\* Start of QOR diagnostics: "
                       "Date: \\w{3} \\w{3} [ \\d]\\d \\d{2}:\\d{2}:\\d{2} \\d{4} \\*\\*\\*\\*\\*\\*\n")))
      << text;
}

}  // namespace
}  // namespace qorarc
