#include "export/time_text.h"

// These run once per exported item, so they write digits from a table
// instead of going through snprintf; the output is the same byte for byte.
#include <algorithm>
#include <bit>
#include <charconv>
#include <chrono>
#include <cstring>

#include "base/time_base.h"

namespace qorarc {
namespace {


struct DigitPairs {
  char text[200];
  constexpr DigitPairs() : text() {
    for (int i = 0; i < 100; ++i) {
      text[2 * i] = static_cast<char>('0' + i / 10);
      text[2 * i + 1] = static_cast<char>('0' + i % 10);
    }
  }
};
constexpr DigitPairs kDigitPairs;

// Writes v (0 to 99) as two digits.
char* Put2(char* p, unsigned v) {
  std::memcpy(p, &kDigitPairs.text[2 * v], 2);
  return p + 2;
}

size_t PutNoTimestamp(char* out) {
  return static_cast<size_t>(std::copy(kNoTimestampText.begin(), kNoTimestampText.end(), out) - out);
}

// printf's "%4i": right-aligned in 4 positions, wider when it must be.
char* PutYear(char* p, int year) {
  if (year >= 1000 && year <= 9999) {
    p = Put2(p, static_cast<unsigned>(year / 100));
    return Put2(p, static_cast<unsigned>(year % 100));
  }
  char digits[8];
  const char* end = std::to_chars(digits, digits + sizeof digits, year).ptr;
  const size_t length = static_cast<size_t>(end - digits);
  for (size_t i = length; i < 4; ++i) *p++ = ' ';
  std::memcpy(p, digits, length);
  return p + length;
}

// The seconds as printf's "%09.6f" shows (seconds + nanoseconds / 1e9), in
// millionths. printf rounds the exact binary value of the double, and on an
// exact tie it rounds to the even digit. The double lies within 4e-15 of the
// decimal value, so it can only matter when the decimal value is itself a
// tie (nanoseconds ending in 500): elsewhere the decimal value is at least
// 1e-9 from a tie and rounding it half up gives printf's digits. On a tie
// the double may land above, below or exactly on it, so it is built as the
// runtime builds it and its value, mantissa / 2^shift, is rounded with
// integer arithmetic.
uint32_t SecondsInMicros(uint32_t seconds, uint32_t nanos) {
  const uint32_t whole_micros = nanos / 1000;
  const uint32_t rest = nanos - whole_micros * 1000;
  if (rest != 500) return seconds * 1'000'000 + whole_micros + (rest > 500 ? 1 : 0);
  const double value = seconds + nanos / 1e9;
  const uint64_t bits = std::bit_cast<uint64_t>(value);
  const uint64_t mantissa = (bits & ((uint64_t{1} << 52) - 1)) | (uint64_t{1} << 52);
  // 5e-7 <= value < 60, so value = mantissa / 2^shift with shift 47 to 73.
  const int shift = 1075 - static_cast<int>(bits >> 52);
  // X = mantissa * 10^6 / 2^6 = mantissa * 15625 needs up to 67 bits: keep
  // it as high * 2^20 + low, each part well inside 64 bits, so the same code
  // runs on processors without 128-bit integers. micros = X / 2^k.
  const uint64_t a = (mantissa >> 20) * 15625;
  const uint64_t b = (mantissa & 0xFFFFF) * 15625;
  const uint64_t high = a + (b >> 20);
  const uint64_t low = b & 0xFFFFF;
  const int h = shift - 6 - 20;  // 21 to 47
  uint64_t micros = high >> h;
  // The remainder, (rest_high * 2^20 + low) / 2^k, against one half.
  const uint64_t rest_high = high & ((uint64_t{1} << h) - 1);
  const uint64_t half_high = uint64_t{1} << (h - 1);
  const bool above = rest_high > half_high || (rest_high == half_high && low != 0);
  const bool tie = rest_high == half_high && low == 0;
  if (above || (tie && (micros & 1) != 0)) ++micros;
  return static_cast<uint32_t>(micros);
}

// Copies a date text of up to kDateTextSize bytes.
char* CopyDate(char* out, std::string_view date) {
  if (date.size() == 10) {
    std::memcpy(out, date.data(), 10);
    return out + 10;
  }
  const size_t n = std::min(date.size(), kDateTextSize);
  std::memcpy(out, date.data(), n);
  return out + n;
}

}  // namespace

size_t FormatDayDate(int64_t day_number, char* out) {
  const std::chrono::year_month_day date = DateOfDay(day_number);
  char* p = PutYear(out, static_cast<int>(date.year()));
  *p++ = '-';
  p = Put2(p, static_cast<unsigned>(date.month()));
  *p++ = '-';
  p = Put2(p, static_cast<unsigned>(date.day()));
  return static_cast<size_t>(p - out);
}

size_t FormatDate(int64_t timestamp, char* out) {
  if (timestamp == 0) return PutNoTimestamp(out);
  return FormatDayDate(DayOf(timestamp), out);
}

size_t FormatTime(int64_t timestamp, char* out) {
  if (timestamp == 0) return PutNoTimestamp(out);
  int64_t of_day = timestamp % kNanosPerDay;
  if (of_day < 0) of_day += kNanosPerDay;
  // One 64-bit division; the rest fits 32 bits, where dividing by a constant
  // is cheaper.
  const auto second_of_day = static_cast<uint32_t>(of_day / kNanosPerSecond);
  const auto nanos = static_cast<uint32_t>(of_day - int64_t{second_of_day} * kNanosPerSecond);
  const uint32_t minute_of_day = second_of_day / 60;
  const uint32_t micros = SecondsInMicros(second_of_day - minute_of_day * 60, nanos);
  const uint32_t whole_seconds = micros / 1'000'000;  // 60 when 59.999999... rounds up
  const uint32_t fraction = micros - whole_seconds * 1'000'000;
  char* p = Put2(out, minute_of_day / 60);
  *p++ = ':';
  p = Put2(p, minute_of_day % 60);
  *p++ = ':';
  p = Put2(p, whole_seconds);
  *p++ = '.';
  p = Put2(p, fraction / 10'000);
  p = Put2(p, fraction / 100 % 100);
  p = Put2(p, fraction % 100);
  return static_cast<size_t>(p - out);
}

std::string_view DateTextCache::For(int64_t timestamp, int64_t day) {
  if (timestamp == 0) return kNoTimestampText;
  if (day != day_) {
    size_ = FormatDayDate(day, text_);
    day_ = day;
  }
  return std::string_view(text_, size_);
}

size_t FormatUtcTimestamp(int64_t timestamp, DateTextCache* dates, char* out) {
  const int64_t day = DayOf(timestamp);
  const std::string_view date = dates->For(timestamp, day);
  char* p = CopyDate(out, date);
  *p++ = 'T';
  // The remainder on its own: day * kNanosPerDay overflows at the ends of
  // the time stamp's range.
  int64_t of_day = timestamp % kNanosPerDay;
  if (of_day < 0) of_day += kNanosPerDay;
  const auto second_of_day = static_cast<uint32_t>(of_day / kNanosPerSecond);
  const auto nanos = static_cast<uint32_t>(of_day - int64_t{second_of_day} * kNanosPerSecond);
  const uint32_t minute_of_day = second_of_day / 60;
  p = Put2(p, minute_of_day / 60);
  *p++ = ':';
  p = Put2(p, minute_of_day % 60);
  *p++ = ':';
  p = Put2(p, second_of_day - minute_of_day * 60);
  *p++ = '.';
  // 9 digits: a leading digit, then four pairs.
  *p++ = static_cast<char>('0' + nanos / 100'000'000);
  const uint32_t rest = nanos % 100'000'000;
  p = Put2(p, rest / 1'000'000);
  p = Put2(p, rest / 10'000 % 100);
  p = Put2(p, rest / 100 % 100);
  p = Put2(p, rest % 100);
  *p++ = 'Z';
  return static_cast<size_t>(p - out);
}

std::string DateText(int64_t timestamp) {
  char text[kDateTextSize];
  return std::string(text, FormatDate(timestamp, text));
}

std::string TimeText(int64_t timestamp) {
  char text[kTimeTextSize];
  return std::string(text, FormatTime(timestamp, text));
}

std::string TimestampText(int64_t timestamp) {
  char text[kDateTextSize + 1 + kTimeTextSize];
  size_t length = FormatDate(timestamp, text);
  text[length++] = ' ';
  length += FormatTime(timestamp, text + length);
  return std::string(text, length);
}

}  // namespace qorarc
