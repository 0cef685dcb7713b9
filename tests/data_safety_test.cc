// No data lost without a sign, end to end: archive data that cannot be read
// is reported and gives status 2; an output file is replaced whole or not at
// all, whatever ends the export; a failed write ends the export at once.
#include <sys/stat.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <csignal>
#include <cstdint>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include "archive/archive_writer.h"
#include "support/program_run.h"

namespace qorarc::testing {
namespace {

namespace fs = std::filesystem;

const int64_t kDay = DayNumber(2019, 5, 3);

std::string PlantFile(const std::string& root, int64_t day) {
  return ArchiveFilePath(root, day, "plant");
}

// A day file of `n` Long items of ID `id`, values 0 to n - 1.
std::string LongItems(int64_t day, uint16_t id, int32_t n) {
  ArchiveBuilder b;
  b.Day(static_cast<uint32_t>(day));
  for (int32_t i = 0; i < n; ++i) b.Long(TimeOfDay(1, 0, 0), id, i);
  return b.bytes();
}

std::string NotReadable(const std::string& path) {
  return "Failed to read '" + path + "': Permission denied.\n";
}

// An archive of day files in 2019-05, 2019-06 and 2020-01, one item each,
// with one entry made unreadable to user 65534: what the others still give,
// and the line that tells of the rest.
TEST(DataSafetyTest, UnreadableArchiveDataIsReportedWithStatus2) {
  TempDir dir;
  ASSERT_EQ(chmod(dir.path().c_str(), 0755), 0);
  const std::string arc = dir.path() + "/arc";
  const int64_t days[] = {kDay, kDay + 1, DayNumber(2019, 6, 1), DayNumber(2020, 1, 1)};
  for (size_t i = 0; i < 4; ++i)
    WriteArchiveFile(PlantFile(arc, days[i]), LongItems(days[i], static_cast<uint16_t>(i), 1));

  // Can the test take the rights away? As root only by running as nobody.
  const bool root = geteuid() == 0;
  chmod(PlantFile(arc, days[1]).c_str(), 0);
  Outcome probe = RunLaunch({{"-i", PlantFile(arc, days[1]), "--csv"},
                             "/dev/null",
                             dir.path() + "/probe.txt",
                             root});
  chmod(PlantFile(arc, days[1]).c_str(), 0644);
  // The message decides, not the status, which is what the cases check.
  if (probe.err.find("Permission denied") == std::string::npos)
    GTEST_SKIP() << "cannot run QorArc without permission to a file (" << probe.err
                 << "); needs root or an ordinary user";

  struct Case {
    const char* what;
    std::string entry;  // made unreadable
    std::string out;
    std::string err;
  };
  const Case cases[] = {
      {"day file", PlantFile(arc, days[1]), "0,0\n2,0\n3,0\n", NotReadable(PlantFile(arc, days[1]))},
      {"month directory", arc + "/2019/2019-06", "0,0\n1,0\n3,0\n", NotReadable(arc + "/2019/2019-06")},
      {"year directory", arc + "/2020", "0,0\n1,0\n2,0\n", NotReadable(arc + "/2020")},
      {"archive root", arc, "",
       NotReadable(arc) + "Archive 'plant' not found in '" + arc +
           "'. Try parameter '--scan' to find available archives.\n"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    ASSERT_EQ(chmod(c.entry.c_str(), 0), 0);
    const std::string out = dir.path() + "/out.csv";
    Outcome outcome = RunLaunch(
        {{"-i", arc, "--csv", "-ccf", "5..6", "plant"}, out, dir.path() + "/err.txt", root});
    chmod(c.entry.c_str(), fs::is_directory(c.entry) ? 0755 : 0644);
    EXPECT_EQ(ReadFile(out), c.out);
    EXPECT_EQ(outcome.err, c.err);
    EXPECT_EQ(outcome.status, 2);
  }
}

// An output file no new file can take the place of, as user 65534 (an
// ordinary user runs as itself): in a directory it cannot write, or another
// user's file in a sticky directory. The document goes to $TMPDIR, else
// /tmp, and is copied over the file at the end: a failed export leaves it
// whole, a successful one gives the bytes of any other export.
TEST(DataSafetyTest, OutputFileThatCannotBeReplacedIsCopiedOver) {
  TempDir dir;
  ASSERT_EQ(chmod(dir.path().c_str(), 0755), 0);
  const std::string arc = dir.path() + "/arc";
  WriteArchiveFile(PlantFile(arc, kDay), LongItems(kDay, 1, 20'000));
  const std::string csv = RunQorArc({"-i", arc, "--csv", "plant"}).out;
  ASSERT_GT(csv.size(), 100'000u);  // more than the file size limit below
  const std::string tmp = dir.path() + "/tmp";
  ASSERT_TRUE(fs::create_directory(tmp));
  ASSERT_EQ(chmod(tmp.c_str(), 0777), 0);
  // Longer than the export: the copy must not keep its tail.
  const std::string previous = csv + "previous tail";
  const bool root = geteuid() == 0;

  struct Directory {
    const char* what;
    mode_t mode;
  };
  struct Run {
    const char* what;
    std::string tmpdir;
    rlim_t file_size_limit;
    bool fails;
  };
  const Run runs[] = {
      {"export", tmp, RLIM_INFINITY, false},
      {"export, $TMPDIR missing", dir.path() + "/missing", RLIM_INFINITY, false},
      {"failed write", tmp, 100'000, true},
      {"failed write, $TMPDIR missing", dir.path() + "/missing", 100'000, true},
  };
  for (const Directory& d : {Directory{"read-only directory", 0555},
                             Directory{"another user's file in a sticky directory", 01777}}) {
    if (!root && (d.mode & S_ISVTX)) continue;  // needs a file of another user
    const std::string out_dir = dir.path() + "/" + (d.mode & S_ISVTX ? "sticky" : "read-only");
    const std::string out = out_dir + "/out.csv";
    for (const Run& r : runs) {
      SCOPED_TRACE(std::string(d.what) + ", " + r.what);
      WriteArchiveFile(out, previous);
      ASSERT_EQ(chmod(out.c_str(), 0666), 0);
      ASSERT_EQ(chmod(out_dir.c_str(), d.mode), 0);
      Launch launch{{"-i", arc, "--csv", "-o", out, "plant"}, "/dev/null", "", root};
      launch.file_size_limit = r.file_size_limit;
      launch.options.env = {"TMPDIR=" + r.tmpdir};
      const Outcome outcome = RunLaunch(launch);
      chmod(out_dir.c_str(), 0755);
      EXPECT_EQ(outcome.err, r.fails ? "Failed to write to '" + out + "'.\n" : "");
      EXPECT_EQ(outcome.status, r.fails ? 255 : 0);
      const std::string written = ReadFile(out);
      EXPECT_TRUE(written == (r.fails ? previous : csv)) << written.size() << " bytes";
      EXPECT_EQ(Names(out_dir), std::set<std::string>{"out.csv"});
      EXPECT_EQ(Names(tmp), std::set<std::string>{});
    }
  }
}

// Outputs that are not regular files are written as they are: a symbolic
// link to /dev/full fails and stays a link, a FIFO is fed, /dev/stdout is
// standard output's file; a link to a file has the file replaced.
TEST(DataSafetyTest, OutputThroughLinksFifosAndDevices) {
  TempDir dir;
  const std::string arc = dir.path() + "/arc";
  WriteArchiveFile(PlantFile(arc, kDay), LongItems(kDay, 7, 2));
  const std::vector<std::string> args = {"-i", arc, "--csv", "-ccf", "5..6", "plant"};
  const std::string csv = "7,0\n7,1\n";
  auto with_output = [&](const std::string& path) {
    std::vector<std::string> a = args;
    a.insert(a.begin(), {"-o", path});
    return a;
  };

  const std::string full = dir.path() + "/full";
  fs::create_symlink("/dev/full", full);
  ProgramResult result = RunQorArc(with_output(full));
  EXPECT_EQ(result.err, "Failed to write to '" + full + "'.\n");
  EXPECT_EQ(result.status, 255);
  EXPECT_EQ(fs::read_symlink(full), "/dev/full");

  fs::create_directory(dir.path() + "/sub");
  const std::string target = dir.path() + "/sub/target.csv";
  WriteArchiveFile(target, "previous");
  fs::create_symlink("sub/target.csv", dir.path() + "/link");
  fs::create_symlink("sub/new.csv", dir.path() + "/dangling");
  for (const char* link : {"link", "dangling"}) {
    SCOPED_TRACE(link);
    const std::string path = dir.path() + "/" + link;
    result = RunQorArc(with_output(path));
    EXPECT_EQ(result.status, 0);
    EXPECT_TRUE(fs::is_symlink(path));
    EXPECT_EQ(ReadFile(path), csv);
  }
  EXPECT_EQ(Names(dir.path() + "/sub"), (std::set<std::string>{"new.csv", "target.csv"}));

  const std::string fifo = dir.path() + "/fifo";
  ASSERT_EQ(mkfifo(fifo.c_str(), 0644), 0);
  std::string from_fifo;
  std::thread reader([&] { from_fifo = ReadFile(fifo); });
  result = RunQorArc(with_output(fifo));
  reader.join();
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(from_fifo, csv);
  EXPECT_TRUE(fs::is_fifo(fifo));

  // -o /dev/stdout with standard output on a file: the same file is
  // written, not replaced.
  const std::string file = dir.path() + "/stdout.csv";
  WriteArchiveFile(file, "previous");
  struct stat before, after;
  ASSERT_EQ(stat(file.c_str(), &before), 0);
  Outcome outcome = RunLaunch({with_output("/dev/stdout"), file, dir.path() + "/err.txt"});
  EXPECT_EQ(outcome.status, 0);
  EXPECT_EQ(ReadFile(file), csv);
  ASSERT_EQ(stat(file.c_str(), &after), 0);
  EXPECT_EQ(after.st_ino, before.st_ino);
}

// A failed write ends the export at once: after the first piece, no other
// file is read.
TEST(DataSafetyTest, FailedWriteStopsTheExport) {
  TempDir dir;
  const std::string arc = dir.path() + "/arc";
  for (int d = 0; d < 3; ++d)
    WriteArchiveFile(PlantFile(arc, kDay + d), LongItems(kDay + d, 1, 5'000));
  for (const char* format : {"--pretty-print", "--csv"}) {
    SCOPED_TRACE(format);
    ProgramResult result = RunQorArc({"-ve", "-i", arc, format, "-o", "/dev/full", "plant"});
    EXPECT_EQ(result.err.substr(result.err.find("Exporting")),
              "Exporting data from '" + PlantFile(arc, kDay) +
                  "'.\nFailed to write to '/dev/full'.\n");
    EXPECT_EQ(result.status, 255);
  }
}

}  // namespace
}  // namespace qorarc::testing
