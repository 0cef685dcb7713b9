// A program started with a standard stream closed ("2>&-", "<&-", ">&-")
// runs as with that stream on /dev/null, except that writes to a closed
// standard output still fail: no file it opens takes the stream's place.
#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "archive/archive_writer.h"
#include "support/program_run.h"

namespace qorarc::testing {
namespace {

const int64_t kDay = DayNumber(2019, 5, 3);

TEST(ClosedStreamsTest, NoFileTakesTheClosedStreamsPlace) {
  TempDir dir;
  const std::string arc = dir.path() + "/arc";
  ArchiveBuilder b;
  b.Day(kDay).Long(TimeOfDay(1, 0, 0), 7, 0).Long(TimeOfDay(2, 0, 0), 7, 1);
  WriteArchiveFile(ArchiveFilePath(arc, kDay, "plant"), b.bytes());
  const std::string csv = "7,0\n7,1\n";
  const std::string out = dir.path() + "/out.csv";
  const std::string log = dir.path() + "/core.log";
  const std::vector<std::string> csv_of_plant = {"-i", arc, "--csv", "-ccf", "5..6", "plant"};
  auto with = [&](std::vector<std::string> before) {
    before.insert(before.end(), csv_of_plant.begin(), csv_of_plant.end());
    return before;
  };

  struct Case {
    const char* what;
    Launch launch;
    std::string file;  // must hold `content` afterwards
    std::string content;
    std::string err;
    int status;
  };
  // The core's log file, enabled with no diagnostics: empty, unless the
  // document goes into it.
  Launch to_full{csv_of_plant, "/dev/full", ""};
  to_full.options.env = {"QORARC_DGN_MESSAGES=0", "QORARC_LOG_FILE_ENABLED=1",
                         "QORARC_LOG_FILE=" + log};
  Launch no_out = to_full;
  no_out.out.clear();
  // Verbose lines and a forced progress line, which must not reach the file.
  Launch no_err{with({"-ve", "-o", out}), "/dev/null", ""};
  no_err.options.env = {"QORARC_PROGRESS=1"};
  no_err.err_closed = true;
  Launch no_in{with({"-o", out}), "/dev/null", ""};
  no_in.in.clear();
  Launch no_in_to_stdin{with({"-o", "/dev/stdin"}), "/dev/null", ""};
  no_in_to_stdin.in.clear();
  const std::string no_stdout = "Failed to write to standard output.\n";
  const Case cases[] = {
      {"standard error closed, messages", no_err, out, csv, "", 0},
      // A closed standard output fails as /dev/full does.
      {"standard output closed, log file", no_out, log, "", no_stdout, 255},
      {"standard output on /dev/full, log file", to_full, log, "", no_stdout, 255},
      {"standard input closed, export", no_in, out, csv, "", 0},
      // /dev/stdin is /dev/null, as with "</dev/null".
      {"standard input closed, -o /dev/stdin", no_in_to_stdin, out, "", "", 0},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    WriteArchiveFile(out, "");
    WriteArchiveFile(log, "");
    const Outcome outcome = RunLaunch(c.launch);
    EXPECT_EQ(ReadFile(c.file), c.content);
    EXPECT_EQ(outcome.err, c.err);
    EXPECT_EQ(outcome.status, c.status);
  }
}

}  // namespace
}  // namespace qorarc::testing
