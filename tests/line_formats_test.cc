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

namespace qorarc::testing {
namespace {

using namespace std::string_view_literals;

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInf = std::numeric_limits<double>::infinity();

// Archive "a": an item without a time stamp on 2000-01-01 (day 0, time 0),
// then a day of every value category, the last nanosecond of the day and a
// time of day past midnight.
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
      .Array<uint16_t>(27, TimeOfDay(10, 0, 8), 10, {3})
      .DWord(TimeOfDay(23, 59, 59, 999'999'999), 11, 7)
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
    R"("values":[null,null]})",
    R"({"ts":"2019-05-03T10:00:08.000000000Z","id":10,"class":"GrError","type":"data",)"
    R"("values":[null]})",
    R"({"ts":"2019-05-03T23:59:59.999999999Z","id":11,"class":"AlDWord","type":"data","values":[7]})",
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
    "2019-05-03T10:00:07.000000000Z,9,GrTime,data,,0,,\n"
    "2019-05-03T10:00:07.000000000Z,9,GrTime,data,,1,,\n"
    "2019-05-03T10:00:08.000000000Z,10,GrError,data,,0,,\n"
    "2019-05-03T23:59:59.999999999Z,11,AlDWord,data,,0,7,\n"
    "2019-05-04T01:30:00.000000000Z,12,AlLong,data,,0,-5,\n";

std::string Lines(size_t first, size_t end) {
  std::string text;
  for (size_t i = first; i < end; ++i) text += kLines[i] + "\n";
  return text;
}

const std::string kNotFound =
    "Archive 'nothing' not found in '@arc'. Try parameter '--scan' to find available archives.\n";

struct RunCase {
  const char* name;
  std::vector<std::string> args;  // "-i <root>" goes first
  std::string out;
  std::string err;
};

void PrintTo(const RunCase& c, std::ostream* os) { *os << c.name; }

class LineFormatsTest : public ::testing::TestWithParam<RunCase> {};

TEST_P(LineFormatsTest, Exports) {
  const RunCase& c = GetParam();
  TempDir dir;
  const std::string root = dir.path() + "/arc";
  WriteSample(root);
  std::vector<std::string> args = {"-i", root};
  args.insert(args.end(), c.args.begin(), c.args.end());
  ProgramResult r = RunQorArc(args);
  for (size_t at; (at = r.err.find(root)) != std::string::npos;) r.err.replace(at, root.size(), "@arc");
  EXPECT_EQ(r.out, c.out);
  EXPECT_EQ(r.err, c.err);
  EXPECT_EQ(r.status, 0);
}

INSTANTIATE_TEST_SUITE_P(
    Runs, LineFormatsTest,
    ::testing::Values(
        RunCase{"JsonLines", {"-jl", "a"}, Lines(0, 12), ""},
        RunCase{"JsonLinesWinsOverEveryFormatAndIgnoresTheirOptions",
                {"-lc", "-cf", "--json-lines", "-dscl", "-p", "-itc", "a"}, Lines(0, 12), ""},
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
        RunCase{"BoundInHoursAndMinutes", {"-jl", "-ft1", "2019-05-03 23:59", "a"}, Lines(10, 12),
                ""},
        RunCase{"WholeLastDay", {"-jl", "-ft1", "2019-05-03", "-ft2", "2019-05-03 23:59:59.999999999",
                 "-f", "11,12", "a"}, Lines(10, 11), ""}),
    [](const ::testing::TestParamInfo<RunCase>& info) { return std::string(info.param.name); });

// Items of every kind with random values: any real (NaN and infinities
// included), any text byte, text arrays without a form.
struct Generated {
  std::string bytes;
  int items = 0;
  int rows = 0;  // of the long CSV
};

Generated Generate(uint64_t seed) {
  std::mt19937_64 random(seed);
  auto below = [&random](uint64_t n) { return static_cast<int>(random() % n); };
  auto real = [&]() {
    const int pick = below(8);
    if (pick == 0) return kNaN;
    if (pick == 1) return below(2) ? kInf : -kInf;
    if (pick == 2) return std::bit_cast<double>(random());
    return (static_cast<double>(random() % 2'000'001) - 1e6) / 1024.0;
  };
  Generated g;
  ArchiveBuilder b;
  b.Day(DayNumber(2019, 5, 3));
  for (int i = 0; i < 3000; ++i) {
    const int64_t t = int64_t{i} * 20'000'000'000 + below(1'000'000'000);
    const auto id = static_cast<uint16_t>(below(100));
    const auto n = static_cast<uint8_t>(1 + below(6));
    const int kind = below(9);
    const int rows = kind == 0 || kind == 4 || kind >= 7 ? 1 : n;
    switch (kind) {
      case 0: b.Double(t, id, real()); break;
      case 1: {
        std::vector<double> values(n);
        for (double& v : values) v = real();
        b.Array<double>(24, t, id, values);
        break;
      }
      case 2: {
        std::vector<int32_t> values(n);
        for (int32_t& v : values) v = static_cast<int32_t>(random());
        b.Array<int32_t>(20, t, id, values);
        break;
      }
      case 3: b.Bits(t, id, n, {static_cast<uint8_t>(random())}); break;
      case 4: {
        std::string text(below(40), '\0');
        for (char& c : text) c = static_cast<char>(below(4) == 0 ? "\"\n\r,\xE2\x82\xAC"[below(7)] : random());
        b.Text(t, id, 25, text, 3);
        break;
      }
      case 5: b.Array<uint64_t>(25, t, id, std::vector<uint64_t>(n, 1)); break;
      case 6: b.Array<uint16_t>(27, t, id, std::vector<uint16_t>(n, 2)); break;
      case 7: b.System(t, 1, 0); break;
      default: b.Bool(t, id, 1);
    }
    ++g.items;
    g.rows += rows;
  }
  b.End();
  g.bytes = b.bytes();
  return g;
}

TEST(LineFormatsReadersTest, ReadersLoadGeneratedArchives) {
  for (uint64_t seed : {1, 2, 3}) {
    TempDir dir;
    const Generated g = Generate(seed);
    const std::string root = dir.path() + "/arc";
    WriteArchiveFile(ArchiveFilePath(root, DayNumber(2019, 5, 3), "g"), g.bytes);
    const std::string lines = dir.path() + "/out.jsonl", table = dir.path() + "/out.csv";
    ASSERT_EQ(RunQorArc({"-i", root, "-jl", "-o", lines, "g"}).status, 0);
    ASSERT_EQ(RunQorArc({"-i", root, "-lc", "-o", table, "g"}).status, 0);
    // Debian's python3, where scripts/install-deps.sh puts pandas.
    const std::string command = "/usr/bin/python3 " + TestScriptPath("line_formats_readers.py") + " " + lines + " " + table + " " +
                                std::to_string(g.items) + " " + std::to_string(g.rows) + " 2>&1";
    int status = -1;
    const std::string output = RunShell(command, &status);
    EXPECT_EQ(status, 0) << output;
    EXPECT_EQ(output, "ok\n") << "seed " << seed;
  }
}

}  // namespace
}  // namespace qorarc::testing
