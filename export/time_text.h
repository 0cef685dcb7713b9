// Text forms of time stamps: dates, times of day, and both together. A time
// stamp counts nanoseconds since the time base (base/time_base.h); 0 means
// "no time stamp" and prints as "---".
#pragma once

#include <cstddef>
#include <climits>
#include <cstdint>
#include <string>
#include <string_view>

namespace qorarc {

// The date and time text of the time stamp 0.
inline constexpr std::string_view kNoTimestampText = "---";

// Buffer sizes that hold the longest text of each Format* function. The
// functions write no terminator.
inline constexpr size_t kDateTextSize = 16;
inline constexpr size_t kTimeTextSize = 24;

// "2021-03-04" (year right-aligned in 4 positions) into out; returns the
// length. Writes "---" for the time stamp 0. Time stamps before 2000 give
// earlier dates (the day is found by floor division).
size_t FormatDate(int64_t timestamp, char* out);

// "05:06:07.123456" into out; returns the length. The seconds are printed as
// printf's "%09.6f" prints (seconds + nanoseconds / 1e9), rounding included,
// so 59.9999996 s gives "60.000000" (the minutes are not carried). Writes
// "---" for the time stamp 0.
size_t FormatTime(int64_t timestamp, char* out);

// FormatDate for the first instant of a day number (0 is 2000-01-01, -1 is
// 1999-12-31), which never prints "---": lets callers format a date once per
// day. The day number must lie within the years -32767 to 32767.
size_t FormatDayDate(int64_t day_number, char* out);

// The date text of an item, made once per day: items come in day order, so
// the text is kept until the day changes.
class DateTextCache {
 public:
  // The date of `timestamp`, or "---" for 0. `day` is the item's day number
  // when its time of day lies within that day, which spares the division.
  std::string_view For(int64_t timestamp, int64_t day);

 private:
  int64_t day_ = INT64_MIN;
  char text_[kDateTextSize] = {};
  size_t size_ = 0;
};

// "2021-03-04T05:06:07.123456789Z" (RFC 3339, UTC): the date and the exact
// time of day, nanoseconds in full, nothing rounded; the day is the floor of
// the time stamp divided by a day. Into out, which holds kUtcTextSize bytes;
// returns the length. The time stamp must not be 0 ("no time stamp"), which
// each format shows in its own way; `dates` keeps the date text of the day.
inline constexpr size_t kUtcTextSize = kDateTextSize + 21;
size_t FormatUtcTimestamp(int64_t timestamp, DateTextCache* dates, char* out);

// The same texts as strings.
std::string DateText(int64_t timestamp);
std::string TimeText(int64_t timestamp);
// Date, one blank, time: "2019-05-03 00:00:00.000000".
std::string TimestampText(int64_t timestamp);

}  // namespace qorarc
