// Text forms of time stamps, record classes, types, levels and values, and
// the parser of date-time texts.
//
// A time stamp is a signed count of nanoseconds since 2000-01-01 00:00:00;
// 0 means "no time stamp" and prints as "---".
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "export/export_item.h"

namespace qorarc {

// Buffer sizes that hold the longest text of each Format* function. The
// functions write no terminator.
inline constexpr size_t kDateTextSize = 16;
inline constexpr size_t kTimeTextSize = 24;
inline constexpr size_t kRealTextSize = 32;

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
// day. The day number must lie within the years -32767 to 32767 (about
// +-12 million days), the range of std::chrono's calendar.
size_t FormatDayDate(int64_t day_number, char* out);

// The day number of a time stamp (0 is 2000-01-01; earlier days negative).
int64_t DayOf(int64_t timestamp);

// The same texts as strings.
std::string DateText(int64_t timestamp);
std::string TimeText(int64_t timestamp);
// Date, one blank, time: "2019-05-03 00:00:00.000000".
std::string TimestampText(int64_t timestamp);

// Record texts; views of static storage.
// The record type name of a value type code (0-31; others give "????????"),
// without the blanks the runtime pads it with: "GrDouble", "AlBool".
std::string_view ClassText(int code);
// The state text of a type byte (code in bits 0-4, state in bits 5-7), four
// characters except for system records: "HiHi", "Lo  ", "Date Mark".
std::string_view TypeText(uint8_t type);
// The level text of a log record (code 12) from its count byte c: the source
// c / 10 followed by the level c % 10, "Core Warning" for 25, "Error" for 6;
// "Unknown" for c >= 70.
std::string_view LevelText(uint8_t count);

// Element accessors; i counts from 0. Codes without such elements give -1,
// -1.0 and false.
int32_t IntegerElement(const ItemValue& value, int i);
double RealElement(const ItemValue& value, int i);
bool FlagElement(const ItemValue& value, int i);

// Shortest text that reads back to the same double, laid out as RapidJSON's
// Writer::Double lays it out ("0.0", "1e30", "1.234e-7"). The value must be
// finite. Returns the length.
size_t FormatReal(double value, char* out);

// The runtime's result code "Invalid format", given for refused texts.
inline constexpr int kInvalidTimestampFormat = -311;

// Parses "YYYY-MM-DD" optionally followed by one blank and "HH:MM:SS" with an
// optional fraction of 1 to 9 digits after ',' or '.'; a date alone is the
// start of that day. Returns 0 and sets *timestamp, or returns
// kInvalidTimestampFormat and leaves *timestamp alone: for another layout,
// trailing text, a date that is not in the calendar, hours above 23, minutes
// or seconds above 59, or an instant outside the time stamp's range (about
// 1707-09-22 to 2292-04-10).
int ParseTimestamp(std::string_view text, int64_t* timestamp);

// True when a parse result counts as success: 0, or a warning-class code
// (negative, but -99 or above once bit 0x4000 is set).
inline bool TimestampAccepted(int code) {
  return code >= 0 || static_cast<int16_t>(code | 0x4000) >= -99;
}

}  // namespace qorarc
