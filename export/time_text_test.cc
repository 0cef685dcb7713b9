#include "export/time_text.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <limits>
#include <string>

#include "base/timestamp_parser.h"

namespace qorarc {
namespace {

constexpr int64_t kDay = 86'400'000'000'000;
constexpr int64_t kSecond = 1'000'000'000;
constexpr int64_t kMax = std::numeric_limits<int64_t>::max();
constexpr int64_t kMin = std::numeric_limits<int64_t>::min();

constexpr int64_t At(int64_t day, int hours, int minutes, int seconds, int64_t nanos) {
  return day * kDay + ((hours * 60 + minutes) * 60 + seconds) * kSecond + nanos;
}

TEST(TimeTextTest, DatesOfDayNumbers) {
  // Years outside 1000 to 9999 take printf's "%4i": padded, or wider.
  const struct {
    const char* what;
    int64_t day;
    const char* date;
  } cases[] = {
      {"year 999 padded", -365243, " 999-12-31"},
      {"year 0 padded", -730120, "   0-12-31"},
      {"year -1 padded", -730486, "  -1-12-31"},
      {"year 10000", 2921940, "10000-01-01"},
  };
  for (const auto& c : cases) {
    char text[kDateTextSize];
    EXPECT_EQ(std::string(text, FormatDayDate(c.day, text)), c.date) << c.what;
  }
}

// Nanoseconds ending in 500 are exact decimal ties of the sixth place; the
// double lands above, below or on the tie (0.0078125 is exact and rounds to
// the even digit), and the runtime's printf("%09.6f") rounds what the double
// holds. Every tie of two seconds of different binary exponents.
TEST(TimeTextTest, TiesRoundAsPrintf) {
  for (int64_t nanos = 500; nanos < kSecond; nanos += 1000) {
    for (int second : {0, 59}) {
      char printed[32];
      std::snprintf(printed, sizeof printed, "%09.6f", second + static_cast<double>(nanos) / 1e9);
      ASSERT_EQ(TimeText(At(7062, 13, 14, second, nanos)), "13:14:" + std::string(printed));
    }
  }
}

// Exact, never rounded; pasted back as a bound, each gives its time stamp.
TEST(TimeTextTest, UtcTimestamps) {
  const struct {
    const char* what;
    int64_t timestamp;
    const char* text;
  } cases[] = {
      {"1 ns before 2000", -1, "1999-12-31T23:59:59.999999999Z"},
      {"not rounded", At(7062, 23, 59, 59, 999'999'600), "2019-05-03T23:59:59.999999600Z"},
      {"every digit", At(7062, 10, 2, 3, 40'506'070), "2019-05-03T10:02:03.040506070Z"},
      {"last time stamp", kMax, "2292-04-10T23:47:16.854775807Z"},
      {"first time stamp", kMin, "1707-09-22T00:12:43.145224192Z"},
  };
  DateTextCache dates;
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    char text[kUtcTextSize];
    const std::string ts(text, FormatUtcTimestamp(c.timestamp, &dates, text));
    EXPECT_EQ(ts, c.text);
    int64_t parsed = 0;
    EXPECT_TRUE(ParseTimeBound(ts, &parsed));
    EXPECT_EQ(parsed, c.timestamp);
  }
}

}  // namespace
}  // namespace qorarc
