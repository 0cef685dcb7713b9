// The runtime's time base: time stamps are signed counts of nanoseconds since
// 2000-01-01 00:00:00 (day 0). Archive records, the "-ft1"/"-ft2" bounds and
// the diagnostics log all count from here; every calendar conversion goes
// through std::chrono's civil calendar.
#pragma once

#include <chrono>
#include <cstdint>

namespace qorarc {

inline constexpr int64_t kNanosPerSecond = 1'000'000'000;
inline constexpr int64_t kNanosPerDay = 86'400 * kNanosPerSecond;
inline constexpr std::chrono::sys_days kTimeBase =
    std::chrono::year{2000} / std::chrono::January / 1;

// a / b rounded towards minus infinity (b > 0).
constexpr int64_t FloorDiv(int64_t a, int64_t b) {
  const int64_t q = a / b;
  return (a % b < 0) ? q - 1 : q;
}

// The day number of a time stamp (0 is 2000-01-01; earlier days negative).
constexpr int64_t DayOf(int64_t timestamp) { return FloorDiv(timestamp, kNanosPerDay); }

// The calendar date of a day number. Valid for the years -32767 to 32767
// (about +-12 million days), the range of std::chrono's calendar.
constexpr std::chrono::year_month_day DateOfDay(int64_t day_number) {
  return std::chrono::year_month_day{kTimeBase + std::chrono::days{day_number}};
}

// The day number of a calendar date.
constexpr int64_t DayNumberOf(std::chrono::year_month_day date) {
  return (std::chrono::sys_days{date} - kTimeBase).count();
}

}  // namespace qorarc
