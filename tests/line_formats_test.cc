// JSON Lines and long CSV end to end: byte-exact exports of a small archive,
// the option precedence, the not-found output, time bounds in the exports'
// own forms, and generated archives loaded by the readers these formats are
// for (python3's json and csv modules, sqlite3's CSV import, pandas).
#include <gtest/gtest.h>

#include <bit>
#include <cmath>
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

// Archive "a": an item without a time stamp on 2000-01-01 (day 0, time 0),
// then a day of every value category, values that only exact integers
// carry, the last nanosecond of the day and a time of day past midnight.
void WriteSample(const std::string& root) {
  ArchiveBuilder day0;
  day0.Day(0).Long(0, 13, 42).End();
  WriteArchiveFile(ArchiveFilePath(root, 0, "a"), day0.bytes());
  ArchiveBuilder b;
  b.Day(DayNumber(2019, 5, 3))
      .Double(TimeOfDay(10, 0, 0), 3, 1.5)
      .Array<double>(24, TimeOfDay(10, 0, 1, 500'000'000), 4, {kNaN, -kInf, kInf, -0.0, 1e30})
      .Text(TimeOfDay(10, 0, 2), 5, 25, "a,b\"c\nd\xE9\xED\xA0\x80 \0cut"sv, 3)
      .Text(TimeOfDay(10, 0, 3), 6, 25, "", 3)
      .System(TimeOfDay(10, 0, 4), 1, 0)
      .Bool(TimeOfDay(10, 0, 5), 7, 1)
      .Bits(TimeOfDay(10, 0, 6), 8, 3, {0x05})
      .Array<uint64_t>(25, TimeOfDay(10, 0, 7), 9, {1, 2})
      .Array<uint16_t>(27, TimeOfDay(10, 0, 8), 10, {0xFFFD})
      // Values only exact integers carry: above 2^53, above 2^31 unsigned,
      // the unnamed 8- and 2-byte types as the integers of their bytes.
      .Large(TimeOfDay(10, 0, 9), 14, 9'007'199'254'740'993)
      .Array<int64_t>(26, TimeOfDay(10, 0, 10), 15, {-9'223'372'036'854'775'807, 1})
      .Time(TimeOfDay(10, 0, 11), 16, 0xFFFF'FFFF'FFFF'FFFF)
      .Array<uint32_t>(22, TimeOfDay(10, 0, 12), 17, {3'000'000'000})
      .Error(TimeOfDay(10, 0, 13), 18, 0x8000)
      .DWord(TimeOfDay(23, 59, 59, 999'999'999), 11, 4'294'967'295)
      .Long(TimeOfDay(25, 30, 0), 12, -5)
      .End();
  WriteArchiveFile(ArchiveFilePath(root, DayNumber(2019, 5, 3), "a"), b.bytes());
}

// Four replacement characters: é, then ED A0 80 (a surrogate) byte by byte.
#define BAD4 "\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD"

const std::string kLines[] = {
    R"({"ts":null,"id":13,"class":"AlLong","type":"data","values":[42]})",
    R"({"ts":"2019-05-03T10:00:00.000000000Z","id":3,"class":"AlDouble","type":"data","values":[1.5]})",
    R"({"ts":"2019-05-03T10:00:01.500000000Z","id":4,"class":"GrDouble","type":"data",)"
    R"("values":[null,null,null,-0.0,1e30]})",
    R"({"ts":"2019-05-03T10:00:02.000000000Z","id":5,"class":"AlString","type":"User",)"
    R"("level":"Core Warning","values":["a,b\"c\nd)" BAD4 R"( "]})",
    R"({"ts":"2019-05-03T10:00:03.000000000Z","id":6,"class":"AlString","type":"User",)"
    R"("level":"Core Warning","values":[""]})",
    R"({"ts":"2019-05-03T10:00:04.000000000Z","class":"System","type":"Executive events"})",
    R"({"ts":"2019-05-03T10:00:05.000000000Z","id":7,"class":"AlBool","type":"L->H","values":[]})",
    R"({"ts":"2019-05-03T10:00:06.000000000Z","id":8,"class":"GrBool","type":"data",)"
    R"("values":[true,false,true]})",
    R"({"ts":"2019-05-03T10:00:07.000000000Z","id":9,"class":"GrTime","type":"data",)"
    R"("values":[1,2]})",
    R"({"ts":"2019-05-03T10:00:08.000000000Z","id":10,"class":"GrError","type":"data",)"
    R"("values":[-3]})",
    R"({"ts":"2019-05-03T10:00:09.000000000Z","id":14,"class":"AlLarge","type":"data",)"
    R"("values":[9007199254740993]})",
    R"({"ts":"2019-05-03T10:00:10.000000000Z","id":15,"class":"GrLarge","type":"data",)"
    R"("values":[-9223372036854775807,1]})",
    R"({"ts":"2019-05-03T10:00:11.000000000Z","id":16,"class":"AlTime","type":"data",)"
    R"("values":[-1]})",
    R"({"ts":"2019-05-03T10:00:12.000000000Z","id":17,"class":"GrDWord","type":"data",)"
    R"("values":[3000000000]})",
    R"({"ts":"2019-05-03T10:00:13.000000000Z","id":18,"class":"AlError","type":"data",)"
    R"("values":[-32768]})",
    R"({"ts":"2019-05-03T23:59:59.999999999Z","id":11,"class":"AlDWord","type":"data",)"
    R"("values":[4294967295]})",
    R"({"ts":"2019-05-04T01:30:00.000000000Z","id":12,"class":"AlLong","type":"data","values":[-5]})",
};

const char kLongCsv[] =
    "ts,id,class,type,level,index,value,text\n"
    ",13,AlLong,data,,0,42,\n"
    "2019-05-03T10:00:00.000000000Z,3,AlDouble,data,,0,1.5,\n"
    "2019-05-03T10:00:01.500000000Z,4,GrDouble,data,,0,NaN,\n"
    "2019-05-03T10:00:01.500000000Z,4,GrDouble,data,,1,-Infinity,\n"
    "2019-05-03T10:00:01.500000000Z,4,GrDouble,data,,2,Infinity,\n"
    "2019-05-03T10:00:01.500000000Z,4,GrDouble,data,,3,-0.0,\n"
    "2019-05-03T10:00:01.500000000Z,4,GrDouble,data,,4,1e30,\n"
    "2019-05-03T10:00:02.000000000Z,5,AlString,User,Core Warning,0,,\"a,b\"\"c\nd" BAD4 " \"\n"
    "2019-05-03T10:00:03.000000000Z,6,AlString,User,Core Warning,0,,\n"
    "2019-05-03T10:00:04.000000000Z,,System,Executive events,,,,\n"
    "2019-05-03T10:00:05.000000000Z,7,AlBool,L->H,,,,\n"
    "2019-05-03T10:00:06.000000000Z,8,GrBool,data,,0,1,\n"
    "2019-05-03T10:00:06.000000000Z,8,GrBool,data,,1,0,\n"
    "2019-05-03T10:00:06.000000000Z,8,GrBool,data,,2,1,\n"
    "2019-05-03T10:00:07.000000000Z,9,GrTime,data,,0,1,\n"
    "2019-05-03T10:00:07.000000000Z,9,GrTime,data,,1,2,\n"
    "2019-05-03T10:00:08.000000000Z,10,GrError,data,,0,-3,\n"
    "2019-05-03T10:00:09.000000000Z,14,AlLarge,data,,0,9007199254740993,\n"
    "2019-05-03T10:00:10.000000000Z,15,GrLarge,data,,0,-9223372036854775807,\n"
    "2019-05-03T10:00:10.000000000Z,15,GrLarge,data,,1,1,\n"
    "2019-05-03T10:00:11.000000000Z,16,AlTime,data,,0,-1,\n"
    "2019-05-03T10:00:12.000000000Z,17,GrDWord,data,,0,3000000000,\n"
    "2019-05-03T10:00:13.000000000Z,18,AlError,data,,0,-32768,\n"
    "2019-05-03T23:59:59.999999999Z,11,AlDWord,data,,0,4294967295,\n"
    "2019-05-04T01:30:00.000000000Z,12,AlLong,data,,0,-5,\n";

std::string Lines(size_t first, size_t end) {
  std::string text;
  for (size_t i = first; i < end; ++i) text += kLines[i] + "\n";
  return text;
}

const std::string kNotFound =
    "Archive 'nothing' not found in '@arc'. Try parameter '--scan' to find available archives.\n";

class LineFormatsTest : public ::testing::TestWithParam<RunCase> {};

TEST_P(LineFormatsTest, Exports) { ExpectRun(GetParam(), WriteSample); }

INSTANTIATE_TEST_SUITE_P(
    Runs, LineFormatsTest,
    ::testing::Values(
        RunCase{"JsonLines", {"-jl", "a"}, Lines(0, 17), ""},
        RunCase{"JsonLinesWinsOverEveryFormatAndIgnoresTheirOptions",
                {"-lc", "-cf", "--json-lines", "-dscl", "-p", "-itc", "a"}, Lines(0, 17), ""},
        RunCase{"JsonLinesCountAndIds", {"-jl", "-f", "3..12", "-ic", "2", "a"}, Lines(1, 3), ""},
        RunCase{"JsonLinesNothingFound", {"-jl", "nothing"}, "", kNotFound},
        RunCase{"LongCsv", {"--long-csv", "a"}, kLongCsv, ""},
        RunCase{"LongCsvWinsOverCsvAndIgnoresItsOptions",
                {"-cf", "-lc", "-itc", "-ch", "x", "-ccf", "0", "a"}, kLongCsv, ""},
        RunCase{"LongCsvDelimiterPrecedence", {"-lc", "-dtab", "-dspc", "-f", "6,8", "a"},
                "ts id class type level index value text\n"
                "2019-05-03T10:00:03.000000000Z 6 AlString User \"Core Warning\" 0  \n"
                "2019-05-03T10:00:06.000000000Z 8 GrBool data  0 1 \n"
                "2019-05-03T10:00:06.000000000Z 8 GrBool data  1 0 \n"
                "2019-05-03T10:00:06.000000000Z 8 GrBool data  2 1 \n", ""},
        RunCase{"LongCsvNothingFound", {"-lc", "-dscl", "nothing"},
                "ts;id;class;type;level;index;value;text\n", kNotFound},
        // The exports' own time texts read back as bounds, shown as usual.
        RunCase{"BoundsInExportForms",
                {"-ve", "-jl", "-ft1", "2019-05-03T10:00:01.500000000Z", "-ft2",
                 "2019-05-03T10:00:03Z", "a"},
                Lines(2, 5),
                "Verbose mode enabled.\n"
                "Export to JSON Lines enabled.\n"
                "Start of the timespan is set to: 2019-05-03 10:00:01.500000\n"
                "End of the timespan is set to: 2019-05-03 10:00:03.000000\n"
                "Name of the archive: 'a'\n"
                "Exporting data from '@arc/2019/2019-05/2019-05-03_a.rea'.\n"},
        RunCase{"WholeLastDay", {"-jl", "-ft1", "2019-05-03", "-ft2", "2019-05-03 23:59:59.999999999",
                 "-f", "11,12", "a"}, Lines(15, 16), ""}),
    [](const ::testing::TestParamInfo<RunCase>& info) { return std::string(info.param.name); });

// Random archives with every kind of item, NaN and infinite reals, text
// arrays without a form and texts of any byte, loaded by the readers these
// formats are for: python3's json and csv modules, sqlite3's CSV import and
// pandas (Debian's python3, where scripts/install-deps.sh puts pandas).
TEST(LineFormatsReadersTest, ReadersLoadRandomArchives) {
  TempDir dir;
  std::string command = "/usr/bin/python3 " + TestScriptPath("line_formats_readers.py");
  for (uint64_t seed = 1; seed <= 40; ++seed) {
    const std::string root = dir.path() + "/" + std::to_string(seed);
    Random r{std::mt19937_64(seed)};
    const size_t items = WriteRandomArchive(r, root, {.non_finite = true, .text_arrays = true}).size();
    const std::string lines = root + ".jsonl", table = root + ".csv";
    ASSERT_EQ(RunQorArc({"-i", root, "-jl", "-o", lines, "plant"}).status, 0);
    ASSERT_EQ(RunQorArc({"-i", root, "-lc", "-o", table, "plant"}).status, 0);
    command += " " + lines + " " + table + " " + std::to_string(items);
  }
  int status = -1;
  const std::string output = RunShell(command + " 2>&1", &status);
  EXPECT_EQ(status, 0) << output;
  EXPECT_EQ(output, "ok\n");
}

}  // namespace
}  // namespace qorarc::testing
