#include "core/timestamp_parser.h"

#include <limits>
#include <string>

#include <gtest/gtest.h>

namespace qorarc {
namespace {

TEST(TimestampParserTest, Accepts) {
  const struct {
    const char* text;
    int64_t timestamp;
  } cases[] = {
      {"2000-01-01", 0},
      {"2000-01-01 00:00:00", 0},
      {"2000-01-01 00:00:00.000000001", 1},
      {"2000-01-01 00:00:01", 1'000'000'000},
      {"2000-01-02", 86'400'000'000'000},
      {"1999-12-31 23:59:59", -1'000'000'000},
      {"1999-12-31 23:59:59.999999999", -1},
      {"2019-05-01", 609'984'000'000'000'000},
      {"2019-05-01 00:00:00.000000000", 609'984'000'000'000'000},
      {"2019-05-03 23:59:59.999999999", 610'243'199'999'999'999},
      {"2019-05-03 23:59:59.5", 610'243'199'500'000'000},
      {"2019-05-03 23:59:59,25", 610'243'199'250'000'000},
      {"2019-05-03 23:59:59.000123", 610'243'199'000'123'000},
      {"2019-01-01 01:00:00,000", 599'619'600'000'000'000},
      {"2000-02-29", 59 * 86'400'000'000'000},
      {"2100-02-28", 3'160'771'200'000'000'000},
      // The ends of the time stamp's range.
      {"2292-04-10 23:47:16.854775807", std::numeric_limits<int64_t>::max()},
      {"1707-09-22 00:12:43.145224192", std::numeric_limits<int64_t>::min()},
  };
  for (const auto& c : cases) {
    int64_t timestamp = 12345;
    EXPECT_EQ(ParseTimestamp(c.text, &timestamp), 0) << c.text;
    EXPECT_EQ(timestamp, c.timestamp) << c.text;
    // The bounds' parser takes every one of these alike.
    timestamp = 12345;
    EXPECT_EQ(ParseTimeBound(c.text, &timestamp), 0) << c.text;
    EXPECT_EQ(timestamp, c.timestamp) << c.text;
  }
}

TEST(TimestampParserTest, Refuses) {
  const char* const cases[] = {
      // Layout.
      "", "2019", "2019-05", "2019-05-0", "19-05-03", "02019-05-03", "2019-5-03", "2019-05-3",
      "2019/05/03", "2019-05-03T00:00:00", "2019-05-03 ", "2019-05-03  00:00:00", "2019-05-03x",
      "2019-05-03 23:59", "2019-05-03 23:59:5", "2019-05-03 1:00:00", "2019-05-03 01-00-00",
      "2019-05-03 00:00:00.", "2019-05-03 00:00:00,", "2019-05-03 00:00:00:000",
      "2019-05-03 00:00:00.1234567890", "2019-05-03 00:00:00.12a", "2019-05-03 00:00:00.5 ",
      "2019-05-03 00:00:00 ", "2019-05-03 00:00:00Z", "+019-05-03", "2019-+5-03", " 2019-05-03", "2019-05-03 -1:00:00",
      // Calendar and clock; 2019 is no leap year, nor is 2100 (divisible by 100 only).
      "2019-13-01", "2019-00-01", "2019-05-00", "2019-05-32", "2019-04-31", "2019-02-29",
      "2100-02-29", "2000-02-30", "2019-05-03 24:00:00", "2019-05-03 23:60:00",
      "2019-05-03 23:59:60",
      // Outside the time stamp's range.
      "2292-04-10 23:47:16.854775808", "1707-09-22 00:12:43.145224191", "1707-09-21",
      "2300-01-01", "0000-01-01", "9999-12-31",
  };
  for (const char* text : cases) {
    int64_t timestamp = 12345;
    EXPECT_EQ(ParseTimestamp(text, &timestamp), kInvalidTimestampFormat) << '"' << text << '"';
    EXPECT_EQ(timestamp, 12345) << text;
  }
  EXPECT_EQ(kInvalidTimestampFormat, -311);
}

// The bounds' wider forms, which ParseTimestamp refuses.
TEST(TimestampParserTest, BoundAcceptsWiderForms) {
  const struct {
    const char* text;
    int64_t timestamp;
  } cases[] = {
      {"2019-05-03T23:59:59.999999999", 610'243'199'999'999'999},
      {"2019-05-03T23:59:59.999999999Z", 610'243'199'999'999'999},
      {"2019-05-03 23:59:59,25Z", 610'243'199'250'000'000},
      {"2019-05-03T23:59:59Z", 610'243'199'000'000'000},
      {"2019-05-03 23:59", 610'243'140'000'000'000},
      {"2019-05-03T23:59Z", 610'243'140'000'000'000},
      {"1999-12-31T23:59:59.999999999Z", -1},
      {"2292-04-10T23:47:16.854775807Z", std::numeric_limits<int64_t>::max()},
  };
  for (const auto& c : cases) {
    int64_t timestamp = 12345;
    EXPECT_EQ(ParseTimeBound(c.text, &timestamp), 0) << c.text;
    EXPECT_EQ(timestamp, c.timestamp) << c.text;
    EXPECT_EQ(ParseTimestamp(c.text, &timestamp), kInvalidTimestampFormat) << c.text;
  }
}

TEST(TimestampParserTest, BoundRefuses) {
  const char* const cases[] = {
      "2019-05-03Z", "2019-05-03T", "2019-05-03 Z", "2019-05-03TZ", "2019-05-03t10:00",
      "2019-05-03 10:00z", "2019-05-03 10:00ZZ", "2019-05-03 10:00:00ZZ", "2019-05-03 10",
      "2019-05-03 10:0", "2019-05-03 10:00.5", "2019-05-03 10:00:", "2019-05-03 10:00:00Z ",
      "2019-05-03T10:00:00+01:00", "2019-05-03 24:00", "2019-05-03 23:60Z", "2019-05-03x10:00",
      "2019-05-03T10:00:00.Z", "2019-05-03  10:00",
  };
  for (const char* text : cases) {
    int64_t timestamp = 12345;
    EXPECT_EQ(ParseTimeBound(text, &timestamp), kInvalidTimestampFormat) << '"' << text << '"';
    EXPECT_EQ(timestamp, 12345) << text;
  }
}

}  // namespace
}  // namespace qorarc
