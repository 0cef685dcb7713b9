#include "runtime/dprint.h"

#include <pthread.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <ctime>

#include "base/time_base.h"

namespace qorarc {

namespace {

std::atomic<uint32_t> g_mask{kDefaultMessageMask};

// Serialises all output, so that lines of different threads never
// interleave, and guards the log file handle.
pthread_mutex_t g_output_mutex = PTHREAD_MUTEX_INITIALIZER;
FILE* g_log_file = nullptr;

constexpr char kTruncatedMarker[] = " ... [TRUNCATED]";
constexpr char kEncodingError[] = "dPrint encountered an encoding error";

// Seconds from 1970-01-01 to the time base, both UTC.
constexpr int64_t kUnixSecondsAtTimeBase =
    std::chrono::duration_cast<std::chrono::seconds>(kTimeBase.time_since_epoch()).count();

// Only called for a level with a bit in the operating-system or core field,
// so one of the four severities is always set.
const char* SeverityPrefix(uint32_t level) {
  if (level & kSeverityError) return "[ ERROR ] ";
  if (level & kSeverityWarning) return "[WARNING] ";
  if (level & kSeverityInfo) return "[ INFO  ] ";
  return "[VERBOSE] ";
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
  int64_t seconds = FloorDiv(nanoseconds, kNanosPerSecond);
  int64_t fraction = nanoseconds - seconds * kNanosPerSecond;
  int64_t days = DayOf(nanoseconds);
  int64_t second_of_day = seconds - days * (kNanosPerDay / kNanosPerSecond);
  const std::chrono::year_month_day date = DateOfDay(days);
  int hour = static_cast<int>(second_of_day / 3600);
  int minute = static_cast<int>(second_of_day / 60 % 60);
  double second = static_cast<double>(second_of_day % 60) +
                  static_cast<double>(fraction) / kNanosPerSecond;
  int length = std::snprintf(buffer, kLogTimestampSize, "%4i%c%02i%c%02i %02i%c%02i%c%0*.*f",
                             static_cast<int>(date.year()), '-', static_cast<int>(static_cast<unsigned>(date.month())), '-',
                             static_cast<int>(static_cast<unsigned>(date.day())), hour, ':', minute, ':', 6,
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
    FormatLogTimestamp((now.tv_sec - kUnixSecondsAtTimeBase) * kNanosPerSecond + now.tv_nsec,
                       stamp);
    std::fprintf(g_log_file, "%s %s%s%s", stamp, prefixes.source, prefixes.severity, text);
    std::fflush(g_log_file);
  }
  if (mask & kMaskConsole) std::fprintf(stdout, "%s%s%s", prefixes.source, prefixes.severity, text);
  pthread_mutex_unlock(&g_output_mutex);
}

}  // namespace qorarc
