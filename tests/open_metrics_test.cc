// The OpenMetrics export end to end: byte-exact samples of a small archive
// of the edge cases (label escapes, a name that is not UTF-8, int64 limits,
// NaN and infinities, IDs 0 and 65535, an item without a time stamp, two
// samples of one series in one millisecond, a sample older than the one
// before it), the option precedence, and exports backfilled by promtool and
// read back sample by sample against long CSV.
#include <gtest/gtest.h>

#include <cstdint>
#include <fstream>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include "archive/archive_writer.h"
#include "support/program_run.h"
#include "support/random_archive.h"
#include "support/run_case.h"

namespace qorarc::testing {
namespace {

using namespace std::string_view_literals;

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInf = std::numeric_limits<double>::infinity();
// An archive name that needs every escape of a label value, a carriage
// return that needs none, and a repair.
constexpr char kName[] = "p\"l\\a\nn,t= x\r\xff";

void WriteEdges(const std::string& root) {
  ArchiveBuilder day0;
  day0.Day(0).Long(0, 13, 42).End();
  WriteArchiveFile(ArchiveFilePath(root, 0, kName), day0.bytes());
  // A millisecond that int64(seconds * 1000) misses without the half.
  ArchiveBuilder day2004;
  day2004.Day(DayNumber(2004, 3, 22)).Double(TimeOfDay(1, 32, 9, 416'000'000), 12, 0.25).End();
  WriteArchiveFile(ArchiveFilePath(root, DayNumber(2004, 3, 22), kName), day2004.bytes());
  ArchiveBuilder b;
  b.Day(DayNumber(2019, 5, 3))
      .Double(TimeOfDay(10, 0, 0), 0, kNaN)
      .Array<double>(24, TimeOfDay(10, 0, 1, 500'000'000), 65535, {kNaN, -kInf, 1.5, -0.0, 1e30})
      .Text(TimeOfDay(10, 0, 2), 5, 25, "q\"c,b e=f\\g\r\nh\0cut"sv, 3)
      .Large(TimeOfDay(10, 0, 3), 6, std::numeric_limits<int64_t>::max())
      .Large(TimeOfDay(10, 0, 4), 7, std::numeric_limits<int64_t>::min())
      .Large(TimeOfDay(10, 0, 4), 11, (int64_t{1} << 53) + 1)
      .Bits(TimeOfDay(10, 0, 5), 8, 2, {0x01})
      .System(TimeOfDay(10, 0, 6), 1, 0)
      .Bool(TimeOfDay(10, 0, 7), 9, 1)
      // One series in one millisecond twice, then a sample older than the
      // last: both left out; a later one is written.
      .Double(TimeOfDay(10, 0, 8, 100), 10, 1.0)
      .Double(TimeOfDay(10, 0, 8, 999'999), 10, 2.0)
      .Double(TimeOfDay(10, 0, 7, 999'999'999), 10, 3.0)
      .Double(TimeOfDay(10, 0, 8, 1'000'000), 10, 4.0)
      .Array<uint32_t>(22, TimeOfDay(10, 0, 9, 999), 0, {4'294'967'295})
      .Array<uint32_t>(22, TimeOfDay(10, 0, 9, 999'999'999), 0, {0, 1})
      .End();
  WriteArchiveFile(ArchiveFilePath(root, DayNumber(2019, 5, 3), kName), b.bytes());
}

#define LABELS R"(qorarc_value{archive="p\"l\\a\nn,t= x)" "\r\xef\xbf\xbd" R"(",)"
const char kSamples[] =
    "# TYPE qorarc_value gauge\n"
    LABELS R"(id="12",class="AlDouble",type="data",index="0"} 0.25 1079919129.4165)" "\n"
    LABELS R"(id="0",class="AlDouble",type="data",index="0"} NaN 1556877600.0005)" "\n"
    LABELS R"(id="65535",class="GrDouble",type="data",index="0"} NaN 1556877601.5005)" "\n"
    LABELS R"(id="65535",class="GrDouble",type="data",index="1"} -Inf 1556877601.5005)" "\n"
    LABELS R"(id="65535",class="GrDouble",type="data",index="2"} 1.5 1556877601.5005)" "\n"
    LABELS R"(id="65535",class="GrDouble",type="data",index="3"} -0.0 1556877601.5005)" "\n"
    LABELS R"(id="65535",class="GrDouble",type="data",index="4"} 1e30 1556877601.5005)" "\n"
    LABELS R"(id="6",class="AlLarge",type="data",index="0"} 9223372036854775807 1556877603.0005)" "\n"
    LABELS R"(id="7",class="AlLarge",type="data",index="0"} -9223372036854775808 1556877604.0005)" "\n"
    LABELS R"(id="11",class="AlLarge",type="data",index="0"} 9007199254740993 1556877604.0005)" "\n"
    LABELS R"(id="8",class="GrBool",type="data",index="0"} 1 1556877605.0005)" "\n"
    LABELS R"(id="8",class="GrBool",type="data",index="1"} 0 1556877605.0005)" "\n"
    LABELS R"(id="10",class="AlDouble",type="data",index="0"} 1.0 1556877608.0005)" "\n"
    LABELS R"(id="10",class="AlDouble",type="data",index="0"} 4.0 1556877608.0015)" "\n"
    LABELS R"(id="0",class="GrDWord",type="data",index="0"} 4294967295 1556877609.0005)" "\n"
    LABELS R"(id="0",class="GrDWord",type="data",index="0"} 0 1556877609.9995)" "\n"
    LABELS R"(id="0",class="GrDWord",type="data",index="1"} 1 1556877609.9995)" "\n"
    "# EOF\n";
#undef LABELS

const std::string kWarning =
    "Warning: 6 values have no OpenMetrics sample and were left out (3 without a number, 1 "
    "without a time stamp, 2 not after the last millisecond of their series; first: ID 13 "
    "without a time stamp).\n";

class OpenMetricsTest : public ::testing::TestWithParam<RunCase> {};

TEST_P(OpenMetricsTest, Exports) { ExpectRun(GetParam(), WriteEdges); }

INSTANTIATE_TEST_SUITE_P(
    Runs, OpenMetricsTest,
    ::testing::Values(
        RunCase{"OpenMetrics", {"-om", kName}, kSamples, kWarning, 2},
        RunCase{"WinsOverJsonLinesLongCsvAndCsv",
                {"-jl", "-lc", "-cf", "--openmetrics", "-dscl", kName}, kSamples, kWarning, 2},
        RunCase{"OneSeriesTwiceInOneMillisecondThenOlder", {"-om", "-f", "10", kName},
                "# TYPE qorarc_value gauge\n"
                R"(qorarc_value{archive="p\"l\\a\nn,t= x)" "\r\xef\xbf\xbd"
                R"(",id="10",class="AlDouble",type="data",index="0"} 1.0 1556877608.0005)" "\n"
                R"(qorarc_value{archive="p\"l\\a\nn,t= x)" "\r\xef\xbf\xbd"
                R"(",id="10",class="AlDouble",type="data",index="0"} 4.0 1556877608.0015)" "\n"
                "# EOF\n",
                "Warning: 2 values have no OpenMetrics sample and were left out (0 without a "
                "number, 0 without a time stamp, 2 not after the last millisecond of their "
                "series; first: ID 10 at 2019-05-03T10:00:08.001000Z).\n", 2},
        RunCase{"OneWithoutANumber", {"-om", "-f", "9", kName},
                "# TYPE qorarc_value gauge\n# EOF\n",
                "Warning: 1 value has no OpenMetrics sample and was left out (1 without a number, "
                "0 without a time stamp, 0 not after the last millisecond of their series; first: "
                "ID 9 at 2019-05-03T10:00:07.000000Z).\n", 2},
        RunCase{"AllWrittenNoWarning", {"-om", "-f", "8", kName},
                "# TYPE qorarc_value gauge\n"
                R"(qorarc_value{archive="p\"l\\a\nn,t= x)" "\r\xef\xbf\xbd"
                R"(",id="8",class="GrBool",type="data",index="0"} 1 1556877605.0005)" "\n"
                R"(qorarc_value{archive="p\"l\\a\nn,t= x)" "\r\xef\xbf\xbd"
                R"(",id="8",class="GrBool",type="data",index="1"} 0 1556877605.0005)" "\n"
                "# EOF\n", "", 0},
        RunCase{"NothingFound", {"-om", "nothing"}, "# TYPE qorarc_value gauge\n# EOF\n",
                "Archive 'nothing' not found in '@arc'. Try parameter '--scan' to find available "
                "archives.\n", 0}),
    [](const ::testing::TestParamInfo<RunCase>& info) { return std::string(info.param.name); });

