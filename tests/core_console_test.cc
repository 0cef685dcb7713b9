// The runtime core's diagnostics as a user sees them: console lines around
// the program's own output, the log file, and silence by default.
#include <gtest/gtest.h>

#include <cstdlib>
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
const char kBanner[] =
    "\\[ CORE  \\]\\[ INFO  \\] \\*{6} Start of QOR diagnostics: Date: .+ \\*{6}\n";

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

bool Matches(const std::string& text, const std::string& pattern) {
  return std::regex_match(text, std::regex(pattern));
}

class CoreConsoleTest : public ::testing::Test {
 protected:
  // The settings come from the environment, which the program inherits.
  void SetUp() override {
    unsetenv("QORARC_DGN_MESSAGES");
    unsetenv("QORARC_LOG_FILE");
    unsetenv("QORARC_LOG_FILE_ENABLED");
  }
};

// Silent by default, and with a mask that is not a number.
TEST_F(CoreConsoleTest, DefaultIsSilent) {
  for (const std::vector<std::string>& env :
       {std::vector<std::string>{}, {"QORARC_DGN_MESSAGES=0x4000 00C0"}}) {
    TempDir dir;
    ProgramResult result = RunQorArc({"--version"}, {env, dir.path()});
    EXPECT_EQ(result.status, 0);
    EXPECT_TRUE(Matches(result.out, kVersionOutput)) << result.out;
    EXPECT_EQ(result.err, "");
    // No log file either.
    EXPECT_TRUE(std::filesystem::is_empty(dir.path()));
  }
}

TEST_F(CoreConsoleTest, ConsoleLinesSurroundTheProgramOutput) {
  ProgramResult result = RunQorArc({"--version"}, {{"QORARC_DGN_MESSAGES=0x400000C0"}, ""});
  EXPECT_EQ(result.status, 0);
  EXPECT_TRUE(Matches(result.out, Literal(kStartLines) + kVersionOutput + Literal(kStopLines)))
      << result.out;
  EXPECT_EQ(result.err, "");
}

TEST_F(CoreConsoleTest, LogFileWithTheWholeSequenceIsAppendedTo) {
  TempDir dir;
  std::string path = dir.path() + "/diag.log";
  ProgramOptions options{{"QORARC_DGN_MESSAGES=0x200000C0", "QORARC_LOG_FILE=" + path}, ""};
  for (int run = 0; run < 2; ++run) {
    ProgramResult result = RunQorArc({"--version"}, options);
    EXPECT_TRUE(Matches(result.out, kVersionOutput)) << result.out;
    EXPECT_EQ(result.err, "");
  }
  std::string one_run = std::string(kLogTime) + kBanner + TimedLines(kStartLines) +
                        TimedLines(kStopLines);
  std::string log = ReadFile(path);
  EXPECT_TRUE(Matches(log, one_run + one_run)) << log;
}

TEST_F(CoreConsoleTest, UnopenableLogFileIsReportedAndTheRunGoesOn) {
  ProgramResult result = RunQorArc(
      {"--version"},
      {{"QORARC_DGN_MESSAGES=0x600000C0", "QORARC_LOG_FILE=/nonexistent-qorarc/diag.log"}, ""});
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.err,
            "Unable to open log file /nonexistent-qorarc/diag.log: No such file or directory\n");
  // Start-up ends before the version line; shutdown still reports itself.
  EXPECT_TRUE(Matches(result.out, kVersionOutput + Literal(kStopLines))) << result.out;
}

}  // namespace
}  // namespace qorarc::testing
