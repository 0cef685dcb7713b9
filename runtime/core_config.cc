#include "runtime/core_config.h"

#include <charconv>
#include <cstdint>
#include <cstdlib>

#include "runtime/dprint.h"

namespace qorarc {

namespace {

std::string& LogFilePathStorage() {
  static std::string path = kDefaultLogFile;
  return path;
}

// A whole 32-bit unsigned number, decimal or with a "0x"/"0X" prefix in
// hexadecimal; no signs, blanks or trailing characters.
bool ParseMask(std::string_view text, uint32_t* mask) {
  int base = 10;
  if (text.size() > 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X')) {
    text.remove_prefix(2);
    base = 16;
  }
  if (text.empty() || text[0] == '+' || text[0] == '-') return false;
  const char* end = text.data() + text.size();
  auto [stop, error] = std::from_chars(text.data(), end, *mask, base);
  return error == std::errc() && stop == end;
}

struct EnvironmentKey {
  const char* variable;
  const char* key;
};

// In the order they are applied.
constexpr EnvironmentKey kEnvironmentKeys[] = {
    {"QORARC_DGN_MESSAGES", "dgn.messages"},
    {"QORARC_LOG_FILE", "log.file"},
    {"QORARC_LOG_FILE_ENABLED", "log.file.enabled"},
};

}  // namespace

bool SetCoreConfigValue(std::string_view key, std::string_view value) {
  if (key == "dgn.messages") {
    uint32_t mask = 0;
    if (!ParseMask(value, &mask)) return false;
    SetMessageMask(mask);
    return true;
  }
  if (key == "log.file") {
    if (value.empty()) return false;
    LogFilePathStorage() = value;
    return true;
  }
  if (key == "log.file.enabled") {
    if (value == "1") {
      SetMessageMask(MessageMask() | kMaskLogFile);
    } else if (value == "0") {
      SetMessageMask(MessageMask() & ~kMaskLogFile);
    } else {
      return false;
    }
    return true;
  }
  return false;
}

void LoadCoreConfigFromEnvironment() {
  // Diagnostics are off unless asked for, and a bad value must not make the
  // tool print anything it would not print otherwise, so it is dropped
  // silently (docs/diagnostics.md says so).
  for (const EnvironmentKey& entry : kEnvironmentKeys) {
    const char* value = std::getenv(entry.variable);
    if (value != nullptr) SetCoreConfigValue(entry.key, value);
  }
}

const std::string& LogFilePath() { return LogFilePathStorage(); }

}  // namespace qorarc
