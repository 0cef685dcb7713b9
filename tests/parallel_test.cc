// The parallel export against the one-thread export, with batches so small
// that their edges fall on every item: the limit and the total, the
// until-time that ends a file, a bad record, the text array JSON writes as
// nulls with a warning, an output file, a failed write and a memory limit
// all give the same bytes, messages and status.
#include <gtest/gtest.h>

#include <sys/stat.h>

#include <ostream>
#include <string>
#include <vector>

#include "archive/archive_writer.h"
#include "support/program_run.h"

namespace qorarc::testing {
namespace {

constexpr int64_t kSecond = 1'000'000'000;

// Two days of "plant": ten Doubles and a cut-off record on the first, on
// the second five Longs, a text array of code 25 (nulls in JSON, and a
// warning) and two more Longs.
void WriteArchive(const std::string& root) {
  const int64_t day = DayNumber(2019, 12, 30);
  ArchiveBuilder first;
  first.Day(static_cast<uint32_t>(day));
  for (int i = 0; i < 10; ++i) first.Double(i * kSecond, static_cast<uint16_t>(100 + i), i * 1.5);
  ArchiveBuilder cut;
  cut.Double(11 * kSecond, 1, 1.0);
  first.Raw(cut.bytes().substr(0, 9));
  WriteArchiveFile(ArchiveFilePath(root, day, "plant"), first.bytes());

  ArchiveBuilder second;
  second.Day(static_cast<uint32_t>(day + 1));
  for (int i = 0; i < 5; ++i) second.Long(i * kSecond, 200, -i);
  second.Array<uint64_t>(25, 6 * kSecond, 300, {1, 2});
  for (int i = 7; i < 9; ++i) second.Long(i * kSecond, 200, i);
  second.End();
  WriteArchiveFile(ArchiveFilePath(root, day + 1, "plant"), second.bytes());
}

struct ParallelCase {
  const char* name;
  std::vector<std::string> args;  // before the archive name
};

void PrintTo(const ParallelCase& c, std::ostream* out) { *out << c.name; }

class ParallelExportTest : public ::testing::TestWithParam<ParallelCase> {};

TEST_P(ParallelExportTest, SameAsOneThread) {
  TempDir dir;
  WriteArchive(dir.path() + "/arc");
  std::vector<std::string> args = {"-ve", "-i", dir.path() + "/arc"};
  for (const std::string& arg : GetParam().args)
    args.push_back(arg == "OUT" ? dir.path() + "/out" : arg);
  args.push_back("plant");
  const ProgramResult one = RunQorArc(args, {{"QORARC_THREADS=1"}, ""});
  const std::string one_file = ReadFile(dir.path() + "/out");
  for (const char* batch : {"1", "2", "3", "5", "64"}) {
    SCOPED_TRACE(std::string("batches of ") + batch);
    const ProgramResult many =
        RunQorArc(args, {{"QORARC_THREADS=3", std::string("QORARC_BATCH_ITEMS=") + batch}, ""});
    EXPECT_EQ(many.out, one.out);
    EXPECT_EQ(many.err, one.err);
    EXPECT_EQ(many.status, one.status);
    EXPECT_EQ(ReadFile(dir.path() + "/out"), one_file);
  }
}

INSTANTIATE_TEST_SUITE_P(
    Cases, ParallelExportTest,
    ::testing::Values(
        ParallelCase{"Csv", {"--csv", "-ch", "h"}},
        ParallelCase{"CsvLimitAndUntilTime", {"--csv", "-ic", "7", "-ft2", "2019-12-31 00:00:03"}},
        ParallelCase{"PrettyLimitWithTotal", {"-p", "-ic", "4", "-itc"}},
        ParallelCase{"TotalPastTheLimit", {"-ic", "11", "-itc", "-ft1", "2019-12-30 00:00:02"}},
        ParallelCase{"TextArrayInJson", {}},
        ParallelCase{"TextArrayInPrettyJsonInAFile", {"-p", "-o", "OUT"}},
        ParallelCase{"UntilTimeBeforeTheTextArray", {"-p", "-itc", "-ft2", "2019-12-31 00:00:05"}},
        ParallelCase{"JsonLinesWithLimit", {"-jl", "-ic", "13"}},
        ParallelCase{"LongCsv", {"-lc", "-dscl"}},
        ParallelCase{"LineProtocolWithLimit", {"-lp", "-ic", "13"}},
        ParallelCase{"OpenMetricsWithLimit", {"-om", "-ic", "13"}},
        ParallelCase{"FailedWrite", {"--csv", "-o", "/dev/full"}},
        ParallelCase{"FailedWriteOfJson", {"-ft2", "2019-12-31 00:00:05", "-o", "/dev/full"}}),
    [](const ::testing::TestParamInfo<ParallelCase>& info) { return std::string(info.param.name); });

// Five days of 3,000 Doubles each; the third day ends in a cut record.
std::string WriteLongArchive(const std::string& root) {
  const int64_t first_day = DayNumber(2019, 12, 1);
  for (int64_t day = first_day; day < first_day + 5; ++day) {
    ArchiveBuilder file;
    file.Day(static_cast<uint32_t>(day));
    for (int i = 0; i < 20'000; ++i)
      file.Double(i * kSecond, static_cast<uint16_t>(i % 700), i * 0.25);
    if (day == first_day + 2) file.Raw(file.bytes().substr(6, 9));
    WriteArchiveFile(ArchiveFilePath(root, day, "plant"), file.bytes());
  }
  return root;
}

// A standard output that fills up part way through (a full disk, a file
// size limit): the threaded export reads ahead of what it has written, yet
// it stops, reports and ends exactly where one thread does.
TEST(ParallelFailureTest, FailedWriteEndsAsOneThread) {
  TempDir dir;
  const std::string arc = WriteLongArchive(dir.path() + "/arc");
  for (const char* format : {"--csv", "-itc", "-p", "-jl", "-lc", "-lp", "-om"}) {
    for (rlim_t limit : {70'000, 200'001, 450'000}) {
      SCOPED_TRACE(std::string(format) + " limited to " + std::to_string(limit) + " bytes");
      Launch launch;
      launch.args = {"-ve", format, "-i", arc, "plant"};
      launch.out = dir.path() + "/one";
      launch.file_size_limit = limit;
      launch.options.env = {"QORARC_THREADS=1"};
      const Outcome one = RunLaunch(launch);
      ASSERT_EQ(one.status, 255) << one.err;
      for (const char* batch : {"7", "4096"}) {
        SCOPED_TRACE(std::string("batches of ") + batch);
        launch.out = dir.path() + "/many";
        launch.options.env = {"QORARC_THREADS=3", std::string("QORARC_BATCH_ITEMS=") + batch};
        const Outcome many = RunLaunch(launch);
        EXPECT_EQ(many.err, one.err);
        EXPECT_EQ(many.status, one.status);
        EXPECT_EQ(ReadFile(dir.path() + "/many"), ReadFile(dir.path() + "/one"));
      }
    }
  }
}

// Memory stays flat whatever the threads and the width of the items: 20,000
// arrays of 64 Doubles each in pretty JSON (54 MB), 64 threads. Batches
// bounded in items alone held the whole document here. (Sanitizer builds keep freed memory
// aside, so their peak says nothing.)
TEST(ParallelMemoryTest, PeakStaysFlatForWideItems) {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
  GTEST_SKIP() << "the sanitizers' own memory hides the export's";
#endif
  TempDir dir;
  const int64_t day = DayNumber(2020, 1, 1);
  ArchiveBuilder b;
  b.Day(static_cast<uint32_t>(day));
  for (int i = 0; i < 20'000; ++i)
    b.Array<double>(24, int64_t{i} * kSecond, 7, std::vector<double>(64, i / 3.0));
  WriteArchiveFile(ArchiveFilePath(dir.path() + "/arc", day, "plant"), b.bytes());
  for (const char* threads : {"1", "64"}) {
    Launch launch;
    launch.args = {"-p", "-i", dir.path() + "/arc", "plant"};
    launch.options.env = {std::string("QORARC_THREADS=") + threads, "QORARC_BATCH_ITEMS=1000"};
    const Outcome run = RunLaunch(launch);
    ASSERT_EQ(run.status, 0) << run.err;
    EXPECT_LE(run.max_rss_kib, 32 * 1024) << threads << " threads";
  }
}

// Where the system refuses a thread (a process or memory limit), the export
// goes on with the threads it has, down to the reading thread alone.
TEST(ThreadLimitTest, RefusedThreadsLeaveTheExportWhole) {
  TempDir dir;
  ASSERT_EQ(chmod(dir.path().c_str(), 0755), 0);
  const std::string arc = WriteLongArchive(dir.path() + "/arc");
  Launch launch;
  launch.args = {"--csv", "-i", arc, "plant"};
  launch.out = dir.path() + "/one";
  launch.options.env = {"QORARC_THREADS=1"};
  ASSERT_EQ(RunLaunch(launch).status, 0);

  launch.out = dir.path() + "/limited";
  launch.as_nobody = true;
  launch.process_limit = 1;
  // The leak checker of a sanitizer build needs a thread of its own.
  launch.options.env = {"QORARC_THREADS=8", "QORARC_BATCH_ITEMS=100", "ASAN_OPTIONS=detect_leaks=0"};
  const Outcome limited = RunLaunch(launch);
  EXPECT_EQ(limited.err, "");
  EXPECT_EQ(limited.status, 0);
  EXPECT_EQ(ReadFile(dir.path() + "/limited"), ReadFile(dir.path() + "/one"));
}

// Under a memory limit (ulimit -v) that a few threads fill, 64 or 16
// threads wanted: the export goes on with the threads and memory it can
// have, and writes the bytes of one thread. (A sanitizer's shadow memory
// does not fit in such a limit.)
TEST(ThreadLimitTest, MemoryLimitLeavesTheExportWhole) {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
  GTEST_SKIP() << "sanitizer build";
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
  GTEST_SKIP() << "sanitizer build";
#endif
#endif
  TempDir dir;
  const std::string arc = WriteLongArchive(dir.path() + "/arc");
  Launch launch;
  launch.args = {"-i", arc, "plant"};
  launch.out = dir.path() + "/one";
  launch.options.env = {"QORARC_THREADS=1"};
  ASSERT_EQ(RunLaunch(launch).status, 0);
  const std::string one = ReadFile(launch.out);
  launch.out = dir.path() + "/limited";
  launch.address_space_limit = 80'000 * 1024;
  for (const char* threads : {"64", "16"}) {
    for (int run = 0; run < 3; ++run) {
      SCOPED_TRACE(std::string(threads) + " threads, run " + std::to_string(run));
      launch.options.env = {std::string("QORARC_THREADS=") + threads, "QORARC_BATCH_ITEMS=200"};
      const Outcome limited = RunLaunch(launch);
      EXPECT_EQ(limited.err, "");
      EXPECT_EQ(limited.status, 0);
      EXPECT_EQ(limited.signal, 0);
      EXPECT_TRUE(ReadFile(launch.out) == one);
    }
  }
}

}  // namespace
}  // namespace qorarc::testing
