// Diagnostics of the runtime: every message goes through dPrint, filtered by
// one process-wide message mask, to a log file, the console, both or neither.
//
// A level word has six 4-bit source fields (bits 0-3 operating-system layer,
// 4-7 core, 8-23 blocks and other runtime parts), each with the severity bits
// error, warning, info and verbose from the lowest bit up. The low 24 bits of
// the mask use the same layout and say which messages are wanted; callers
// test `MessageMask() & level` themselves before calling dPrint.
#pragma once

#include <cstdarg>
#include <cstddef>
#include <cstdint>

namespace qorarc {

// Level words the core writes with.
inline constexpr uint32_t kLevelCoreError = 0x10;
inline constexpr uint32_t kLevelCoreInfo = 0x40;
inline constexpr uint32_t kLevelCoreVerbose = 0x80;

// One severity over all six source fields.
inline constexpr uint32_t kSeverityError = 0x111111;
inline constexpr uint32_t kSeverityWarning = 0x222222;
inline constexpr uint32_t kSeverityInfo = 0x444444;
inline constexpr uint32_t kSeverityVerbose = 0x888888;

// Output bits of the mask.
inline constexpr uint32_t kMaskLogFile = 0x20000000;
inline constexpr uint32_t kMaskConsole = 0x40000000;

// Core errors, warnings and info, block errors and warnings (plus info in
// bits 12-15), nothing of the operating-system layer, and no output bit: by
// default diagnostics are silent.
inline constexpr uint32_t kDefaultMessageMask = 0x337370;

// The mask is read without a lock; set it before the core starts.
uint32_t MessageMask();
void SetMessageMask(uint32_t mask);

// The texts written before a message: a 9-character source prefix and a
// severity prefix of 10 characters.
struct LevelPrefixes {
  const char* source;
  const char* severity;
};
LevelPrefixes PrefixesOf(uint32_t level);

// Formats one message into `buffer` of kMessageBufferSize bytes. A message
// that does not fit ends in " ... [TRUNCATED]" and is 2047 characters long;
// an encoding error leaves "dPrint encountered an encoding error".
inline constexpr size_t kMessageBufferSize = 2048;
void FormatDiagnostic(char* buffer, const char* format, va_list args);

// Formats nanoseconds since 2000-01-01 00:00:00 UTC as the log file's line
// time, "2026-11-12 17:49:42.123", into `buffer` of kLogTimestampSize bytes.
// Returns the length.
inline constexpr size_t kLogTimestampSize = 32;
size_t FormatLogTimestamp(int64_t nanoseconds, char* buffer);

// Opens the log file for appending. Returns 0 or the errno value of the
// failure. Any file opened before is closed first.
int OpenLogFile(const char* path);
bool LogFileIsOpen();
void CloseLogFile();

// Logs "****** Start of QOR diagnostics: Date: <local time> ******" at level
// kLevelCoreInfo.
void WriteStartBanner();

// Writes one message, which carries its own line end. Nothing happens when
// the mask is 0; otherwise the output bits of the mask choose the outputs.
void dPrint(uint32_t level, const char* format, ...)
    __attribute__((format(printf, 2, 3)));
void vdPrint(uint32_t level, const char* format, va_list args)
    __attribute__((format(printf, 2, 0)));

}  // namespace qorarc
