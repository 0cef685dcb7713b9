#include "base/timestamp_parser.h"

#include <limits>

#include <gtest/gtest.h>

namespace qorarc {
namespace {

TEST(TimestampParserTest, Accepts) {
  const struct {
    const char* text;
    int64_t timestamp;
    bool bound_only;  // a wider form that only ParseTimeBound takes
  } cases[] = {
      {"2000-01-01", 0, false},
      {"2000-01-01 00:00:00.000000001", 1, false},
      {"1999-12-31 23:59:59.999999999", -1, false},
      {"2019-05-03 23:59:59.999999999", 610'243'199'999'999'999, false},
      {"2019-05-03 23:59:59,25", 610'243'199'250'000'000, false},
      {"2019-05-03 23:59:59.000123", 610'243'199'000'123'000, false},
      {"2000-02-29", 59 * 86'400'000'000'000, false},
      // The ends of the time stamp's range.
      {"2292-04-10 23:47:16.854775807", std::numeric_limits<int64_t>::max(), false},
      {"1707-09-22 00:12:43.145224192", std::numeric_limits<int64_t>::min(), false},
      {"2019-05-03T23:59:59.999999999Z", 610'243'199'999'999'999, true},
      {"2019-05-03 23:59", 610'243'140'000'000'000, true},
      {"1999-12-31T23:59:59.999999999Z", -1, true},
  };
  for (const auto& c : cases) {
    int64_t bound = 12345, timestamp = 12345;
    EXPECT_TRUE(ParseTimeBound(c.text, &bound)) << c.text;
    EXPECT_EQ(bound, c.timestamp) << c.text;
    EXPECT_EQ(ParseTimestamp(c.text, &timestamp), !c.bound_only)
        << c.text;
    EXPECT_EQ(timestamp, c.bound_only ? 12345 : c.timestamp) << c.text;
  }
}

// Refused by both parsers.
TEST(TimestampParserTest, Refuses) {
  const char* const cases[] = {
      // Layout.
      "", "19-05-03", "2019-5-03", "2019/05/03", "+019-05-03", "2019-05-03 ", "2019-05-03x10:00",
      "2019-05-03  00:00:00", "2019-05-03 1:00:00", "2019-05-03 23:59:5", "2019-05-03 10",
      "2019-05-03 10:00.5", "2019-05-03 00:00:00.", "2019-05-03 00:00:00.1234567890",
      "2019-05-03 00:00:00.12a", "2019-05-03 00:00:00 ", "2019-05-03Z", "2019-05-03T",
      "2019-05-03t10:00", "2019-05-03 10:00z", "2019-05-03 10:00ZZ", "2019-05-03T10:00:00+01:00",
      // Calendar and clock; 2019 is no leap year, nor is 2100 (divisible by 100 only).
      "2019-13-01", "2019-00-01", "2019-05-00", "2019-04-31", "2019-02-29", "2100-02-29",
      "2019-05-03 24:00:00", "2019-05-03 23:60:00", "2019-05-03 23:59:60", "2019-05-03 24:00",
      // Outside the time stamp's range.
      "2292-04-10 23:47:16.854775808", "1707-09-22 00:12:43.145224191",
  };
  for (const char* text : cases) {
    int64_t timestamp = 12345;
    EXPECT_FALSE(ParseTimestamp(text, &timestamp)) << '"' << text << '"';
    EXPECT_FALSE(ParseTimeBound(text, &timestamp)) << '"' << text << '"';
    EXPECT_EQ(timestamp, 12345) << text;
  }
}

}  // namespace
}  // namespace qorarc
