// The core configuration keys that govern diagnostics, and the environment
// variables through which the command-line tool receives them.
//
//   key                environment variable       value
//   "dgn.messages"     QORARC_DGN_MESSAGES        the message mask, decimal
//                                                 or 0x-hexadecimal
//   "log.file"         QORARC_LOG_FILE            path of the log file
//   "log.file.enabled" QORARC_LOG_FILE_ENABLED    "1" sets, "0" clears the
//                                                 mask's log-file bit
#pragma once

#include <string>
#include <string_view>

namespace qorarc {

// Default log file, relative to the working directory.
inline constexpr char kDefaultLogFile[] = "qorcore.log";

// Applies one key. Returns false, changing nothing, for an unknown key or a
// value that is not valid for it.
bool SetCoreConfigValue(std::string_view key, std::string_view value);

// Applies the environment variables that are set, the mask before the
// log-file switch so that the switch wins. Invalid values are ignored.
void LoadCoreConfigFromEnvironment();

// Path of the log file ("log.file").
const std::string& LogFilePath();

}  // namespace qorarc
