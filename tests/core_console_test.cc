// The runtime core's diagnostics as a user sees them: console lines around
// the program's own output, the log file, and silence by default.
#include <gtest/gtest.h>

#include <filesystem>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

#include "support/program_run.h"

namespace qorarc::testing {
namespace {

const char kVersionOutput[] = "Date: \\d{4}-\\d{2}-\\d{2}\nVersion: 3\\.0\\.5\\.17331\n";

const char kStartLines[] =
    "[ CORE  ][VERBOSE] Initializing Version\n"
    "[ CORE  ][ INFO  ] QorCore version: 3.0.5 revision 17331-final\n"
    "[ CORE  ][VERBOSE] Initializing Platform\n"
    "[ CORE  ][VERBOSE] Initializing GObject\n"
    "[ CORE  ][VERBOSE] Initializing GStream\n"
    "[ CORE  ][VERBOSE] Initializing XRTObject\n"
    "[ CORE  ][VERBOSE] Initializing XBlock\n"
    "[ CORE  ][VERBOSE] Initializing XSequence\n"
    "[ CORE  ][VERBOSE] Initializing XTask\n"
    "[ CORE  ][VERBOSE] Initializing XExecutive\n"
    "[ CORE  ][VERBOSE] Initializing ACore\n"
    "[ CORE  ][VERBOSE] Initializing DCore\n"
    "[ CORE  ][VERBOSE] Registering Globals\n"
    "[ CORE  ][VERBOSE] Initializing Pseudoblocks\n";

const char kStopLines[] =
    "[ CORE  ][VERBOSE] Exiting Core\n"
    "[ CORE  ][VERBOSE] Exiting DCore\n"
    "[ CORE  ][VERBOSE] Exiting ACore\n"
    "[ CORE  ][VERBOSE] Exiting Globals\n"
    "[ CORE  ][VERBOSE] Exiting XCore\n"
    "[ CORE  ][VERBOSE] Core halted\n";

const char kLogTime[] = "\\d{4}-\\d{2}-\\d{2} \\d{2}:\\d{2}:\\d{2}\\.\\d{3} ";
// The date as "%c" gives it in the C locale: "Thu Nov 12 17:49:42 2026".
const char kBanner[] =
    "\\[ CORE  \\]\\[ INFO  \\] \\*{6} Start of QOR diagnostics: "
    "Date: \\w{3} \\w{3} [ \\d]\\d \\d{2}:\\d{2}:\\d{2} \\d{4} \\*{6}\n";

// `text` as a regular expression that matches only itself.
std::string Literal(const std::string& text) {
  return std::regex_replace(text, std::regex("[\\[\\]().*+?^$\\\\|{}]"), "\\$&");
}

// Every line of `lines` as a log file line, each with its time.
std::string TimedLines(const char* lines) {
  std::istringstream in(lines);
  std::string pattern;
  for (std::string line; std::getline(in, line);) pattern += kLogTime + Literal(line) + "\n";
  return pattern;
}

// Runs `QorArc --version` twice in a fresh directory with no settings but `env`.
// `out` and `log` (one run's log file lines; empty: no file) are regular expressions.
void ExpectRuns(std::vector<std::string> env, const std::string& out, const std::string& err,
                const std::string& log) {
  env.insert(env.begin(), {"QORARC_DGN_MESSAGES", "QORARC_LOG_FILE", "QORARC_LOG_FILE_ENABLED"});
  TempDir dir;
  for (int run = 0; run < 2; ++run) {
    ProgramResult result = RunQorArc({"--version"}, {env, dir.path()});
    EXPECT_EQ(result.status, 0);
    EXPECT_TRUE(std::regex_match(result.out, std::regex(out))) << result.out;
    EXPECT_EQ(result.err, err);
  }
  // Appended to: the second run adds its lines.
  const std::string text = ReadFile(dir.path() + "/qorcore.log");
  EXPECT_TRUE(std::regex_match(text, std::regex(log + log))) << text;
  EXPECT_EQ(std::filesystem::is_empty(dir.path()), log.empty());
}

TEST(CoreConsoleTest, SilentByDefault) {
  ExpectRuns({}, kVersionOutput, "", "");
}

// The log file is in the working directory by default; only its lines have a
// time.
TEST(CoreConsoleTest, ConsoleAndLogFileLines) {
  ExpectRuns({"QORARC_DGN_MESSAGES=0x600000C0"},
             kBanner + Literal(kStartLines) + kVersionOutput + Literal(kStopLines), "",
             std::string(kLogTime) + kBanner + TimedLines(kStartLines) + TimedLines(kStopLines));
}

// Start-up ends before the version line; the run goes on and shutdown still
// reports itself.
TEST(CoreConsoleTest, UnopenableLogFileIsReported) {
  ExpectRuns({"QORARC_DGN_MESSAGES=0x600000C0", "QORARC_LOG_FILE=/nonexistent-qorarc/diag.log"},
             kVersionOutput + Literal(kStopLines),
             "Unable to open log file /nonexistent-qorarc/diag.log: No such file or directory\n",
             "");
}

}  // namespace
}  // namespace qorarc::testing
