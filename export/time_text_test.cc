#include <cstdio>
#include <limits>
#include <random>
#include <string>

#include <gtest/gtest.h>

#include "core/timestamp_parser.h"
#include "export/time_text.h"

namespace qorarc {
namespace {

constexpr int64_t kDay = 86'400'000'000'000;
constexpr int64_t kSecond = 1'000'000'000;

constexpr int64_t At(int64_t day, int hours, int minutes, int seconds, int64_t nanos) {
  return day * kDay + ((hours * 60 + minutes) * 60 + seconds) * kSecond + nanos;
}

// The time text as the runtime prints it, through printf.
std::string PrintfTime(int64_t timestamp) {
  int64_t of_day = timestamp % kDay;
  if (of_day < 0) of_day += kDay;
  const int hours = static_cast<int>(of_day / 3'600'000'000'000);
  const int minutes = static_cast<int>(of_day / 60'000'000'000 % 60);
  const int seconds = static_cast<int>(of_day / kSecond % 60);
  const int nanos = static_cast<int>(of_day % kSecond);
  char text[64];
  const int length = std::snprintf(text, sizeof text, "%02i:%02i:%09.6f", hours,
                                   minutes, seconds + nanos / 1e9);
  return std::string(text, static_cast<size_t>(length));
}

struct TimestampCase {
  int64_t timestamp;
  const char* date;
  const char* time;
};

TEST(TimeTextTest, DateAndTimeOfTimestamps) {
  const TimestampCase cases[] = {
      {0, "---", "---"},
      {1, "2000-01-01", "00:00:00.000000"},
      {499, "2000-01-01", "00:00:00.000000"},
      {501, "2000-01-01", "00:00:00.000001"},
      {At(0, 5, 6, 7, 123'456'000), "2000-01-01", "05:06:07.123456"},
      {At(0, 5, 6, 7, 123'456'499), "2000-01-01", "05:06:07.123456"},
      {At(0, 5, 6, 7, 123'456'501), "2000-01-01", "05:06:07.123457"},
      {At(7062, 0, 0, 0, 0), "2019-05-03", "00:00:00.000000"},
      {At(7062, 23, 59, 59, 999'999'400), "2019-05-03", "23:59:59.999999"},
      {At(7062, 23, 59, 59, 999'999'600), "2019-05-03", "23:59:60.000000"},
      {At(7062, 23, 59, 59, 999'999'999), "2019-05-03", "23:59:60.000000"},
      {At(7062, 12, 34, 59, 999'999'999), "2019-05-03", "12:34:60.000000"},
      {At(7062, 12, 34, 9, 999'999'999), "2019-05-03", "12:34:10.000000"},
      {At(65535, 23, 59, 59, 0), "2179-06-06", "23:59:59.000000"},
      // Before 2000 the day is found by floor division.
      {-1, "1999-12-31", "23:59:60.000000"},
      {-kSecond, "1999-12-31", "23:59:59.000000"},
      {-kDay, "1999-12-31", "00:00:00.000000"},
      {-kDay - 1, "1999-12-30", "23:59:60.000000"},
      {At(-10957, 1, 2, 3, 4'000), "1970-01-01", "01:02:03.000004"},
      {std::numeric_limits<int64_t>::max(), "2292-04-10", "23:47:16.854776"},
      {std::numeric_limits<int64_t>::min(), "1707-09-22", "00:12:43.145224"},
  };
  for (const TimestampCase& c : cases) {
    SCOPED_TRACE(c.timestamp);
    char date[kDateTextSize];
    char time[kTimeTextSize];
    EXPECT_EQ(std::string(date, FormatDate(c.timestamp, date)), c.date);
    EXPECT_EQ(std::string(time, FormatTime(c.timestamp, time)), c.time);
    EXPECT_EQ(DateText(c.timestamp), c.date);
    EXPECT_EQ(TimeText(c.timestamp), c.time);
    EXPECT_EQ(TimestampText(c.timestamp), std::string(c.date) + " " + c.time);
  }
}

TEST(TimeTextTest, DatesOfDayNumbers) {
  const struct {
    int64_t day;
    const char* date;
  } cases[] = {
      {0, "2000-01-01"}, {-1, "1999-12-31"}, {30, "2000-01-31"}, {31, "2000-02-01"},
      {59, "2000-02-29"},  // 2000 is a leap year: divisible by 400
      {60, "2000-03-01"}, {365, "2000-12-31"}, {366, "2001-01-01"}, {424, "2001-02-28"},
      {425, "2001-03-01"}, {1520, "2004-02-29"},
      {36583, "2100-02-28"},  // 2100 is not: divisible by 100 only
      {36584, "2100-03-01"}, {7062, "2019-05-03"}, {65535, "2179-06-06"}, {-365242, "1000-01-01"},
      {-365243, " 999-12-31"}, {-730119, "   1-01-01"}, {-730120, "   0-12-31"},
      {-730485, "   0-01-01"},  // year 0 is a leap year of the proleptic calendar
      {-730486, "  -1-12-31"}, {2921939, "9999-12-31"}, {2921940, "10000-01-01"},
  };
  for (const auto& c : cases) {
    char text[kDateTextSize];
    EXPECT_EQ(std::string(text, FormatDayDate(c.day, text)), c.date) << c.day;
  }
}

// FormatTime() must agree with printf's rounding of the same time; fails
// the test and counts a mismatch when it does not.
void ExpectAsPrintf(int64_t timestamp, int* mismatches) {
  char time[kTimeTextSize];
  const std::string text(time, FormatTime(timestamp, time));
  const std::string expected = PrintfTime(timestamp);
  if (text == expected) return;
  ++*mismatches;
  ADD_FAILURE() << timestamp << ": " << text << " instead of " << expected;
}

// Every nanosecond value of a second that ends in 500 is an exact decimal tie
// of the sixth place; the double lands above, below or on it, and printf
// rounds what the double holds.
TEST(TimeTextTest, EveryTieOfASecondAsPrintf) {
  int mismatches = 0;
  for (int second : {0, 59}) {
    const int64_t start = At(7062, 13, 14, second, 0);
    for (int64_t nanos = 500; nanos < kSecond && mismatches < 10; nanos += 1000)
      ExpectAsPrintf(start + nanos, &mismatches);
  }
}

TEST(TimeTextTest, RandomTimesAsPrintf) {
  std::mt19937_64 random(20190503);
  std::uniform_int_distribution<int64_t> of_day(0, kDay - 1);
  std::uniform_int_distribution<int64_t> any_time(std::numeric_limits<int64_t>::min(),
                                                  std::numeric_limits<int64_t>::max());
  int mismatches = 0;
  for (int i = 0; i < 3'000'000 && mismatches < 10; ++i) {
    const int64_t timestamp = (i % 4 == 0) ? any_time(random) : At(7062, 0, 0, 0, of_day(random));
    if (timestamp != 0) ExpectAsPrintf(timestamp, &mismatches);
  }
}

TEST(TimeTextTest, ParsedTextsReadBack) {
  const char* const texts[] = {
      "2019-05-03 00:00:00.000000", "2019-05-03 23:59:59.999999", "1999-12-31 12:00:00.000001",
      "2000-02-29 06:30:15.250000", "2100-03-01 00:00:01.000000", "1800-07-04 18:45:00.123456",
  };
  for (const char* text : texts) {
    int64_t timestamp = 0;
    ASSERT_EQ(ParseTimestamp(text, &timestamp), 0) << text;
    EXPECT_EQ(TimestampText(timestamp), text);
  }
}

TEST(TimeTextTest, UtcTimestamps) {
  const struct {
    int64_t timestamp;
    const char* text;
  } cases[] = {
      {1, "2000-01-01T00:00:00.000000001Z"},
      {-1, "1999-12-31T23:59:59.999999999Z"},
      {At(7062, 23, 59, 59, 999'999'600), "2019-05-03T23:59:59.999999600Z"},
      {At(7062, 0, 0, 0, 0), "2019-05-03T00:00:00.000000000Z"},
      {At(7062, 10, 2, 3, 40'506'070), "2019-05-03T10:02:03.040506070Z"},
      {std::numeric_limits<int64_t>::max(), "2292-04-10T23:47:16.854775807Z"},
      {std::numeric_limits<int64_t>::min(), "1707-09-22T00:12:43.145224192Z"},
  };
  DateTextCache dates;
  for (const auto& c : cases) {
    char text[kUtcTextSize];
    EXPECT_EQ(std::string(text, FormatUtcTimestamp(c.timestamp, &dates, text)), c.text);
  }
}

// Pasted back as a bound, a "ts" text gives its time stamp again.
TEST(TimeTextTest, UtcTimestampsReadBack) {
  std::mt19937_64 random(20191231);
  std::uniform_int_distribution<int64_t> any_time(std::numeric_limits<int64_t>::min(),
                                                  std::numeric_limits<int64_t>::max());
  DateTextCache dates;
  for (int i = 0; i < 100'000; ++i) {
    const int64_t timestamp = any_time(random);
    if (timestamp == 0) continue;
    char text[kUtcTextSize];
    const std::string_view ts(text, FormatUtcTimestamp(timestamp, &dates, text));
    int64_t parsed = 0;
    ASSERT_EQ(ParseTimeBound(ts, &parsed), 0) << ts;
    ASSERT_EQ(parsed, timestamp) << ts;
  }
}

}  // namespace
}  // namespace qorarc
