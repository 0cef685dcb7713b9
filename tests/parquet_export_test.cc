// The Parquet export end to end: random archives of every value code read by
// DuckDB, hyparquet and parquet-wasm with every cell equal to long CSV's, the same bytes
// for any number of threads, row groups an engine can skip by time, and the
// refusals.
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdint>
#include <filesystem>
#include <random>
#include <string>
#include <vector>

#include "archive/archive_writer.h"
#include "support/program_run.h"
#include "support/random_archive.h"

namespace qorarc::testing {
namespace {

bool ReadersInstalled() {
  return std::filesystem::exists(TestScriptPath("readers/node_modules"));
}

TEST(ParquetExportTest, ReadersSeeTheCellsOfLongCsv) {
  if (!ReadersInstalled()) GTEST_SKIP() << "tests/readers/node_modules missing: run scripts/install-deps.sh";
  TempDir dir;
  std::string command = "/usr/bin/python3 " + TestScriptPath("parquet_check.py") + " " +
                        TestScriptPath("readers");
  for (uint64_t seed = 0; seed <= 13; ++seed) {
    const std::string root = dir.path() + "/" + std::to_string(seed);
    if (seed == 0) {
      // By hand: no time stamp, one 1 ns before a whole microsecond, texts
      // empty, odd and not UTF-8, and values only exact integers carry.
      ArchiveBuilder b;
      b.Day(0).Long(0, 13, 42).Long(1'999, 14, 7).Text(2'000, 2, 25, "").Text(2, 3, 61, "a,\"b\"\n\xFF\xC0;\0x", 7)
          .Large(3, 4, 9'007'199'254'740'993).DWord(4, 5, 4'294'967'295)
          .Array<int64_t>(26, 5, 6, {INT64_MIN, INT64_MAX});
      WriteArchiveFile(ArchiveFilePath(root, 0, "plant"), b.bytes());
    } else if (seed == 13) {
      // Items whose rows lie on two pages: 1,200 arrays of 60 Doubles, 72,000
      // rows; the first page ends after 65,536, inside the item 1,092.
      ArchiveBuilder b;
      b.Day(0);
      for (int i = 0; i < 1'200; ++i) {
        std::vector<double> values(60);
        for (int j = 0; j < 60; ++j) values[static_cast<size_t>(j)] = i * 60 + j + 0.5;
        b.Array<double>(24, int64_t{i} * 1'000'003, static_cast<uint16_t>(i % 50), values);
      }
      WriteArchiveFile(ArchiveFilePath(root, 0, "plant"), b.bytes());
    } else {
      Random r{std::mt19937_64(seed)};
      WriteRandomArchive(r, root, {.non_finite = true, .text_arrays = true});
    }
    const std::string base = root + "/plant";
    ASSERT_EQ(RunQorArc({"-i", root, "-lc", "-o", base + ".csv", "plant"}).status, 0);
    ASSERT_EQ(RunQorArc({"-i", root, "-jl", "-o", base + ".jsonl", "plant"}).status, 0);
    ASSERT_EQ(RunQorArc({"-i", root, "-pq", "-o", base + ".parquet", "plant"},
                        {{"QORARC_THREADS=1"}, ""}).status, 0);
    command += " " + base + ".parquet " + base + ".csv " + base + ".jsonl";
  }
  int status = -1;
  const std::string output = RunShell(command + " 2>&1", &status);
  EXPECT_EQ(status, 0) << output;
  EXPECT_EQ(output, "ok\n");
}

// 20,000 arrays of 64 Doubles: 1,280,000 rows, two row groups of whole
// pages, the same bytes with one thread and with three; DuckDB finds the
// time bounds of each row group.
TEST(ParquetExportTest, RowGroupsAreTheSameForAnyThreads) {
  TempDir dir;
  const std::string root = dir.path() + "/arc";
  const int64_t day = DayNumber(2020, 3, 1);
  ArchiveBuilder b;
  b.Day(static_cast<uint32_t>(day));
  for (int i = 0; i < 20'000; ++i)
    b.Array<double>(24, int64_t{i} * 1'000'000'000, static_cast<uint16_t>(i % 50),
                    std::vector<double>(64, i * 0.5));
  WriteArchiveFile(ArchiveFilePath(root, day, "plant"), b.bytes());
  const std::string one = dir.path() + "/one.parquet", three = dir.path() + "/three.parquet";
  ASSERT_EQ(RunQorArc({"-i", root, "-pq", "-o", one, "plant"}, {{"QORARC_THREADS=1"}, ""}).status, 0);
  ASSERT_EQ(RunQorArc({"-i", root, "-pq", "-o", three, "plant"}, {{"QORARC_THREADS=3"}, ""}).status, 0);
  const std::string bytes = ReadFile(one);
  EXPECT_EQ(ReadFile(three), bytes);
  ASSERT_EQ(bytes.substr(0, 4), "PAR1");
  if (!ReadersInstalled()) GTEST_SKIP() << "tests/readers/node_modules missing";
  const std::string stats =
      RunShell("node " + TestScriptPath("readers/read_parquet.mjs") + " " + one + " duckdb stats");
  // Row group 0: 16 pages of 65,536 rows, the items 0 to 16,383.
  EXPECT_NE(stats.find(R"(["0","ts","0","2020-03-01 00:00:00+00","2020-03-01 04:33:03+00"])"),
            std::string::npos) << stats;
  EXPECT_NE(stats.find(R"(["1","ts","0","2020-03-01 04:33:04+00","2020-03-01 05:33:19+00"])"),
            std::string::npos) << stats;
}

// Memory stays bounded with long texts too: 4,000 log messages of 32,000
// bytes (128 MB) with 8 threads.
TEST(ParquetExportTest, LongTextsKeepMemoryBounded) {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
  GTEST_SKIP() << "the sanitizers' own memory hides the export's";
#endif
  TempDir dir;
  const std::string root = dir.path() + "/arc";
  ArchiveBuilder b;
  b.Day(200);
  std::string text(32'000, ' ');
  for (int i = 0; i < 4000; ++i) {
    for (size_t k = 0; k < text.size(); k += 97) text[k] = static_cast<char>('a' + (i + k) % 26);
    b.Text(int64_t{i} * 1'000'000, 1, 24, text);
  }
  WriteArchiveFile(ArchiveFilePath(root, 200, "plant"), b.bytes());
  Launch launch;
  launch.args = {"-pq", "-i", root, "-o", dir.path() + "/texts.parquet", "plant"};
  launch.options.env = {"QORARC_THREADS=8"};
  const Outcome run = RunLaunch(launch);
  ASSERT_EQ(run.status, 0) << run.err;
  EXPECT_LE(run.max_rss_kib, 128 * 1024);
}

struct RefusalCase {
  const char* name;
  std::vector<std::string> args;
  std::string err;
  int status;
};

void PrintTo(const RefusalCase& c, std::ostream* out) { *out << c.name; }

class ParquetRefusalTest : public ::testing::TestWithParam<RefusalCase> {};

TEST_P(ParquetRefusalTest, RefusedBeforeAnythingIsRead) {
  TempDir dir;
  ArchiveBuilder b;
  b.Day(100).Double(1, 1, 1.0);
  WriteArchiveFile(ArchiveFilePath(dir.path() + "/arc", 100, "plant"), b.bytes());
  std::vector<std::string> args = {"-i", dir.path() + "/arc", "-pq"};
  for (const std::string& arg : GetParam().args) args.push_back(arg == "DIR" ? dir.path() : arg);
  const ProgramResult r = RunQorArc(args);
  EXPECT_EQ(r.err, GetParam().err);
  EXPECT_EQ(r.status, GetParam().status);
  EXPECT_EQ(r.out, "");
}

INSTANTIATE_TEST_SUITE_P(
    Cases, ParquetRefusalTest,
    ::testing::Values(
        RefusalCase{"CompressedName", {"-o", "x.parquet.zst", "plant"},
                    "A Parquet file is compressed inside: name the '-o' file without '.gz' or "
                    "'.zst'.\n", 1},
        RefusalCase{"GzName", {"-o", "x.gz", "plant"},
                    "A Parquet file is compressed inside: name the '-o' file without '.gz' or "
                    "'.zst'.\n", 1}),
    [](const ::testing::TestParamInfo<RefusalCase>& info) { return std::string(info.param.name); });

// A terminal gets no binary file: the export runs in a pseudo-terminal that
// util-linux's script(1) makes.
TEST(ParquetExportTest, NoFileOntoATerminal) {
  if (RunShell("command -v script").empty()) GTEST_SKIP() << "no script(1)";
  int status = -1;
  const std::string shown = RunShell("script -qec '" + QorArcPath() + " -i " +
                                         TestScriptPath("../sample/arc") + " -pq plant' /dev/null",
                                     &status);
  EXPECT_EQ(shown,
            "A Parquet file is not written to a terminal: name a file with '-o', or redirect "
            "standard output.\r\n");
  EXPECT_EQ(WEXITSTATUS(status), 1);
}

// Nothing found: a valid file of the schema and no rows, which both readers
// open.
TEST(ParquetExportTest, NothingFoundIsAnEmptyTable) {
  TempDir dir;
  std::filesystem::create_directories(dir.path() + "/arc");
  const ProgramResult r = RunQorArc({"-i", dir.path() + "/arc", "-pq", "plant"});
  EXPECT_EQ(r.status, 0);
  ASSERT_EQ(r.out.substr(0, 4), "PAR1");
  ASSERT_EQ(r.out.substr(r.out.size() - 4), "PAR1");
  if (!ReadersInstalled()) GTEST_SKIP() << "tests/readers/node_modules missing";
  // Named with -o, the file is written there.
  const std::string file = dir.path() + "/empty.parquet";
  const ProgramResult named = RunQorArc({"-i", dir.path() + "/arc", "-pq", "-o", file, "plant"});
  EXPECT_EQ(named.status, 0);
  EXPECT_EQ(named.out, "");
  EXPECT_EQ(ReadFile(file), r.out);
  const std::string script = "node " + TestScriptPath("readers/read_parquet.mjs") + " " + file;
  EXPECT_EQ(RunShell(script + " duckdb rows") + RunShell(script + " hyparquet rows") +
                RunShell(script + " parquet-wasm rows"), "");
  // The columns and their types as each reader finds them.
  EXPECT_EQ(RunShell(script + " duckdb schema"),
            R"(["ts","TIMESTAMP WITH TIME ZONE"]
["ts_ns","BIGINT"]
["id","INTEGER"]
["class","VARCHAR"]
["type","VARCHAR"]
["level","VARCHAR"]
["index","INTEGER"]
["value","DOUBLE"]
["int_value","BIGINT"]
["text","VARCHAR"]
)");
  const std::string kString = R"( BYTE_ARRAY UTF8 {\"type\":\"STRING\"}"])";
  EXPECT_EQ(RunShell(script + " hyparquet schema"),
            R"(["ts","OPTIONAL INT64 TIMESTAMP_MICROS {\"type\":\"TIMESTAMP\",\"isAdjustedToUTC\":true,\"unit\":\"MICROS\"}"])"
            "\n" R"(["ts_ns","OPTIONAL INT64  "])" "\n" R"(["id","OPTIONAL INT32  "])" "\n"
            R"(["class","OPTIONAL)" + kString + "\n" + R"(["type","OPTIONAL)" + kString + "\n" +
            R"(["level","OPTIONAL)" + kString + "\n" + R"(["index","OPTIONAL INT32  "])" "\n"
            R"(["value","OPTIONAL DOUBLE  "])" "\n" R"(["int_value","OPTIONAL INT64  "])" "\n" +
            R"(["text","OPTIONAL)" + kString + "\n");
  EXPECT_EQ(RunShell(script + " parquet-wasm schema"),
            "[\"ts\",\"tsu:UTC\"]\n[\"ts_ns\",\"l\"]\n[\"id\",\"i\"]\n[\"class\",\"u\"]\n"
            "[\"type\",\"u\"]\n[\"level\",\"u\"]\n[\"index\",\"i\"]\n[\"value\",\"g\"]\n"
            "[\"int_value\",\"l\"]\n[\"text\",\"u\"]\n");
}

}  // namespace
}  // namespace qorarc::testing