// Threads write the same samples and leave out the same: the reading
// thread decides.
TEST(OpenMetricsTest, SameForAnyThreadCount) {
  TempDir dir;
  WriteEdges(dir.path() + "/arc");
  for (const char* threads : {"QORARC_THREADS=1", "QORARC_THREADS=2", "QORARC_THREADS=3"}) {
    for (const char* batch : {"QORARC_BATCH_ITEMS=1", "QORARC_BATCH_ITEMS=2"}) {
      SCOPED_TRACE(std::string(threads) + " " + batch);
      const ProgramResult r =
          RunQorArc({"-i", dir.path() + "/arc", "-om", kName}, {{threads, batch}, ""});
      EXPECT_EQ(r.out, kSamples);
      EXPECT_EQ(r.err, kWarning);
      EXPECT_EQ(r.status, 2);
    }
  }
}

// The line protocol wins over OpenMetrics, with its own warning.
TEST(OpenMetricsTest, LineProtocolWins) {
  TempDir dir;
  WriteEdges(dir.path() + "/arc");
  const ProgramResult om = RunQorArc({"-i", dir.path() + "/arc", "-om", "-lp", kName});
  const ProgramResult lp = RunQorArc({"-i", dir.path() + "/arc", "-lp", kName});
  EXPECT_EQ(om.out, lp.out);
  EXPECT_EQ(om.err, lp.err);
  EXPECT_EQ(om.status, lp.status);
}

// The edge archive, the sample archive and random archives (NaN,
// infinities, text arrays, texts of any byte) backfilled by promtool and
// dumped: every sample reads back as long CSV says, and what is missing is
// what the warning counts.
TEST(OpenMetricsPromtoolTest, BackfillReadsBackWhatLongCsvSays) {
  TempDir dir;
  std::string command = "/usr/bin/python3 " + TestScriptPath("open_metrics_promtool.py");
  auto add = [&](const std::string& root, const std::string& name, const std::string& label) {
    const std::string base = dir.path() + "/" + label;
    const ProgramResult r = RunQorArc({"-i", root, "-om", "-o", base + ".om", name});
    ASSERT_TRUE(r.status == 0 || r.status == 2);
    std::ofstream(base + ".err") << r.err;
    std::ofstream(base + ".name") << name;
    ASSERT_EQ(RunQorArc({"-i", root, "-lc", "-o", base + ".csv", name}).status, 0);
    command += " " + base;
  };
  ForEachReadbackArchive(dir.path(), WriteEdges, kName, add);
  ExpectCheckPasses(command);
}

}  // namespace
}  // namespace qorarc::testing
