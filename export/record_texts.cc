#include "export/record_texts.h"

#include "archive/archive_format.h"

namespace qorarc {
namespace {

// State texts by state code (bits 5-7 of the type byte).
constexpr std::string_view kSystemStates[8] = {
    "Date Mark", "Executive events", "Archive events", "????",
    "????",      "????",             "????",           "????",
};
constexpr std::string_view kEdgeStates[8] = {
    "H->L", "L->H", "?2??", "?3??", "?4??", "?5??", "?6??", "?7??",
};
constexpr std::string_view kLimitStates[8] = {
    "Lo  ", "Hi  ", "LoLo", "HiHi", "data", "?5??", "?6??", "?7??",
};
constexpr std::string_view kLogClassStates[8] = {
    "Norm", "LogF", "Arch", "User", "?4??", "?5??", "?6??", "SYST",
};
constexpr std::string_view kAcknowledgeStates[8] = {
    "Lo/L", "Hi/H", "LoLo", "HiHi", "?4??", "?5??", "?6??", "?7??",
};

// A log record's count byte c holds the source in c / 10 and the level in
// c % 10. Level codes 7 to 9 have no name of their own.
constexpr int kLevelCodes = 70;
constexpr std::string_view kLogSources[7] = {
    "", "Os ", "Core ", "Diagnostic ", "Block ", "Archive ", "IODriver ",
};
constexpr std::string_view kLogLevels[10] = {
    "Unknown", "Write", "Read", "Verbose", "Info",
    "Warning", "Error", "Unknown", "Unknown", "Unknown",
};

// Every source and level pair joined once, at compile time, so that the
// level text is a view of static storage.
struct LevelTexts {
  static constexpr size_t kLongest = 18;  // "Diagnostic Verbose"
  char text[kLevelCodes][kLongest];
  uint8_t size[kLevelCodes];

  constexpr LevelTexts() : text(), size() {
    for (int c = 0; c < kLevelCodes; ++c) {
      size_t n = 0;
      for (char ch : kLogSources[c / 10]) text[c][n++] = ch;
      for (char ch : kLogLevels[c % 10]) text[c][n++] = ch;
      size[c] = static_cast<uint8_t>(n);
    }
  }
};
constexpr LevelTexts kLevelTexts;

}  // namespace

std::string_view ClassText(int code) {
  if (code < 0 || code >= 32) return "????????";
  return kValueCodes[code].class_text;
}

std::string_view TypeText(uint8_t type) {
  const int state = type >> 5;
  switch (type & 0x1F) {
    case 0:
      return kSystemStates[state];
    case 1:
      return kEdgeStates[state];
    case 12:
      return kLogClassStates[state];
    case 31:
      return kAcknowledgeStates[state];
    default:  // the numeric alarms, the arrays and the unused codes
      return kLimitStates[state];
  }
}

std::string_view LevelText(uint8_t count) {
  if (count >= kLevelCodes) return kLogLevels[0];
  return std::string_view(kLevelTexts.text[count], kLevelTexts.size[count]);
}

}  // namespace qorarc
