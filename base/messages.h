// Messages to the user: every error, warning and verbose line goes to
// standard error as one line. Verbose lines appear only in verbose mode.
#pragma once

#include <cstdio>
#include <cstring>
#include <string>
#include <string_view>

namespace qorarc {

// Set by the option parser when "-ve"/"--verbose" is given; read everywhere.
inline bool g_verbose = false;

// True while a status line (the progress of an export) stands on standard
// error without a line feed; the next message line first clears it.
inline bool g_status_line_shown = false;

// Carriage return and "erase to the end of the line": clears a status line.
inline constexpr std::string_view kClearStatusLine = "\r\x1b[K";

// Writes text and a line feed to standard error in one piece, so that lines
// never interleave with other output.
inline void ErrorLine(std::string_view text) {
  std::string line;
  line.reserve(kClearStatusLine.size() + text.size() + 1);
  if (g_status_line_shown) {
    line.append(kClearStatusLine);
    g_status_line_shown = false;
  }
  line.append(text).push_back('\n');
  std::fwrite(line.data(), 1, line.size(), stderr);
}

inline void VerboseLine(std::string_view text) {
  if (g_verbose) ErrorLine(text);
}

// Archive data that could not be read, always shown: the file or directory
// and the system's reason for `error_number` (an errno value).
inline std::string ReadFailedText(std::string_view path, int error_number) {
  std::string line = "Failed to read '";
  line.append(path).append("': ").append(std::strerror(error_number)).push_back('.');
  return line;
}
inline void ReadFailedLine(std::string_view path, int error_number) {
  ErrorLine(ReadFailedText(path, error_number));
}

}  // namespace qorarc
