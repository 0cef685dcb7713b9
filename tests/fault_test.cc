// Hostile surroundings end to end: outputs that fail, odd entries in the
// archive tree (FIFOs, symbolic link loops), records at every alignment
// against the read buffer, and damage after valid records. Each case checks
// the exact messages and the exit status.
#include <sys/stat.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <sstream>
#include <string>
#include <vector>

#include "archive/archive_writer.h"
#include "support/program_run.h"

namespace qorarc::testing {
namespace {

namespace fs = std::filesystem;

const int64_t kDay = DayNumber(2019, 5, 3);

// Two items on 2019-05-03, and their compact JSON.
std::string TwoItems() {
  ArchiveBuilder b;
  b.Day(kDay).Long(TimeOfDay(1, 0, 0), 7, -5).Text(TimeOfDay(2, 0, 0), 8, 25, "hello");
  return b.bytes();
}
const char kTwoItemsJson[] =
    "{\"data\":[{\"ts\":\"2019-05-03T01:00:00.000000Z\",\"id\":7,\"class\":\"AlLong\","
    "\"type\":\"data\",\"values\":[-5]},{\"ts\":\"2019-05-03T02:00:00.000000Z\",\"id\":8,"
    "\"class\":\"AlString\",\"type\":\"Norm\",\"level\":\"Core Warning\",\"values\":[\"hello\"]}]}";

const char kVerbosePlant[] = "Verbose mode enabled.\nName of the archive: 'plant'\n";

std::string PlantFile(const std::string& root, int64_t day = kDay) {
  return ArchiveFilePath(root, day, "plant");
}

std::string Exporting(const std::string& path) { return "Exporting data from '" + path + "'.\n"; }
std::string Unexpected(const std::string& path) {
  return "Unexpected path '" + path + "' ignored\n";
}

// The lines of `text`, sorted: a directory's listing order is the platform's.
std::vector<std::string> SortedLines(const std::string& text) {
  std::vector<std::string> lines;
  std::istringstream stream(text);
  for (std::string line; std::getline(stream, line);) lines.push_back(line);
  std::sort(lines.begin(), lines.end());
  return lines;
}

// Runs QorArc with standard output on the file `out_path` (closed when
// empty) and standard error kept in `scratch`.
Outcome RunToFile(const std::vector<std::string>& args, const std::string& out_path,
                  const std::string& scratch) {
  return RunLaunch({args, out_path, scratch + "/stderr.txt"});
}

// Failed writes of every kind of output; failing exports are also in
// data_safety_test.cc.
TEST(FaultTest, FailingOutputEndsWithAMessageAndStatus255) {
  TempDir dir;
  const std::string arc = dir.path() + "/arc";
  WriteArchiveFile(PlantFile(arc), TwoItems());
  const std::string no_stdout = "Failed to write to standard output.\n";
  struct Case {
    const char* what;
    std::vector<std::string> args;
    std::string out;  // where standard output goes; empty: closed
    std::string err;
  };
  const Case cases[] = {
      {"scan to -o /dev/full", {"-i", arc, "--scan", "-o", "/dev/full"}, "/dev/null",
       "Failed to write to '/dev/full'.\n"},
      {"JSON to standard output on /dev/full", {"-i", arc, "plant"}, "/dev/full", no_stdout},
      {"CSV, standard output closed", {"-i", arc, "--csv", "plant"}, "", no_stdout},
      {"help, standard output closed", {"--help"}, "", no_stdout},
      {"version on /dev/full", {"--version"}, "/dev/full", no_stdout},
      // The empty result always goes to standard output.
      {"empty result on /dev/full", {"-i", arc, "boiler"}, "/dev/full",
       "Archive 'boiler' not found in '" + arc +
           "'. Try parameter '--scan' to find available archives.\n" + no_stdout},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    Outcome outcome = RunToFile(c.args, c.out, dir.path());
    EXPECT_EQ(outcome.err, c.err);
    EXPECT_EQ(outcome.status, 255);
  }
  // With standard output closed, the output file takes descriptor 1: the
  // document must still reach the file and nothing else.
  const std::string out = dir.path() + "/out.json";
  Outcome outcome = RunToFile({"-i", arc, "-o", out, "plant"}, "", dir.path());
  EXPECT_EQ(outcome.err, "");
  EXPECT_EQ(outcome.status, 0);
  EXPECT_EQ(ReadFile(out), kTwoItemsJson);
}

// The runtime core's console lines go to standard output as well: when they
// fail, the run must not end with 0, even when its own output is empty (an
// empty scan as CSV writes nothing) and the stream itself is still good.
TEST(FaultTest, FailedConsoleLinesOnStandardOutputEndWithStatus255) {
  TempDir dir;
  const std::string no_stdout = "Failed to write to standard output.\n";
  setenv("QORARC_DGN_MESSAGES", "0x400000C0", 1);
  for (const std::vector<std::string>& args :
       {std::vector<std::string>{"-v"}, {"-h"}, {"-s", "--csv", "-i", dir.path()}}) {
    SCOPED_TRACE(args[0]);
    Outcome outcome = RunToFile(args, "/dev/full", dir.path());
    EXPECT_EQ(outcome.err, (args.size() == 1 ? "" : "No archive files were found scanning path '" +
                                                        dir.path() + "'.\n") + no_stdout);
    EXPECT_EQ(outcome.status, 255);
  }
  unsetenv("QORARC_DGN_MESSAGES");
}

// An output file that is one of the archive files being exported would be
// truncated before it is read: it is refused like any output file that cannot
// be opened for writing, and the archive stays as it was.
TEST(FaultTest, OutputFileThatIsAnArchiveFileIsRefused) {
  TempDir dir;
  const std::string arc = dir.path() + "/arc";
  const std::string file = PlantFile(arc);
  fs::create_symlink(file, dir.path() + "/link");
  const std::vector<std::string> cases[] = {
      {"-i", file, "-o", file},
      {"-i", arc, "-o", file, "plant"},
      {"-i", arc, "-o", dir.path() + "/link", "plant"},  // the same file through a link
  };
  for (const std::vector<std::string>& args : cases) {
    SCOPED_TRACE(args[3] + " from " + args[1]);
    WriteArchiveFile(file, TwoItems());
    ProgramResult result = RunQorArc(args);
    EXPECT_EQ(result.err, "Failed to open file '" + args[3] + "' for writing.\n");
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(result.status, 255);
    EXPECT_EQ(ReadFile(file), TwoItems());
  }
  // A read-only file of the user's own, in a directory the user may write,
  // is refused as well, not replaced (as root: as user 65534).
  const bool root = geteuid() == 0;
  const std::string own = dir.path() + "/own.json";
  WriteArchiveFile(own, "previous");
  ASSERT_EQ(chmod(own.c_str(), 0444), 0);
  ASSERT_EQ(chmod(dir.path().c_str(), 0777), 0);
  if (root) {
    ASSERT_EQ(chown(own.c_str(), 65534, 65534), 0);
  }
  const Outcome outcome = RunLaunch({{"-i", file, "-o", own}, "/dev/null", "", root});
  chmod(dir.path().c_str(), 0700);
  EXPECT_EQ(outcome.err, "Failed to open file '" + own + "' for writing.\n");
  EXPECT_EQ(outcome.status, 255);
  EXPECT_EQ(ReadFile(own), "previous");
  EXPECT_EQ(Names(dir.path()), (std::set<std::string>{"arc", "link", "own.json"}));
}

// Entries of a month directory that are not regular files are reported in
// verbose mode and skipped, before the export starts; the good file beside
// them is exported. An entry that blocks the reader fails on the time limit.
TEST(FaultTest, OddEntriesInAMonthDirectoryAreIgnored) {
  struct Case {
    const char* what;
    void (*make)(const std::string& path);  // makes the odd entry
  };
  const Case cases[] = {
      {"directory", [](const std::string& p) { fs::create_directory(p); }},
      {"dangling symbolic link", [](const std::string& p) { fs::create_symlink("gone.rea", p); }},
      {"symbolic link to itself",
       [](const std::string& p) { fs::create_symlink(fs::path(p).filename(), p); }},
      {"FIFO", [](const std::string& p) { ASSERT_EQ(mkfifo(p.c_str(), 0644), 0); }},
      {"symbolic link to a FIFO",
       [](const std::string& p) {
         ASSERT_EQ(mkfifo((p + ".fifo").c_str(), 0644), 0);
         fs::create_symlink(fs::path(p).filename().string() + ".fifo", p);
       }},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    TempDir dir;
    const std::string arc = dir.path() + "/arc";
    const std::string good = PlantFile(arc);
    WriteArchiveFile(good, TwoItems());
    const std::string odd = PlantFile(arc, kDay + 1);
    c.make(odd);
    std::string unexpected = Unexpected(odd);
    if (fs::exists(odd + ".fifo")) unexpected += Unexpected(odd + ".fifo");  // no ".rea" either
    const std::string out = dir.path() + "/out.json";
    Outcome result = RunToFile({"-ve", "-i", arc, "plant"}, out, dir.path());
    EXPECT_EQ(ReadFile(out), kTwoItemsJson);
    EXPECT_EQ(result.status, 0);
    EXPECT_TRUE(result.err.starts_with(kVerbosePlant) && result.err.ends_with(Exporting(good)))
        << result.err;
    EXPECT_EQ(SortedLines(result.err), SortedLines(kVerbosePlant + unexpected + Exporting(good)));
  }
}

// The longest record, a string record of 32,767 bytes, at every offset
// around the point where the reader refills its 256 KiB buffer (when fewer
// than 32,767 bytes are left), one offset per day file.
TEST(FaultTest, LongestRecordAtEveryAlignmentAroundTheRefill) {
  constexpr int64_t kBuffer = 256 * 1024;
  constexpr int64_t kLongest = 32767;
  constexpr int64_t kRefillPoint = kBuffer - kLongest;  // no refill up to here
  constexpr size_t kText = kLongest - 12;
  TempDir dir;
  const std::string arc = dir.path() + "/arc";
  std::string expected;
  int64_t day = DayNumber(2019, 1, 1);
  for (int64_t offset = kRefillPoint - 100; offset <= kRefillPoint + 100; ++offset, ++day) {
    ArchiveBuilder b;
    b.Day(day);
    // Fill up to the offset with log records of ID 1.
    int64_t left = offset - 6;
    while (left > 0) {
      int64_t record = left <= kLongest ? left : (left - kLongest >= 12 ? kLongest : 30000);
      b.Text(TimeOfDay(1, 0, 0), 1, 0, std::string(record - 12, 'f'));
      left -= record;
    }
    ASSERT_EQ(static_cast<int64_t>(b.size()), offset);
    std::string text = "offset " + std::to_string(offset) + " ";
    text += std::string(kText - text.size() - 1, static_cast<char>('a' + offset % 26)) + "$";
    b.Text(TimeOfDay(2, 0, 0), 7, 0, text).Long(TimeOfDay(3, 0, 0), 8, static_cast<int32_t>(offset));
    if (offset % 2 == 0) b.End();  // half of them end at the end of the file
    WriteArchiveFile(PlantFile(arc, day), b.bytes());
    expected += "7," + text + "\n8," + std::to_string(offset) + "\n";
  }
  ProgramResult result = RunQorArc({"-i", arc, "--csv", "-f", "7..8", "-ccf", "5..6", "plant"});
  EXPECT_EQ(result.err, "");
  EXPECT_EQ(result.status, 0);
  EXPECT_TRUE(result.out == expected) << "the output differs; sizes " << result.out.size()
                                      << " and " << expected.size();
}

// Exactly known damage after the prefix: what is reported, and where
// reading stops.
TEST(FaultTest, KnownDamageAfterAValidPrefix) {
  TempDir dir;
  const std::string file = dir.path() + "/2019-05-03_plant.rea";
  const std::string json_prefix(kTwoItemsJson, sizeof kTwoItemsJson - 3);
  const std::string error = "Error occured while reading file '" + file + "'.\n";
  const std::string verbose = "Verbose mode enabled.\n" + Exporting(file);
  auto bad_record = [](const char* ts) {
    return ",{\"ts\":\"" + std::string(ts) + "\",\"class\":\"System\",\"type\":\"Archive events\"}";
  };
  struct Case {
    const char* what;
    std::string tail;
    std::string items;  // JSON items after the prefix
    std::string err;    // in verbose mode
  };
  const Case cases[] = {
      {"end mark, then anything", std::string("\xFF\x80\x01garbage", 10), "", verbose},
      {"invalid value type code 13", std::string("\x00\x00\x00\x00\x00\x06\x0D\x00\x00\x01", 10),
       bad_record("2019-05-03T00:00:00.000000Z"), verbose + error},
      {"string whose length wraps to -2: a quiet end",
       std::string("\x00\x00\x00\x00\x00\x01\x0C\x00\x00\x01\xFF\xF2", 12), "", verbose},
      {"string whose length wraps to 3: a read error",
       std::string("\x00\x00\x00\x00\x00\x01\x0C\x00\x00\x01\xFF\xF7", 12), "", verbose + error},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    WriteArchiveFile(file, TwoItems() + c.tail);
    ProgramResult result = RunQorArc({"-ve", "-i", file});
    EXPECT_EQ(result.out, json_prefix + c.items + "]}");
    EXPECT_EQ(result.err, c.err);
    EXPECT_EQ(result.status, 0);
  }
}

}  // namespace
}  // namespace qorarc::testing
