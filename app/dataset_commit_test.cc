#include "app/dataset_commit.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <set>

#include "app/export_state.h"
#include "app/state_cursor.h"
#include "support/files.h"

namespace qorarc {
namespace {

using testing::ReadFile;
using testing::TempDir;

void Write(const std::string& path, const std::string& text) {
  std::ofstream(path, std::ios::binary) << text;
}

std::set<std::string> Names(const std::string& dir) {
  std::set<std::string> names;
  for (const auto& e : std::filesystem::directory_iterator(dir))
    names.insert(e.path().filename().string());
  return names;
}

// A run of archive "p" that wrote day 1 again and day 2 anew, ended by a
// kill after `renamed` of its two renames (-1: before it recorded them).
struct KilledRun {
  TempDir dir;
  std::string root = dir.path() + "/lake";
  std::string day1 = root + "/archive=p/date=2020-01-01";
  std::string day2 = root + "/archive=p/date=2020-01-02";
  std::string state_path = root + "/_qorarc/p.state";
  ExportState before, after;

  explicit KilledRun(int renamed) {
    std::string err;
    EXPECT_TRUE(MakeDirectories(day1, &err)) << err;
    EXPECT_TRUE(MakeDirectories(day2, &err)) << err;
    EXPECT_TRUE(MakeDirectories(root + "/_qorarc", &err)) << err;
    Write(day1 + "/p-2020-01-01-0.parquet", "old day 1");
    before.archive = after.archive = "p";
    before.days.push_back({630979200000000000, 0, 3, false, {{0, 0, 30, "a/1"}}});
    after.days = before.days;
    after.days[0].items = 5;
    after.days.push_back({631065600000000000, 0, 2, false, {{0, 0, 20, "a/2"}}});
    ExportState recorded = before;
    recorded.commit = ExportState::Commit::kRenames;
    recorded.renames = {"archive=p/date=2020-01-01/.p-2020-01-01-0.parquet.part-7",
                        "archive=p/date=2020-01-02/.p-2020-01-02-0.parquet.part-7"};
    recorded.next_days = after.days;
    EXPECT_TRUE(SaveState(state_path, renamed < 0 ? before : recorded, &err)) << err;
    Write(day1 + "/.p-2020-01-01-0.parquet.part-7", "new day 1");
    Write(day2 + "/.p-2020-01-02-0.parquet.part-7", "new day 2");
    if (renamed >= 1)
      std::filesystem::rename(day1 + "/.p-2020-01-01-0.parquet.part-7",
                              day1 + "/p-2020-01-01-0.parquet");
    if (renamed >= 2)
      std::filesystem::rename(day2 + "/.p-2020-01-02-0.parquet.part-7",
                              day2 + "/p-2020-01-02-0.parquet");
    // Another run, ended before it recorded anything.
    Write(day2 + "/.p-2020-01-02-0.parquet.part-99", "partial");
  }
};

TEST(DatasetCommitTest, NextRunRemovesWhatARunLeftBeforeItRecordedIt) {
  KilledRun run(-1);
  std::string err;
  ASSERT_TRUE(SettleDataset(run.root, "archive=p", run.state_path, &err)) << err;
  EXPECT_EQ(ReadFile(run.day1 + "/p-2020-01-01-0.parquet"), "old day 1");
  EXPECT_EQ(Names(run.day1), std::set<std::string>{"p-2020-01-01-0.parquet"});
  EXPECT_TRUE(Names(run.day2).empty());
  EXPECT_EQ(ReadFile(run.state_path), StateText(run.before));
}

// Killed after 0, 1 or 2 of its renames: the next run completes them.
TEST(DatasetCommitTest, NextRunRollsRecordedRenamesForward) {
  for (int renamed = 0; renamed <= 2; ++renamed) {
    SCOPED_TRACE(renamed);
    KilledRun run(renamed);
    std::string err;
    ASSERT_TRUE(SettleDataset(run.root, "archive=p", run.state_path, &err)) << err;
    EXPECT_EQ(ReadFile(run.day1 + "/p-2020-01-01-0.parquet"), "new day 1");
    EXPECT_EQ(ReadFile(run.day2 + "/p-2020-01-02-0.parquet"), "new day 2");
    EXPECT_EQ(Names(run.day1), std::set<std::string>{"p-2020-01-01-0.parquet"});
    EXPECT_EQ(Names(run.day2), std::set<std::string>{"p-2020-01-02-0.parquet"});
    EXPECT_EQ(ReadFile(run.state_path), StateText(run.after));
    // Settled: a second settling changes nothing.
    ASSERT_TRUE(SettleDataset(run.root, "archive=p", run.state_path, &err)) << err;
    EXPECT_EQ(ReadFile(run.state_path), StateText(run.after));
  }
}

// What the cursor records before the renames is what the next run settles.
TEST(DatasetCommitTest, CursorRecordsWhatTheNextRunSettles) {
  KilledRun run(-1);
  ItemFilter filter;
  filter.archive_name = "p";
  StateCursor cursor;
  std::string err;
  ASSERT_TRUE(cursor.Load(run.state_path, &filter, &err)) << err;
  cursor.Plan({}, nullptr);
  cursor.Advance({}, {});
  const std::vector<std::string> renames = {
      "archive=p/date=2020-01-01/.p-2020-01-01-0.parquet.part-7",
      "archive=p/date=2020-01-02/.p-2020-01-02-0.parquet.part-7"};
  ASSERT_TRUE(cursor.RecordRenames(renames, run.after.days, &err)) << err;
  ExportState recorded = run.before;
  recorded.commit = ExportState::Commit::kRenames;
  recorded.renames = renames;
  recorded.next_days = run.after.days;
  EXPECT_EQ(ReadFile(run.state_path), StateText(recorded));
  // Not loaded as a cursor before it is settled.
  StateCursor early;
  EXPECT_FALSE(early.Load(run.state_path, &filter, &err));
  EXPECT_EQ(err, "State file '" + run.state_path + "' is in the middle of a dataset's commit.");
  ASSERT_TRUE(SettleDataset(run.root, "archive=p", run.state_path, &err)) << err;
  EXPECT_EQ(ReadFile(run.state_path), StateText(run.after));
  EXPECT_EQ(ReadFile(run.day1 + "/p-2020-01-01-0.parquet"), "new day 1");
}

}  // namespace
}  // namespace qorarc
