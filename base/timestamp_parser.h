// The parser of date-time texts: "-ft1"/"-ft2" values and the day texts that
// discovery builds from directory and file names.
#pragma once

#include <cstdint>
#include <string_view>

namespace qorarc {

// Parses "YYYY-MM-DD" optionally followed by one blank and "HH:MM:SS" with an
// optional fraction of 1 to 9 digits after ',' or '.'; a date alone is the
// start of that day. Returns true and sets *timestamp (nanoseconds since the
// time base, base/time_base.h), or returns false and leaves *timestamp alone:
// for another layout, trailing text, a date that is not in
// the calendar, hours above 23, minutes or seconds above 59, or an instant
// outside the time stamp's range (about 1707-09-22 to 2292-04-10).
bool ParseTimestamp(std::string_view text, int64_t* timestamp);

// ParseTimestamp for the "-ft1"/"-ft2" values, which also take "T" instead
// of the blank, a time of hours and minutes only ("2019-12-31 10:00"), and a
// "Z" after a time (the time base is the exports' own): the "ts" texts of
// the exports and the scan's dates read back as bounds. Discovery's day
// texts keep to ParseTimestamp.
bool ParseTimeBound(std::string_view text, int64_t* timestamp);

}  // namespace qorarc
