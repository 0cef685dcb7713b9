// Exports of small archives made with the archive writer, end to end and
// byte for byte: JSON compact and pretty, CSV, filters, limits, messages.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <string>
#include <vector>

#include "archive/archive_writer.h"
#include "support/program_run.h"

namespace qorarc::testing {
namespace {

const int64_t kMay3 = DayNumber(2019, 5, 3);
const int64_t kMay4 = DayNumber(2019, 5, 4);

// One file of archive "a" on 2019-05-03 with an item of every category.
std::string MixedDay() {
  ArchiveBuilder b;
  b.Day(kMay3)
      .Double(TimeOfDay(10, 0, 0), 3, 1.5)
      .Array<double>(24, TimeOfDay(10, 0, 1, 500'000'000), 4, {1.0, -0.0, 1e30})
      .Text(TimeOfDay(10, 0, 2), 5, 25, "hello \"x\"", 3)
      .System(TimeOfDay(10, 0, 3), 1, 0)
      .Bool(TimeOfDay(10, 0, 4), 6, 1)
      .Bits(TimeOfDay(10, 0, 5), 7, 10, {0x05, 0x02})
      .DWord(TimeOfDay(10, 0, 6), 8, 4'000'000'000u, 3)
      .Large(TimeOfDay(10, 0, 7), 9, 5)
      .End();
  return b.bytes();
}

const char kMixedJson[] =
    "{\"data\":["
    "{\"ts\":\"2019-05-03T10:00:00.000000Z\",\"id\":3,\"class\":\"AlDouble\",\"type\":\"data\","
    "\"values\":[1.5]},"
    "{\"ts\":\"2019-05-03T10:00:01.500000Z\",\"id\":4,\"class\":\"GrDouble\",\"type\":\"data\","
    "\"values\":[1.0,-0.0,1e30]},"
    "{\"ts\":\"2019-05-03T10:00:02.000000Z\",\"id\":5,\"class\":\"AlString\",\"type\":\"User\","
    "\"level\":\"Core Warning\",\"values\":[\"hello \\\"x\\\"\"]},"
    "{\"ts\":\"2019-05-03T10:00:03.000000Z\",\"class\":\"System\",\"type\":\"Executive events\"},"
    "{\"ts\":\"2019-05-03T10:00:04.000000Z\",\"id\":6,\"class\":\"AlBool\",\"type\":\"L->H\","
    "\"values\":[]},"
    "{\"ts\":\"2019-05-03T10:00:05.000000Z\",\"id\":7,\"class\":\"GrBool\",\"type\":\"data\","
    "\"values\":[true,false,true,false,false,false,false,false,false,true]},"
    "{\"ts\":\"2019-05-03T10:00:06.000000Z\",\"id\":8,\"class\":\"AlDWord\",\"type\":\"HiHi\","
    "\"values\":[-294967296]},"
    "{\"ts\":\"2019-05-03T10:00:07.000000Z\",\"id\":9,\"class\":\"AlLarge\",\"type\":\"data\","
    "\"values\":[5.0]}"
    "]}";

const char kMixedCsv[] =
    "2019-05-03,10:00:00.000000,AlDouble,data,,3,1.5\n"
    "2019-05-03,10:00:01.500000,GrDouble,data,,4,1.0,-0.0,1e30\n"
    "2019-05-03,10:00:02.000000,AlString,User,Core Warning,5,hello \"x\"\n"
    "2019-05-03,10:00:03.000000,System,Executive events,,-1\n"
    "2019-05-03,10:00:04.000000,AlBool,L->H,,6,\n"
    "2019-05-03,10:00:05.000000,GrBool,data,,7,on,off,on,off,off,off,off,off,off,on\n"
    "2019-05-03,10:00:06.000000,AlDWord,HiHi,,8,-294967296\n"
    "2019-05-03,10:00:07.000000,AlLarge,data,,9,5.0\n";

class ExportTest : public ::testing::Test {
 protected:
  void SetUp() override { root_ = dir_.path() + "/arc"; }

  void Write(int64_t day, const std::string& name, const std::string& bytes) {
    WriteArchiveFile(ArchiveFilePath(root_, day, name), bytes);
  }

  ProgramResult Run(std::vector<std::string> args) {
    args.insert(args.begin(), {"-i", root_});
    return RunQorArc(args);
  }

  // Replaces the temporary root in messages by "@arc".
  std::string Clean(const std::string& text) {
    std::string result = text;
    for (size_t at; (at = result.find(root_)) != std::string::npos;)
      result.replace(at, root_.size(), "@arc");
    return result;
  }

  TempDir dir_;
  std::string root_;
};

TEST_F(ExportTest, CompactJsonAndCsv) {
  Write(kMay3, "a", MixedDay());
  ProgramResult r = Run({"a"});
  EXPECT_EQ(r.out, kMixedJson);
  EXPECT_EQ(r.err, "");
  EXPECT_EQ(r.status, 0);
  r = Run({"--csv", "a"});
  EXPECT_EQ(r.out, kMixedCsv);
  EXPECT_EQ(r.status, 0);
}

TEST_F(ExportTest, CsvHeaderDelimitersAndColumns) {
  Write(kMay3, "a", MixedDay());
  // Tab and semicolon together give semicolons; the total count has no
  // effect on CSV; "\n" in the header starts a line.
  ProgramResult r = Run({"-cf", "-dtab", "-dscl", "-itc", "-ch", "X\\nA;B", "-ccf", "1,5..6",
                         "-f", "3..5", "a"});
  EXPECT_EQ(r.out,
            "X\nA;B\n"
            "10:00:00.000000;3;1.5\n"
            "10:00:01.500000;4;1.0\n"
            "10:00:02.000000;5;hello \"x\"\n");
  r = Run({"-cf", "-dspc", "-dtab", "-ccf", "0..1", "-f", "9", "a"});
  EXPECT_EQ(r.out, "2019-05-03 10:00:07.000000\n");
}

TEST_F(ExportTest, IdAndKindFilters) {
  Write(kMay3, "a", MixedDay());
  struct Case {
    std::vector<std::string> args;
    std::string ids;  // the "id" column of the CSV lines
  } cases[] = {
      {{"-f", "5"}, "5\n"},
      {{"-f", "3..3,8"}, "3\n8\n"},
      {{"-f", ""}, "3\n4\n5\n-1\n6\n7\n8\n9\n"},
      {{"-nd"}, "3\n5\n-1\n6\n8\n9\n"},
      {{"-ne"}, "4\n5\n7\n"},
      {{"-nl"}, "3\n4\n-1\n6\n7\n8\n9\n"},
      {{"-f", "0"}, "-1\n"},  // the system record's stored ID is 0, but it shows none
  };
  for (Case& c : cases) {
    std::vector<std::string> args = {"--csv", "-ccf", "5"};
    args.insert(args.end(), c.args.begin(), c.args.end());
    args.push_back("a");
    EXPECT_EQ(Run(args).out, c.ids) << c.args[0];
  }
}

TEST_F(ExportTest, TimeBoundsAreInclusiveAndEndOnlyTheFile) {
  ArchiveBuilder day3, day4;
  day3.Day(kMay3).Long(TimeOfDay(11, 0, 0), 1, 1).Long(TimeOfDay(12, 0, 0), 1, 2)
      .Long(TimeOfDay(13, 0, 0), 1, 3).Long(TimeOfDay(12, 30, 0), 1, 99);
  day4.Day(kMay4).Long(TimeOfDay(0, 30, 0), 1, 4).Long(TimeOfDay(1, 0, 0), 1, 5)
      .Long(TimeOfDay(1, 0, 0, 1), 1, 6);
  Write(kMay3, "a", day3.bytes());
  Write(kMay4, "a", day4.bytes());
  // May 2's file moves on to May 5, past every -ft2 below: it ends there,
  // and May 3 is still read.
  Write(kMay3 - 1, "a", ArchiveBuilder().Day(kMay3 - 1).Long(TimeOfDay(23, 0, 0), 1, 0)
      .Day(kMay4 + 1).Long(TimeOfDay(0, 0, 0), 1, 98).bytes());
  ProgramResult r = Run({"--csv", "-ccf", "6", "-ft1", "2019-05-03 12:00:00", "-ft2",
                         "2019-05-04 01:00:00,000", "a"});
  // Both bounds are inclusive; 13:00 and the later-stored 12:30 lie inside
  // the span on May 3; 01:00:00.000000001 on May 4 is past it.
  EXPECT_EQ(r.out, "2\n3\n99\n4\n5\n");
  // An item past the until-time ends its file only.
  r = Run({"--csv", "-ccf", "6", "-ft2", "2019-05-03 12:00:00", "a"});
  EXPECT_EQ(r.out, "0\n1\n2\n");
  r = Run({"--csv", "-ccf", "6", "-ft2", "2019-05-04 00:30:00", "a"});
  EXPECT_EQ(r.out, "0\n1\n2\n3\n99\n4\n");
}

TEST_F(ExportTest, LimitStopsTheExportAndTotalCountsOn) {
  for (int64_t day : {kMay3, kMay4}) {
    ArchiveBuilder b;
    b.Day(day);
    for (int i = 0; i < 8; ++i) b.Word(TimeOfDay(1, 0, i), 1, day == kMay3 ? i : 10 + i);
    Write(day, "a", b.bytes());
  }
  ProgramResult r = Run({"--csv", "-ccf", "6", "-ic", "10", "a"});
  EXPECT_EQ(r.out, "0\n1\n2\n3\n4\n5\n6\n7\n10\n11\n");
  r = Run({"-ic", "1", "-itc", "a"});
  EXPECT_EQ(r.out,
            "{\"data\":[{\"ts\":\"2019-05-03T01:00:00.000000Z\",\"id\":1,\"class\":\"AlWord\","
            "\"type\":\"data\",\"values\":[0]}],\"total_item_count\":16}");
  r = Run({"-ic", "0", "-itc", "a"});
  EXPECT_EQ(r.out, "{\"data\":[],\"total_item_count\":16}");
  r = Run({"-ic", "0", "a"});
  EXPECT_EQ(r.out, "{\"data\":[]}");
}

TEST_F(ExportTest, TotalCountStopsAt99999PastTheLimit) {
  ArchiveBuilder b;
  b.Day(kMay3);
  for (int i = 0; i < 100'100; ++i) b.Byte(TimeOfDay(1, 0, 0, i), 1, 0);
  Write(kMay3, "a", b.bytes());
  std::string out = Run({"-ic", "1", "-itc", "a"}).out;
  EXPECT_EQ(out.substr(out.find("],")), "],\"total_item_count\":99999}");
  // Without a limit in the way, counting is not capped.
  out = Run({"-itc", "--csv", "a"}).out;
  EXPECT_EQ(std::count(out.begin(), out.end(), '\n'), 100'100);
  out = Run({"-itc", "-ic", "200000", "a"}).out;
  EXPECT_EQ(out.substr(out.find("],")), "],\"total_item_count\":100100}");
}

TEST_F(ExportTest, DayIsResetForEveryFile) {
  // The second file has no day marker: its items are dated 2000-01-01.
  Write(kMay3, "a", ArchiveBuilder().Day(kMay3).Long(TimeOfDay(1, 0, 0), 1, 1).bytes());
  Write(kMay4, "a", ArchiveBuilder().Long(TimeOfDay(2, 0, 0), 1, 2).bytes());
  ProgramResult r = Run({"--csv", "-ccf", "0..1", "a"});
  EXPECT_EQ(r.out, "2019-05-03,01:00:00.000000\n2000-01-01,02:00:00.000000\n");
}

TEST_F(ExportTest, BadRecordIsReportedOnceAndEndsTheFile) {
  ArchiveBuilder b;
  b.Day(kMay3).Long(TimeOfDay(1, 0, 0), 1, 1).RawDayMarker(0x8001, 5).Long(TimeOfDay(1, 0, 1), 1, 2);
  Write(kMay3, "a", b.bytes());
  Write(kMay4, "a", ArchiveBuilder().Day(kMay4).Long(TimeOfDay(3, 0, 0), 1, 3).bytes());
  ProgramResult r = Run({"-ve", "--csv", "a"});
  // The bad marker's time fields are 0x8001 and 5: (0x8001 << 32) + 5 ns,
  // 1 day 15:05:41.783322629 past the day's start.
  EXPECT_EQ(r.out,
            "2019-05-03,01:00:00.000000,AlLong,data,,1,1\n"
            "2019-05-04,15:05:41.783323,System,Archive events,,-1\n"
            "2019-05-04,03:00:00.000000,AlLong,data,,1,3\n");
  EXPECT_EQ(Clean(r.err),
            "Verbose mode enabled.\n"
            "Export to CSV enabled.\n"
            "Name of the archive: 'a'\n"
            "Exporting data from '@arc/2019/2019-05/2019-05-03_a.rea'.\n"
            "Error occured while reading file '@arc/2019/2019-05/2019-05-03_a.rea'.\n"
            "Exporting data from '@arc/2019/2019-05/2019-05-04_a.rea'.\n");
  EXPECT_EQ(r.status, 0);
  // Left out by the kind switch, it is still reported; past the until-time
  // it ends the file without a report.
  r = Run({"-ve", "-ne", "--csv", "a"});
  EXPECT_NE(Clean(r.err).find("Error occured"), std::string::npos);
  r = Run({"-ve", "-ft2", "2019-05-04 12:00:00", "--csv", "a"});
  EXPECT_EQ(Clean(r.err).find("Error occured"), std::string::npos);
}

// Time and error arrays (codes 25 and 27) have no JSON form: the document
// shows their elements as null and goes on; one warning after it names the
// first such item written and the count, and the status is 2. The same with
// threads, batch by batch; the other formats are as they were.
TEST_F(ExportTest, TimeAndErrorArraysAreNullInJson) {
  ArchiveBuilder b;
  b.Day(kMay3).Long(TimeOfDay(1, 0, 0), 1, 1).Array<uint64_t>(25, TimeOfDay(1, 0, 1), 2, {7, 8})
      .Long(TimeOfDay(1, 0, 2), 1, 3).Array<int16_t>(27, TimeOfDay(1, 0, 3), 4, {5})
      .Long(TimeOfDay(1, 0, 4), 1, 5);
  Write(kMay3, "a", b.bytes());
  const std::string item1 = R"({"ts":"2019-05-03T01:00:00.000000Z","id":1,"class":"AlLong",)"
                            R"("type":"data","values":[1]})";
  const std::string item2 = R"({"ts":"2019-05-03T01:00:01.000000Z","id":2,"class":"GrTime",)"
                            R"("type":"data","values":[null,null]})";
  const std::string warning =
      " of value type 25 or 27 have no JSON form; their values were written as null (first: ID 2 "
      "at 2019-05-03T01:00:01.000000Z).\n";
  struct Case {
    const char* what;
    std::vector<std::string> args;
    std::string out, err;
    int status;
  };
  const Case cases[] = {
      {"JSON", {"-itc", "a"},
       R"({"data":[)" + item1 + "," + item2 + R"(,{"ts":"2019-05-03T01:00:02.000000Z","id":1,)"
       R"("class":"AlLong","type":"data","values":[3]},{"ts":"2019-05-03T01:00:03.000000Z",)"
       R"("id":4,"class":"GrError","type":"data","values":[null]},)"
       R"({"ts":"2019-05-03T01:00:04.000000Z","id":1,"class":"AlLong","type":"data",)"
       R"("values":[5]}],"total_item_count":5})",
       "Warning: 2 items" + warning, 2},
      {"JSON up to the limit", {"-ic", "3", "-itc", "a"},
       R"({"data":[)" + item1 + "," + item2 + R"(,{"ts":"2019-05-03T01:00:02.000000Z","id":1,)"
       R"("class":"AlLong","type":"data","values":[3]}],"total_item_count":5})",
       "Warning: 1 item of value type 25 or 27 has no JSON form; its values were written as null "
       "(first: ID 2 at 2019-05-03T01:00:01.000000Z).\n", 2},
      {"JSON, such items only counted", {"-ic", "1", "-itc", "a"},
       R"({"data":[)" + item1 + R"(],"total_item_count":5})", "", 0},
      {"CSV", {"--csv", "-ccf", "2,6", "a"}, "AlLong,1\nGrTime,\nAlLong,3\nGrError,\nAlLong,5\n",
       "", 0},
  };
  for (const Case& c : cases) {
    for (const char* threads : {"QORARC_THREADS=1", "QORARC_THREADS=3"}) {
      SCOPED_TRACE(std::string(c.what) + " " + threads);
      std::vector<std::string> args = c.args;
      args.insert(args.begin(), {"-i", root_});
      ProgramResult r = RunQorArc(args, {{threads, "QORARC_BATCH_ITEMS=1"}, ""});
      EXPECT_EQ(r.out, c.out);
      EXPECT_EQ(r.err, c.err);
      EXPECT_EQ(r.status, c.status);
    }
  }
}

TEST_F(ExportTest, SingleFileNeedsNoName) {
  std::string path = dir_.path() + "/anything.rea";
  WriteArchiveFile(path, MixedDay());
  ProgramResult r = RunQorArc({"-i", path});
  EXPECT_EQ(r.out, kMixedJson);
  // The span still applies to the items.
  r = RunQorArc({"-i", path, "--csv", "-ccf", "5", "-ft1", "2019-05-03 10:00:06"});
  EXPECT_EQ(r.out, "8\n9\n");
}

struct NotFoundCase {
  std::vector<std::string> args;
  std::string err;
};

TEST_F(ExportTest, NothingFound) {
  Write(kMay3, "a", MixedDay());
  const std::string out = dir_.path() + "/out.json";
  const std::string empty = dir_.path() + "/empty";
  const std::string txt = root_ + "/2019/2019-05/2019-05-03_a.txt";
  std::filesystem::create_directory(empty);
  std::filesystem::copy_file(ArchiveFilePath(root_, kMay3, "a"), txt);
  const NotFoundCase cases[] = {
      {{"-s", "-i", empty}, "No archive files were found scanning path '" + empty + "'."},
      {{"-i", txt},
       "No archived were found in '" + txt + "'. Try parameter '--scan' to find available archives."},
      {{"-i", root_, "A"},
       "Archive 'A' not found in '" + root_ + "'. Try parameter '--scan' to find available archives."},
      {{"-i", root_, "-ft1", "2019-05-04", "a"},
       "Archive 'a' not found in '" + root_ + "' for the timespan specified. Try parameter '--scan' "
       "to find available archives and their timespans."},
      {{"-i", txt, "-ft2", "2019-05-04"},
       "No archives found in '" + txt + "' for the timespan specified. Try parameter '--scan' to "
       "find available archives and their timespans."},
  };
  for (const NotFoundCase& c : cases) {
    std::vector<std::string> args = {"-o", out};
    args.insert(args.end(), c.args.begin(), c.args.end());
    ProgramResult r = RunQorArc(args);
    EXPECT_EQ(r.err, c.err + "\n");
    EXPECT_EQ(r.out, "{\"data\": []}\n");
    EXPECT_EQ(r.status, 0);
    EXPECT_FALSE(std::filesystem::exists(out));
  }
  // CSV: the header as given, nothing added; also for an empty scan.
  ProgramResult r = Run({"--csv", "-ch", "H\\nI", "B"});
  EXPECT_EQ(r.out, "H\nI");
  r = RunQorArc({"-s", "--csv", "-i", empty});
  EXPECT_EQ(r.out, "");
  r = RunQorArc({"-s", "--csv", "-ch", "S;T", "-i", empty});
  EXPECT_EQ(r.out, "S;T");
}

TEST_F(ExportTest, Scan) {
  Write(kMay3, "b", MixedDay());
  Write(kMay4, "b", MixedDay());
  Write(kMay3 - 400, "a", MixedDay());
  ProgramResult r = Run({"-s", "--csv", "-ve", "b"});
  EXPECT_EQ(r.out,
            "[{\"name\":\"a\",\"first_date\":\"2018-03-29 00:00:00.000000\",\"last_date\":"
            "\"2018-03-29 00:00:00.000000\"},{\"name\":\"b\",\"first_date\":\"2019-05-03 "
            "00:00:00.000000\",\"last_date\":\"2019-05-04 00:00:00.000000\"}]");
  EXPECT_EQ(Clean(r.err),
            "Verbose mode enabled.\nScan mode enabled.\nExport to CSV enabled.\n"
            "Name of the archive: 'b'\nScanning directory '@arc'.\n");
  EXPECT_EQ(r.status, 0);
}

}  // namespace
}  // namespace qorarc::testing
