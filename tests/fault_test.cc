// Hostile surroundings end to end: outputs that fail, odd entries in the
// archive tree, files that vanish, FIFOs, symbolic link loops, long paths,
// many files, records at every alignment against the read buffer, and
// garbage after valid records. Each case checks the exact messages and the
// exit status.
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "archive/archive_writer.h"
#include "support/program_run.h"

extern char** environ;

namespace qorarc::testing {
namespace {

namespace fs = std::filesystem;

const int64_t kDay = DayNumber(2019, 5, 3);

// Two items on 2019-05-03, and their compact JSON and CSV.
std::string TwoItems() {
  ArchiveBuilder b;
  b.Day(kDay).Long(TimeOfDay(1, 0, 0), 7, -5).Text(TimeOfDay(2, 0, 0), 8, 25, "hello");
  return b.bytes();
}
const char kTwoItemsJson[] =
    "{\"data\":[{\"ts\":\"2019-05-03T01:00:00.000000Z\",\"id\":7,\"class\":\"AlLong\","
    "\"type\":\"data\",\"values\":[-5]},{\"ts\":\"2019-05-03T02:00:00.000000Z\",\"id\":8,"
    "\"class\":\"AlString\",\"type\":\"Norm\",\"level\":\"Core Warning\",\"values\":[\"hello\"]}]}";
const char kTwoItemsCsv[] =
    "2019-05-03,01:00:00.000000,AlLong,data,,7,-5\n"
    "2019-05-03,02:00:00.000000,AlString,Norm,Core Warning,8,hello\n";

const char kVerbosePlant[] = "Verbose mode enabled.\nName of the archive: 'plant'\n";

std::string PlantFile(const std::string& root, int64_t day = kDay) {
  return ArchiveFilePath(root, day, "plant");
}

std::string Exporting(const std::string& path) { return "Exporting data from '" + path + "'.\n"; }
std::string Unexpected(const std::string& path) {
  return "Unexpected path '" + path + "' ignored\n";
}

// Checks that `err` is `head`, then the lines of `middle` in any order (a
// directory's listing order is the platform's), then `tail`.
void ExpectLines(const std::string& err, const std::string& head, const std::string& middle,
                 const std::string& tail) {
  auto sorted = [](const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) lines.push_back(line);
    std::sort(lines.begin(), lines.end());
    return lines;
  };
  ASSERT_EQ(err.size(), head.size() + middle.size() + tail.size()) << err;
  EXPECT_EQ(err.substr(0, head.size()), head);
  EXPECT_EQ(sorted(err.substr(head.size(), middle.size())), sorted(middle));
  EXPECT_EQ(err.substr(head.size() + middle.size()), tail);
}

// Starts QorArc with standard input on /dev/null, standard output on the
// file `out_path` (closed when empty) and standard error in `err_path`. A
// run that hangs is ended by SIGALRM after 60 s and so fails its status
// check.
pid_t Spawn(const std::vector<std::string>& args, const std::string& out_path,
            const std::string& err_path) {
  std::string program = QorArcPath();
  std::vector<char*> argv = {program.data()};
  for (const std::string& arg : args) argv.push_back(const_cast<char*>(arg.c_str()));
  argv.push_back(nullptr);
  pid_t pid = fork();
  if (pid != 0) return pid;
  int in = open("/dev/null", O_RDONLY);
  int err = open(err_path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
  if (in < 0 || err < 0 || dup2(in, 0) < 0 || dup2(err, 2) < 0) _exit(127);
  if (out_path.empty()) {
    close(1);
  } else {
    int out = open(out_path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    if (out < 0 || dup2(out, 1) < 0) _exit(127);
    if (out > 2) close(out);
  }
  // The test may run with a standard stream closed, which these took.
  if (in > 2) close(in);
  if (err > 2) close(err);
  alarm(60);
  execve(program.c_str(), argv.data(), environ);
  _exit(127);
}

// Result of a run whose standard output is not a pipe.
struct Outcome {
  std::string err;
  int status = -1;  // as the shell sees it, -1 when killed
};

int StatusOf(int wstatus) { return WIFEXITED(wstatus) ? WEXITSTATUS(wstatus) : -1; }

// Runs QorArc with standard output on the file `out_path` (closed when
// empty) and standard error kept in `scratch`.
Outcome RunToFile(const std::vector<std::string>& args, const std::string& out_path,
                  const std::string& scratch) {
  int wstatus = 0;
  waitpid(Spawn(args, out_path, scratch + "/stderr.txt"), &wstatus, 0);
  return {ReadFile(scratch + "/stderr.txt"), StatusOf(wstatus)};
}

TEST(FaultTest, FailingOutputEndsWithAMessageAndStatus255) {
  TempDir dir;
  const std::string arc = dir.path() + "/arc";
  WriteArchiveFile(PlantFile(arc), TwoItems());
  const std::string full = "Failed to write to '/dev/full'.\n";
  const std::string no_stdout = "Failed to write to standard output.\n";
  struct Case {
    const char* what;
    std::vector<std::string> args;
    std::string out;  // where standard output goes; empty: closed
    std::string err;
  };
  const Case cases[] = {
      {"JSON to -o /dev/full", {"-i", arc, "-o", "/dev/full", "plant"}, "/dev/null", full},
      {"pretty JSON to -o /dev/full", {"-i", arc, "-p", "-o", "/dev/full", "plant"}, "/dev/null", full},
      {"CSV to -o /dev/full", {"-i", arc, "--csv", "-o", "/dev/full", "plant"}, "/dev/null", full},
      {"scan to -o /dev/full", {"-i", arc, "--scan", "-o", "/dev/full"}, "/dev/null", full},
      {"JSON to standard output on /dev/full", {"-i", arc, "plant"}, "/dev/full", no_stdout},
      {"CSV to standard output on /dev/full", {"-i", arc, "--csv", "plant"}, "/dev/full", no_stdout},
      {"JSON, standard output closed", {"-i", arc, "plant"}, "", no_stdout},
      {"CSV, standard output closed", {"-i", arc, "--csv", "plant"}, "", no_stdout},
      {"scan, standard output closed", {"-i", arc, "--scan"}, "", no_stdout},
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

// With standard output closed, the output file takes descriptor 1: the
// document must still reach the file and nothing else.
TEST(FaultTest, OutputFileWorksWithStandardOutputClosed) {
  TempDir dir;
  const std::string arc = dir.path() + "/arc";
  WriteArchiveFile(PlantFile(arc), TwoItems());
  const std::string out = dir.path() + "/out.json";
  Outcome outcome = RunToFile({"-i", arc, "-o", out, "plant"}, "", dir.path());
  EXPECT_EQ(outcome.err, "");
  EXPECT_EQ(outcome.status, 0);
  EXPECT_EQ(ReadFile(out), kTwoItemsJson);
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
    ExpectLines(result.err, kVerbosePlant, unexpected, Exporting(good));
  }
}

TEST(FaultTest, FifoAsInputIsRefusedWithoutHanging) {
  TempDir dir;
  const std::string fifo = dir.path() + "/2019-05-03_plant.rea";
  ASSERT_EQ(mkfifo(fifo.c_str(), 0644), 0);
  struct Case {
    std::vector<std::string> args;
    std::string err;
  };
  const Case cases[] = {
      {{"-i", fifo}, "Name of the archive must be specified.\n"},
      {{"-i", fifo, "plant"}, "Path '" + fifo + "' is not a directory.\n"},
      {{"-i", fifo, "--scan"}, "Path '" + fifo + "' is not a directory.\n"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.args.back());
    Outcome outcome = RunToFile(c.args, dir.path() + "/out", dir.path());
    EXPECT_EQ(outcome.err, c.err);
    EXPECT_EQ(outcome.status, 255);
    EXPECT_EQ(ReadFile(dir.path() + "/out"), "");
  }
}

// A month directory that links back to its own year directory: the walk has
// a fixed depth, so the loop shows its entries once as unexpected paths.
TEST(FaultTest, DirectoryLoopThroughSymbolicLinksEnds) {
  TempDir dir;
  const std::string arc = dir.path() + "/arc";
  const std::string good = PlantFile(arc);
  WriteArchiveFile(good, TwoItems());
  fs::create_directory_symlink(".", arc + "/2019/2019-06");
  fs::create_directory_symlink("..", arc + "/2019/2019-05/2019-05-04_plant.rea");
  ProgramResult result = RunQorArc({"-ve", "-i", arc, "plant"});
  EXPECT_EQ(result.out, kTwoItemsJson);
  EXPECT_EQ(result.status, 0);
  ExpectLines(result.err, kVerbosePlant,
              Unexpected(arc + "/2019/2019-06/2019-05") + Unexpected(arc + "/2019/2019-06/2019-06") +
                  Unexpected(arc + "/2019/2019-05/2019-05-04_plant.rea"),
              Exporting(good));
}

// The middle of three files is removed or replaced by something else after
// discovery: it yields nothing, quietly, nothing blocks, and the files
// around it are still exported. The first file's output is far larger than
// a pipe holds, so when the test has read the first byte of it from a FIFO,
// the program is still on the first file.
TEST(FaultTest, FileReplacedBetweenDiscoveryAndReadingYieldsNothing) {
  struct Case {
    const char* what;
    void (*replace)(const char* path);  // after the file is removed
  };
  const Case cases[] = {
      {"removed", [](const char*) {}},
      {"replaced by a FIFO", [](const char* p) { mkfifo(p, 0644); }},
      {"replaced by a directory", [](const char* p) { mkdir(p, 0755); }},
      {"replaced by a dangling symbolic link", [](const char* p) { symlink("gone.rea", p); }},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    TempDir dir;
    const std::string arc = dir.path() + "/arc";
    ArchiveBuilder first;
    first.Day(kDay);
    std::string expected;
    for (int32_t i = 0; i < 100'000; ++i) {
      first.Long(TimeOfDay(1, 0, 0), 0, i);
      expected += "0," + std::to_string(i) + "\n";
    }
    WriteArchiveFile(PlantFile(arc), first.bytes());
    for (uint16_t d : {1, 2})
      WriteArchiveFile(PlantFile(arc, kDay + d),
                       ArchiveBuilder().Day(kDay + d).Long(TimeOfDay(1, 0, 0), d, 1).bytes());
    const std::string victim = PlantFile(arc, kDay + 1);
    const std::string fifo = dir.path() + "/out";
    ASSERT_EQ(mkfifo(fifo.c_str(), 0644), 0);
    pid_t pid = Spawn({"-ve", "-i", arc, "--csv", "-ccf", "5..6", "plant"}, fifo,
                      dir.path() + "/stderr.txt");
    int out = open(fifo.c_str(), O_RDONLY);
    std::string output(1, '\0');
    EXPECT_EQ(read(out, output.data(), 1), 1);
    unlink(victim.c_str());
    c.replace(victim.c_str());
    char buffer[65536];
    for (ssize_t n; (n = read(out, buffer, sizeof buffer)) > 0;) output.append(buffer, n);
    close(out);
    int wstatus = 0;
    waitpid(pid, &wstatus, 0);
    EXPECT_EQ(ReadFile(dir.path() + "/stderr.txt"),
              std::string("Verbose mode enabled.\nExport to CSV enabled.\n"
                          "Name of the archive: 'plant'\n") +
                  Exporting(PlantFile(arc)) + Exporting(victim) + Exporting(PlantFile(arc, kDay + 2)));
    EXPECT_EQ(StatusOf(wstatus), 0);
    EXPECT_TRUE(output == expected + "2,1\n") << output.substr(output.size() - 100);
  }
}

// Opens the directory `depth` levels of `component` below `base`, walking
// relative to each level, so that the whole path may exceed PATH_MAX.
// `create` makes the missing levels.
int OpenDeep(const std::string& base, const std::string& component, int depth, bool create) {
  int fd = open(base.c_str(), O_RDONLY | O_DIRECTORY);
  for (int i = 0; i < depth && fd >= 0; ++i) {
    if (create) mkdirat(fd, component.c_str(), 0755);
    int next = openat(fd, component.c_str(), O_RDONLY | O_DIRECTORY);
    close(fd);
    fd = next;
  }
  return fd;
}

TEST(FaultTest, LongPathNames) {
  TempDir dir;
  // The longest file name the file system takes: 255 bytes.
  const std::string name(255 - std::string("2019-05-03_.rea").size(), 'n');
  const std::string arc = dir.path() + "/arc";
  WriteArchiveFile(ArchiveFilePath(arc, kDay, name), TwoItems());
  ProgramResult result = RunQorArc({"-i", arc, "--csv", name});
  EXPECT_EQ(result.err, "");
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.out, kTwoItemsCsv);
  result = RunQorArc({"-i", arc, "--scan"});
  EXPECT_EQ(result.out, "[{\"name\":\"" + name +
                            "\",\"first_date\":\"2019-05-03 00:00:00.000000\",\"last_date\":"
                            "\"2019-05-03 00:00:00.000000\"}]");
  EXPECT_EQ(result.status, 0);
  // An archive name one byte too long cannot name a file: not found.
  const std::string too_long = name + "n";
  result = RunQorArc({"-i", arc, too_long});
  EXPECT_EQ(result.err, "Archive '" + too_long + "' not found in '" + arc +
                            "'. Try parameter '--scan' to find available archives.\n");
  EXPECT_EQ(result.out, "{\"data\": []}\n");
  EXPECT_EQ(result.status, 0);

  // An archive 21 directories of 200 bytes deep, beyond PATH_MAX (4096);
  // TempDir removes it, level by level.
  const std::string component(200, 'd');
  std::string deep = dir.path();
  for (int i = 0; i < 21; ++i) deep += "/" + component;
  {
    int fd = OpenDeep(dir.path(), component, 21, true);
    for (const char* sub : {"arc", "arc/2019", "arc/2019/2019-05"}) mkdirat(fd, sub, 0755);
    int file = openat(fd, "arc/2019/2019-05/2019-05-03_plant.rea", O_WRONLY | O_CREAT, 0644);
    const std::string bytes = TwoItems();
    ASSERT_EQ(write(file, bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
    close(file);
    close(fd);
  }
  // Named from a directory near it, the archive is read as usual.
  ProgramOptions near;
  near.cwd = deep.substr(0, deep.size() - 3 * (component.size() + 1));
  ASSERT_LT(near.cwd.size(), 4096u);
  result = RunQorArc({"-i", component + "/" + component + "/" + component + "/arc", "--csv", "plant"},
                     near);
  EXPECT_EQ(result.err, "");
  EXPECT_EQ(result.out, kTwoItemsCsv);
  EXPECT_EQ(result.status, 0);
  // Named by its full path, it cannot even be looked up.
  const std::string full_arc = deep + "/arc";
  ASSERT_GT(full_arc.size(), 4096u);
  result = RunQorArc({"-i", full_arc, "plant"});
  EXPECT_EQ(result.err, "Path '" + full_arc + "' not found.\n");
  EXPECT_EQ(result.out, "");
  EXPECT_EQ(result.status, 255);
}

TEST(FaultTest, TenThousandDayFilesInOneArchive) {
  TempDir dir;
  const std::string arc = dir.path() + "/arc";
  const int64_t first = DayNumber(2001, 1, 1);
  std::string expected;
  for (int64_t i = 0; i < 10'000; ++i) {
    ArchiveBuilder b;
    b.Day(first + i).Long(TimeOfDay(12, 0, 0), static_cast<uint16_t>(i), static_cast<int32_t>(i));
    WriteArchiveFile(PlantFile(arc, first + i), b.bytes());
    expected += std::to_string(i) + "," + std::to_string(i) + "\n";
  }
  ProgramResult result = RunQorArc({"-i", arc, "--csv", "-ccf", "5..6", "plant"});
  EXPECT_EQ(result.err, "");
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.out, expected);
  result = RunQorArc({"-i", arc, "-ic", "1", "-itc", "-f", "9999", "plant"});
  EXPECT_EQ(result.out, "{\"data\":[{\"ts\":\"2028-05-18T12:00:00.000000Z\",\"id\":9999,"
                        "\"class\":\"AlLong\",\"type\":\"data\",\"values\":[9999]}],"
                        "\"total_item_count\":1}");
  EXPECT_EQ(result.status, 0);
  result = RunQorArc({"-i", arc, "--scan"});
  EXPECT_EQ(result.out, "[{\"name\":\"plant\",\"first_date\":\"2001-01-01 00:00:00.000000\","
                        "\"last_date\":\"2028-05-18 00:00:00.000000\"}]");
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

// Random bytes after a valid prefix: the prefix is always exported exactly,
// the output stays a complete document, and the run ends normally. JSON may
// meet a text value of codes 25 or 27, which ends the export with its one
// error line, after the items before it.
TEST(FaultTest, RandomGarbageAfterAValidPrefix) {
  TempDir dir;
  const std::string file = dir.path() + "/2019-05-03_plant.rea";
  const std::string json_prefix(kTwoItemsJson, sizeof kTwoItemsJson - 3);  // without "]}"
  for (uint64_t seed = 1; seed <= 60; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937_64 random(seed);
    std::string garbage(1 + random() % 3000, '\0');
    for (char& c : garbage) c = static_cast<char>(random());
    if (seed % 3 == 0) garbage[0] = static_cast<char>(garbage[0] & 0x7F);  // an item record
    WriteArchiveFile(file, TwoItems() + garbage);

    ProgramResult csv = RunQorArc({"-i", file, "--csv"});
    EXPECT_EQ(csv.err, "");
    EXPECT_EQ(csv.status, 0);
    EXPECT_EQ(csv.out.substr(0, sizeof kTwoItemsCsv - 1), kTwoItemsCsv);

    ProgramResult json = RunQorArc({"-i", file});
    EXPECT_EQ(json.out.substr(0, json_prefix.size()), json_prefix);
    if (json.status == 0) {
      EXPECT_EQ(json.err, "");
      EXPECT_EQ(json.out.substr(json.out.size() - 2), "]}");
    } else {
      EXPECT_EQ(json.err, "basic_string: construction from null is not valid\n");
      EXPECT_EQ(json.status, 255);
    }
  }
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
      {"day marker with tag 0x8001", std::string("\x80\x01\x00\x00\x00\x07", 6),
       bad_record("2019-05-04T15:05:41.783323Z"), verbose + error},
      {"record cut short by the end of the file", std::string("\x00\x00\x00\x00\x00\x05\x08\x00\x00", 9),
       bad_record("2019-05-03T00:00:00.000000Z"), verbose + error},
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
