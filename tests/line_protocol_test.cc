// The InfluxDB line protocol export end to end: byte-exact lines of a small
// archive of the edge cases (escapes, int64 limits, NaN and infinities, IDs
// 0 and 65535, an item without a time stamp, two points of one series and
// time), the option precedence, and exports loaded into a real InfluxDB
// server and read back point by point against long CSV.
#include <gtest/gtest.h>

#include <cstdint>
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
// An archive name that needs every escape of a tag value.
constexpr char kName[] = "p l,a=nt";

void WriteEdges(const std::string& root) {
  ArchiveBuilder day0;
  day0.Day(0).Long(0, 13, 42).End();
  WriteArchiveFile(ArchiveFilePath(root, 0, kName), day0.bytes());
  ArchiveBuilder b;
  b.Day(DayNumber(2019, 5, 3))
      .Double(TimeOfDay(10, 0, 0), 0, kNaN)
      .Array<double>(24, TimeOfDay(10, 0, 1, 500'000'000), 65535, {kNaN, -kInf, 1.5, -0.0, 1e30})
      .Text(TimeOfDay(10, 0, 2), 5, 25, "q\"c,b e=f\\g\r\nh\0cut"sv, 3)
      .Large(TimeOfDay(10, 0, 3), 6, std::numeric_limits<int64_t>::max())
      .Large(TimeOfDay(10, 0, 4), 7, std::numeric_limits<int64_t>::min())
      .Bits(TimeOfDay(10, 0, 5), 8, 2, {0x01})
      .System(TimeOfDay(10, 0, 6), 1, 0)
      .Bool(TimeOfDay(10, 0, 7), 9, 1)
      // One series at one time twice: the server keeps the later point.
      .Double(TimeOfDay(10, 0, 8), 10, 1.0)
      .Double(TimeOfDay(10, 0, 8), 10, 2.0)
      .Array<uint32_t>(22, TimeOfDay(10, 0, 9, 999), 0, {4'294'967'295})
      .End();
  WriteArchiveFile(ArchiveFilePath(root, DayNumber(2019, 5, 3), kName), b.bytes());
}

#define PREFIX R"(qorarc,archive=p\ l\,a\=nt,class=)"
const char kLines[] =
    PREFIX R"(GrDouble,id=65535,index=2,type=data real=1.5 1556877601500000000)" "\n"
    PREFIX R"(GrDouble,id=65535,index=3,type=data real=-0.0 1556877601500000000)" "\n"
    PREFIX R"(GrDouble,id=65535,index=4,type=data real=1e30 1556877601500000000)" "\n"
    PREFIX R"(AlString,id=5,index=0,level=Core\ Warning,type=User text="q\"c,b e=f\\g  h" )"
           "1556877602000000000\n"
    PREFIX R"(AlLarge,id=6,index=0,type=data integer=9223372036854775807i 1556877603000000000)" "\n"
    PREFIX R"(AlLarge,id=7,index=0,type=data integer=-9223372036854775808i 1556877604000000000)" "\n"
    PREFIX R"(GrBool,id=8,index=0,type=data flag=true 1556877605000000000)" "\n"
    PREFIX R"(GrBool,id=8,index=1,type=data flag=false 1556877605000000000)" "\n"
    PREFIX R"(System,type=Executive\ events novalue=true 1556877606000000000)" "\n"
    PREFIX R"(AlBool,id=9,type=L->H novalue=true 1556877607000000000)" "\n"
    PREFIX R"(AlDouble,id=10,index=0,type=data real=1.0 1556877608000000000)" "\n"
    PREFIX R"(AlDouble,id=10,index=0,type=data real=2.0 1556877608000000000)" "\n"
    PREFIX R"(GrDWord,id=0,index=0,type=data integer=4294967295i 1556877609000000999)" "\n";
#undef PREFIX

const std::string kWarning =
    "Warning: 4 values (NaN, infinite or without a time stamp) have no line protocol form and "
    "were left out (first: ID 13 without a time stamp).\n";

class LineProtocolTest : public ::testing::TestWithParam<RunCase> {};

TEST_P(LineProtocolTest, Exports) { ExpectRun(GetParam(), WriteEdges); }

INSTANTIATE_TEST_SUITE_P(
    Runs, LineProtocolTest,
    ::testing::Values(
        RunCase{"LineProtocol", {"-lp", kName}, kLines, kWarning, 2},
        RunCase{"WinsOverJsonLinesLongCsvAndCsv",
                {"-jl", "-lc", "-cf", "--line-protocol", "-dscl", kName}, kLines, kWarning, 2},
        RunCase{"OneNonFiniteValue", {"-lp", "-f", "0", kName},
                // System records count as ID 0 for the filter.
                "qorarc,archive=p\\ l\\,a\\=nt,class=System,type=Executive\\ events novalue=true "
                "1556877606000000000\n"
                "qorarc,archive=p\\ l\\,a\\=nt,class=GrDWord,id=0,index=0,type=data "
                "integer=4294967295i 1556877609000000999\n",
                "Warning: 1 value (NaN, infinite or without a time stamp) has no line protocol "
                "form and was left out (first: ID 0 at 2019-05-03T10:00:00.000000Z).\n", 2},
        RunCase{"AllWrittenNoWarning", {"-lp", "-f", "8", kName},
                "qorarc,archive=p\\ l\\,a\\=nt,class=GrBool,id=8,index=0,type=data flag=true "
                "1556877605000000000\n"
                "qorarc,archive=p\\ l\\,a\\=nt,class=GrBool,id=8,index=1,type=data flag=false "
                "1556877605000000000\n", "", 0},
        RunCase{"NothingFound", {"-lp", "nothing"}, "",
                "Archive 'nothing' not found in '@arc'. Try parameter '--scan' to find available "
                "archives.\n", 0}),
    [](const ::testing::TestParamInfo<RunCase>& info) { return std::string(info.param.name); });

// Parquet wins over the line protocol, and carries NaN: no warning.
TEST(LineProtocolTest, ParquetWins) {
  TempDir dir;
  WriteEdges(dir.path() + "/arc");
  const ProgramResult r = RunQorArc({"-i", dir.path() + "/arc", "-lp", "-pq", kName});
  EXPECT_TRUE(r.out.starts_with("PAR1"));
  EXPECT_EQ(r.err, "");
  EXPECT_EQ(r.status, 0);
}

// The edge archive, the sample archive and random archives (NaN, infinities,
// text arrays, texts of any byte) through a real InfluxDB server: every
// point reads back as long CSV says, the later of two points of one series
// and time kept.
TEST(LineProtocolInfluxTest, ServerReadsBackWhatLongCsvSays) {
  TempDir dir;
  std::string command = "/usr/bin/python3 " + TestScriptPath("line_protocol_influx.py");
  auto add = [&](const std::string& root, const std::string& name, const std::string& db) {
    const std::string lines = dir.path() + "/" + db + ".lp", table = dir.path() + "/" + db + ".csv";
    const int status = RunQorArc({"-i", root, "-lp", "-o", lines, name}).status;
    ASSERT_TRUE(status == 0 || status == 2);
    ASSERT_EQ(RunQorArc({"-i", root, "-lc", "-o", table, name}).status, 0);
    command += " " + lines + " " + table + " '" + db + ":" + name + "'";
  };
  ForEachReadbackArchive(dir.path(), WriteEdges, kName, add);
  ExpectCheckPasses(command);
}

}  // namespace
}  // namespace qorarc::testing
