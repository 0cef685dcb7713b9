#include "core/dprint.h"

#include <pthread.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <ctime>

namespace qorarc {

namespace {

std::atomic<uint32_t> g_mask{kDefaultMessageMask};

// Serialises all output, so that lines of different threads never
// interleave, and guards the log file handle.
pthread_mutex_t g_output_mutex = PTHREAD_MUTEX_INITIALIZER;
FILE* g_log_file = nullptr;

constexpr char kTruncatedMarker[] = " ... [TRUNCATED]";
constexpr char kEncodingError[] = "dPrint encountered an encoding error";

// Seconds from 1970-01-01 to 2000-01-01, both UTC.
constexpr int64_t kUnixSecondsAt2000 = 946684800;
constexpr int64_t kNanosecondsPerSecond = 1000000000;
constexpr int64_t kSecondsPerDay = 86400;

// Only called for a level with a bit in the operating-system or core field,
// so one of the four severities is always set.
const char* SeverityPrefix(uint32_t level) {
  if (level & kSeverityError) return "[ ERROR ] ";
  if (level & kSeverityWarning) return "[WARNING] ";
  if (level & kSeverityInfo) return "[ INFO  ] ";
  return "[VERBOSE] ";
}

int64_t FloorDivide(int64_t value, int64_t divisor) {
  int64_t quotient = value / divisor;
  return (value % divisor < 0) ? quotient - 1 : quotient;
}

struct CivilDate {
  int year;
  int month;
  int day;
};

// Proleptic Gregorian date of a day counted from 1970-01-01, exact for any
// day (eras of 400 years, years starting on 1 March).
CivilDate CivilFromDays(int64_t days) {
  days += 719468;
  int64_t era = FloorDivide(days, 146097);
  int64_t day_of_era = days - era * 146097;
  int64_t year_of_era =
      (day_of_era - day_of_era / 1460 + day_of_era / 36524 - day_of_era / 146096) / 365;
  int64_t day_of_year = day_of_era - (365 * year_of_era + year_of_era / 4 - year_of_era / 100);
  int64_t month_index = (5 * day_of_year + 2) / 153;  // 0 is March
  int day = static_cast<int>(day_of_year - (153 * month_index + 2) / 5 + 1);
  int month = static_cast<int>(month_index < 10 ? month_index + 3 : month_index - 9);
  int64_t year = year_of_era + era * 400 + (month <= 2 ? 1 : 0);
  return {static_cast<int>(year), month, day};
}

}  // namespace

uint32_t MessageMask() { return g_mask.load(std::memory_order_relaxed); }

void SetMessageMask(uint32_t mask) { g_mask.store(mask, std::memory_order_relaxed); }

LevelPrefixes PrefixesOf(uint32_t level) {
  if (level & 0x0000000F) return {"[ OS    ]", SeverityPrefix(level)};
  if (level & 0x000000F0) return {"[ CORE  ]", SeverityPrefix(level)};
  // Block messages know only two labels besides errors: the single level
  // 0x2000 is a warning, everything else (verbose included) reads as info.
  if (level & kSeverityError) return {"[ BLOCK ]", "[ ERROR ] "};
  if (level == 0x2000) return {"[ BLOCK ]", "[WARNING] "};
  return {"[ BLOCK ]", "[ INFO  ] "};
}

void FormatDiagnostic(char* buffer, const char* format, va_list args) {
  int length = std::vsnprintf(buffer, kMessageBufferSize, format, args);
  if (length < 0) {
    std::snprintf(buffer, kMessageBufferSize, "%s", kEncodingError);
    return;
  }
  if (static_cast<size_t>(length) >= kMessageBufferSize)
    std::memcpy(buffer + kMessageBufferSize - sizeof kTruncatedMarker, kTruncatedMarker,
                sizeof kTruncatedMarker);
}

size_t FormatLogTimestamp(int64_t nanoseconds, char* buffer) {
  int64_t seconds = FloorDivide(nanoseconds, kNanosecondsPerSecond);
  int64_t fraction = nanoseconds - seconds * kNanosecondsPerSecond;
  int64_t days = FloorDivide(seconds, kSecondsPerDay);
  int64_t second_of_day = seconds - days * kSecondsPerDay;
  CivilDate date = CivilFromDays(days + kUnixSecondsAt2000 / kSecondsPerDay);
  int hour = static_cast<int>(second_of_day / 3600);
  int minute = static_cast<int>(second_of_day / 60 % 60);
  double second = static_cast<double>(second_of_day % 60) +
                  static_cast<double>(fraction) / kNanosecondsPerSecond;
  int length = std::snprintf(buffer, kLogTimestampSize, "%4i%c%02i%c%02i %02i%c%02i%c%0*.*f",
                             date.year, '-', date.month, '-', date.day, hour, ':', minute, ':', 6,
                             3, second);
  return length < 0 ? 0 : std::min(static_cast<size_t>(length), kLogTimestampSize - 1);
}

int OpenLogFile(const char* path) {
  if (pthread_mutex_lock(&g_output_mutex) != 0) return EBUSY;
  if (g_log_file != nullptr) std::fclose(g_log_file);
  g_log_file = std::fopen(path, "at");
  int error = g_log_file == nullptr ? errno : 0;
  pthread_mutex_unlock(&g_output_mutex);
  return error;
}

bool LogFileIsOpen() {
  pthread_mutex_lock(&g_output_mutex);
  bool open = g_log_file != nullptr;
  pthread_mutex_unlock(&g_output_mutex);
  return open;
}

void CloseLogFile() {
  if (pthread_mutex_lock(&g_output_mutex) != 0) return;
  if (g_log_file != nullptr) std::fclose(g_log_file);
  g_log_file = nullptr;
  pthread_mutex_unlock(&g_output_mutex);
}

void WriteStartBanner() {
  std::time_t now = std::time(nullptr);
  std::tm local{};
  char date[32] = "";
  if (localtime_r(&now, &local) == nullptr ||
      std::strftime(date, sizeof date, "%c", &local) == 0)
    date[0] = '\0';
  dPrint(kLevelCoreInfo, "****** Start of QOR diagnostics: Date: %s ******\n", date);
}

void dPrint(uint32_t level, const char* format, ...) {
  va_list args;
  va_start(args, format);
  vdPrint(level, format, args);
  va_end(args);
}

void vdPrint(uint32_t level, const char* format, va_list args) {
  uint32_t mask = MessageMask();
  if (mask == 0) return;
  if (pthread_mutex_lock(&g_output_mutex) != 0) return;
  char text[kMessageBufferSize];
  FormatDiagnostic(text, format, args);
  LevelPrefixes prefixes = PrefixesOf(level);
  // Write errors are ignored: diagnostics must never disturb the run.
  if ((mask & kMaskLogFile) && g_log_file != nullptr) {
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    char stamp[kLogTimestampSize];
    FormatLogTimestamp((now.tv_sec - kUnixSecondsAt2000) * kNanosecondsPerSecond + now.tv_nsec,
                       stamp);
    std::fprintf(g_log_file, "%s %s%s%s", stamp, prefixes.source, prefixes.severity, text);
    std::fflush(g_log_file);
  }
  if (mask & kMaskConsole) std::fprintf(stdout, "%s%s%s", prefixes.source, prefixes.severity, text);
  pthread_mutex_unlock(&g_output_mutex);
}

}  // namespace qorarc
