#include "app/export_state.h"

#include <gtest/gtest.h>

namespace qorarc {
namespace {

FileProgress Progress(std::string path, uint64_t offset) {
  FileProgress f;
  f.day_start = 610156800000000000;
  f.offset = offset;
  f.day = 7062;
  f.device = 2049;
  f.inode = 131078;
  f.size = 9000;
  f.mtime_ns = 1700000000123456789;
  f.hash = 0x0c0d2b4f7e1a3c58;
  f.path = std::move(path);
  return f;
}

TEST(StateFileTest, TextIsExactAndReadsBack) {
  ExportState s;
  s.archive = "plant";
  s.from_time = 610156800000000000;
  EXPECT_EQ(StateText(s), "qorarc-state 2\narchive plant\nfrom_time 610156800000000000\n");
  s.files.push_back(Progress("arc/2019/2019-05/2019-05-03_plant.rea", 4711));
  s.files.push_back(Progress("odd \\ name\nwith a line feed", 0));
  s.files.back().rest_skipped = true;
  s.files.back().missing_since = 1764000000;
  s.commit = ExportState::Commit::kPending;
  s.commit_hidden = "out/.qorarc-812-1.tmp";
  s.next.push_back(Progress("arc/2019/2019-05/2019-05-03_plant.rea", 5120));
  const std::string text = StateText(s);
  EXPECT_EQ(text,
            "qorarc-state 2\narchive plant\nfrom_time 610156800000000000\n"
            "file 610156800000000000 4711 7062 0 2049 131078 9000 1700000000123456789 "
            "0c0d2b4f7e1a3c58 0 arc/2019/2019-05/2019-05-03_plant.rea\n"
            "file 610156800000000000 0 7062 1 2049 131078 9000 1700000000123456789 "
            "0c0d2b4f7e1a3c58 1764000000 odd \\\\ name\\nwith a line feed\n"
            "commit pending out/.qorarc-812-1.tmp\n"
            "next 610156800000000000 5120 7062 0 2049 131078 9000 1700000000123456789 "
            "0c0d2b4f7e1a3c58 0 arc/2019/2019-05/2019-05-03_plant.rea\n");
  ExportState back;
  std::string problem;
  ASSERT_TRUE(ParseState(text, &back, &problem)) << problem;
  EXPECT_EQ(back, s);
}

// A dataset's state: its day table, and a commit of renames with the cursor
// and day table that follow it.
TEST(StateFileTest, DayTableAndRenamesAreExactAndReadBack) {
  ExportState s;
  s.archive = "plant";
  s.files.push_back(Progress("a/2019-05-03_plant.rea", 4711));
  DayFile day;
  day.day_start = 610156800000000000;
  day.number = 1;
  day.items = 42;
  day.sealed = true;
  day.begins.push_back({0, 0, 4711, "a/2019-05-03_plant.rea"});
  day.begins.push_back({20, 7062, 20, "b/odd name"});
  s.days.push_back(day);
  s.commit = ExportState::Commit::kRenames;
  s.renames = {"archive=plant/date=2019-05-03/.plant-2019-05-03-2.parquet.part-9"};
  s.next.push_back(Progress("a/2019-05-03_plant.rea", 5120));
  s.next_days.push_back(day);
  s.next_days.back().items = 50;
  const std::string text = StateText(s);
  EXPECT_EQ(text,
            "qorarc-state 2\narchive plant\nfrom_time -1\n"
            "file 610156800000000000 4711 7062 0 2049 131078 9000 1700000000123456789 "
            "0c0d2b4f7e1a3c58 0 a/2019-05-03_plant.rea\n"
            "day 610156800000000000 1 42 1\n"
            "begin 0 0 4711 a/2019-05-03_plant.rea\n"
            "begin 20 7062 20 b/odd name\n"
            "commit renames\n"
            "rename archive=plant/date=2019-05-03/.plant-2019-05-03-2.parquet.part-9\n"
            "next 610156800000000000 5120 7062 0 2049 131078 9000 1700000000123456789 "
            "0c0d2b4f7e1a3c58 0 a/2019-05-03_plant.rea\n"
            "nextday 610156800000000000 1 50 1\n"
            "nextbegin 0 0 4711 a/2019-05-03_plant.rea\n"
            "nextbegin 20 7062 20 b/odd name\n");
  ExportState back;
  std::string problem;
  ASSERT_TRUE(ParseState(text, &back, &problem)) << problem;
  EXPECT_EQ(back, s);
}

// Numbers are whole and in range, the lines in their order.
TEST(StateFileTest, RefusesWhatItDidNotWrite) {
  const std::string head = "qorarc-state 2\narchive \nfrom_time -1\n";
  const std::string fields = " 7062 0 1 1 9 5 00000000000000ff 0 f\n";
  struct Case {
    std::string text;
    const char* problem;  // empty: valid
  };
  const Case cases[] = {
      {head + "file 0 18446744073709551615" + fields, ""},
      {head + "file 0 18446744073709551616" + fields, "line 4: bad offset"},
      {head + "file 0 +1" + fields, "line 4: bad offset"},
      {head + "file -1 0" + fields, "line 4: bad day start"},
      {head + "file 0 0 65536 0 1 1 9 5 00000000000000ff 0 f\n", "line 4: bad day"},
      {head + "file 0 0 1 2 1 1 9 5 00000000000000ff 0 f\n", "line 4: bad skipped"},
      {head + "file 0 0 1 0 1 1 9 5 0000000000000ff 0 f\n", "line 4: bad hash"},
      {head + "file 0 0 1 0 1 1 9 5 00000000000000ff 0 \n", "line 4: bad path"},
      {head + "file 0 0 1 0 1 1 9 5 00000000000000ff 0 a\\tb\n", "line 4: bad path"},
      {head + "file 0 0 1 0 1 1 9 5 00000000000000ff 0\n", "line 4: bad fields: too few"},
      {head + "next 0 0" + fields, "line 4: misplaced key 'next'"},
      {head + "commit intent h\nfile 0 0" + fields, "line 5: misplaced key 'file'"},
      {head + "commit done h\n", "line 4: bad stage 'done'"},
      {head + "commit pending h\nnext 0 0" + fields, ""},
      {head + "archive x\n", "line 4: repeated or misplaced key 'archive'"},
      {head + "colour red\n", "line 4: unknown key 'colour'"},
      {head + "offset\n", "line 4: no value after 'offset'"},
      {"qorarc-state 2\narchive x\n", "no 'from_time'"},
      {"qorarc-state 3\n", "it does not begin with 'qorarc-state 2'"},
      {head + "file", "line 4 has no line feed"},
      {head + "day 0 0 0 0\nbegin 0 0 0 f\n", ""},
      {head + "begin 0 0 0 f\n", "line 4: misplaced key 'begin'"},
      {head + "day 0 0 0 2\n", "line 4: bad value of 'day'"},
      {head + "day 0 0 -1 0\n", "line 4: bad value of 'day'"},
      {head + "day 0 0 0 0 5\n", "line 4: bad value of 'day'"},
      {head + "day 0 0 0 0\nbegin 5 0 4 f\n", "line 5: bad value of 'begin'"},
      {head + "day 0 0 0 0\nbegin 0 0 0\n", "line 5: bad value of 'begin'"},
      {head + "day 0 0 0 0\nfile 0 0" + fields, "line 5: misplaced key 'file'"},
      {head + "rename a/.b.parquet.part-1\n", "line 4: misplaced key 'rename'"},
      {head + "commit renames\nnextday 0 0 0 0\nnext 0 0" + fields,
       "line 6: misplaced key 'next'"},
      {head + "commit renames\nnext 0 0" + fields + "rename a\n",
       "line 6: misplaced key 'rename'"},
      {head + "commit renames\nday 0 0 0 0\n", "line 5: misplaced key 'day'"},
      {"", "it is empty"},
      {"qorarc-state 1\narchive \nfrom_time -1\nday 65536\nfile f\nfile_start 0\noffset 0\n"
       "device 1\ninode 1\nfnv1a64 00000000000000ff\nrest_skipped 0\n",
       "bad value of 'day'"},
      {"qorarc-state 1\narchive \nfrom_time -1\nfile f\n", "no 'file_start'"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.text);
    ExportState s;
    std::string problem;
    EXPECT_EQ(ParseState(c.text, &s, &problem), *c.problem == '\0');
    EXPECT_EQ(problem, c.problem);
  }
}

}  // namespace
}  // namespace qorarc
