// The progress line of long exports: shown on a terminal (or when forced,
// then as plain lines when standard error is no terminal), never mixed into
// the messages, replaced by a closing line at the end, and absent when
// standard error is not a terminal.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <regex>
#include <string>

#include "archive/archive_writer.h"
#include "support/program_run.h"

namespace qorarc::testing {
namespace {

// Two days of "plant", `per_day` Doubles each.
std::string WriteArchive(const std::string& dir, int per_day) {
  const std::string root = dir + "/arc";
  for (int64_t day = DayNumber(2019, 12, 30); day <= DayNumber(2019, 12, 31); ++day) {
    ArchiveBuilder b;
    b.Day(static_cast<uint32_t>(day));
    for (int i = 0; i < per_day; ++i) b.Double(int64_t{i} * 1000, 7, i * 0.5);
    WriteArchiveFile(ArchiveFilePath(root, day, "plant"), b.bytes());
  }
  return root;
}

const std::string kStatus =
    "[0-9]+ items, files [0-9]+/2, [0-9.]+/[0-9.]+ MB \\([0-9]+%\\), [0-9.]+ M/s, "
    "[0-9]+:[0-9]{2} elapsed(, [0-9]+:[0-9]{2} left)?";
const std::regex kStatusLine("\r" + kStatus + "\x1b\\[K");
const std::regex kLogLine(kStatus + "\n");

// Standard error here is a pipe, as a log file would be: the status is
// plain lines, without carriage returns or escape codes. The closing line
// counts the items written, not those counted past the limit for the total.
TEST(ProgressTest, ForcedIntoALogIsPlainLines) {
  TempDir dir;
  const std::string arc = WriteArchive(dir.path(), 50);
  const std::vector<std::string> args = {"-ve", "-i",   arc, "-ic", "30", "-itc",
                                         "-o",  dir.path() + "/out", "plant"};
  const ProgramResult quiet = RunQorArc(args);
  const ProgramResult shown = RunQorArc(args, {{"QORARC_PROGRESS=1"}, ""});
  EXPECT_EQ(shown.status, 0);
  EXPECT_EQ(shown.err.find_first_of("\r\x1b"), std::string::npos) << shown.err;
  EXPECT_TRUE(std::regex_search(shown.err, kLogLine)) << shown.err;
  // Without the status lines, the messages are those of a run without
  // progress, and the closing line follows them.
  EXPECT_EQ(std::regex_replace(shown.err, kLogLine, ""),
            quiet.err + "Exported 30 items from 2 files (0.0 MB) in 0:00.\n");
  EXPECT_EQ(RunQorArc(args, {{"QORARC_PROGRESS=0"}, ""}).err, quiet.err);
}

// On a real terminal, with the document going to a pipe that is read only
// after a while, so that the export runs for more than a second.
TEST(ProgressTest, ShownOnATerminal) {
  if (std::system("command -v script >/dev/null 2>&1") != 0) GTEST_SKIP() << "no script(1)";
  TempDir dir;
  const std::string arc = WriteArchive(dir.path(), 60000);
  const std::string command = "script -qec \"" + QorArcPath() + " -i " + arc +
                              " plant | (sleep 1.5; cat >/dev/null)\" /dev/null";
  const std::string out = RunShell(command);
  EXPECT_TRUE(std::regex_search(out, kStatusLine)) << out;
  EXPECT_TRUE(std::regex_search(out, std::regex("\r\x1b\\[KExported 120000 items from 2 files "
                                                "\\(2\\.2 MB\\) in [0-9]+:[0-9]{2}\\.\r\n$")))
      << out;
}

}  // namespace
}  // namespace qorarc::testing
