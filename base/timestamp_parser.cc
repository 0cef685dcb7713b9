#include "base/timestamp_parser.h"

#include <chrono>

#include "base/time_base.h"

namespace qorarc {
namespace {

constexpr int kMaxFractionDigits = 9;

// Reads exactly `count` decimal digits at `pos`; no sign, no blanks.
bool ReadDigits(std::string_view text, size_t pos, size_t count, int64_t* value) {
  if (pos + count > text.size()) return false;
  int64_t result = 0;
  for (size_t i = pos; i < pos + count; ++i) {
    if (text[i] < '0' || text[i] > '9') return false;
    result = result * 10 + (text[i] - '0');
  }
  *value = result;
  return true;
}

bool HasChar(std::string_view text, size_t pos, char c) {
  return pos < text.size() && text[pos] == c;
}

// "HH:MM:SS" with an optional fraction, the whole text, as nanoseconds of the
// day. `wide` also takes "HH:MM".
bool ParseTimeOfDay(std::string_view text, bool wide, int64_t* nanos) {
  int64_t hours, minutes, seconds = 0;
  if (!ReadDigits(text, 0, 2, &hours) || !HasChar(text, 2, ':') ||
      !ReadDigits(text, 3, 2, &minutes)) {
    return false;
  }
  const bool minutes_only = wide && text.size() == 5;
  if (!minutes_only && (!HasChar(text, 5, ':') || !ReadDigits(text, 6, 2, &seconds))) {
    return false;
  }
  if (hours > 23 || minutes > 59 || seconds > 59) return false;
  int64_t fraction = 0;
  size_t pos = minutes_only ? 5 : 8;
  if (pos < text.size()) {
    if (text[pos] != '.' && text[pos] != ',') return false;
    const size_t digits = text.size() - pos - 1;
    if (digits < 1 || digits > kMaxFractionDigits) return false;
    if (!ReadDigits(text, pos + 1, digits, &fraction)) return false;
    for (size_t i = digits; i < kMaxFractionDigits; ++i) fraction *= 10;
  }
  *nanos = ((hours * 60 + minutes) * 60 + seconds) * kNanosPerSecond + fraction;
  return true;
}

bool ParseTimestampText(std::string_view text, bool wide, int64_t* timestamp) {
  using namespace std::chrono;
  int64_t y, m, d;
  if (!ReadDigits(text, 0, 4, &y) || !HasChar(text, 4, '-') ||
      !ReadDigits(text, 5, 2, &m) || !HasChar(text, 7, '-') ||
      !ReadDigits(text, 8, 2, &d)) {
    return false;
  }
  const year_month_day date{year{static_cast<int>(y)}, month{static_cast<unsigned>(m)},
                            day{static_cast<unsigned>(d)}};
  if (!date.ok()) return false;

  int64_t nanos = 0;
  if (text.size() > 10) {
    const bool separator = text[10] == ' ' || (wide && text[10] == 'T');
    std::string_view time = text.substr(11);
    if (wide && time.ends_with('Z')) time.remove_suffix(1);
    if (!separator || !ParseTimeOfDay(time, wide, &nanos)) return false;
  }

  const int64_t day_number = DayNumberOf(date);
  // Before 2000 the day is counted from its end, so that the first day of
  // the range, which starts before the range does, still fits.
  const int64_t whole_days = day_number < 0 ? day_number + 1 : day_number;
  const int64_t rest = day_number < 0 ? nanos - kNanosPerDay : nanos;
  int64_t result = 0;
  if (__builtin_mul_overflow(whole_days, kNanosPerDay, &result) ||
      __builtin_add_overflow(result, rest, &result)) {
    return false;
  }
  *timestamp = result;
  return true;
}

}  // namespace

bool ParseTimestamp(std::string_view text, int64_t* timestamp) {
  return ParseTimestampText(text, false, timestamp);
}

bool ParseTimeBound(std::string_view text, int64_t* timestamp) {
  return ParseTimestampText(text, true, timestamp);
}

}  // namespace qorarc
