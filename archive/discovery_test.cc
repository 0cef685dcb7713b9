#include "archive/discovery.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "archive/archive_writer.h"
#include "core/messages.h"
#include "core/timestamp_parser.h"
#include "support/files.h"

namespace qorarc {
namespace {

class DiscoveryTest : public ::testing::Test {
 protected:
  // An empty archive file (its content does not matter here) at `relative`.
  void Add(const std::string& relative) { WriteArchiveFile(root() + "/" + relative, ""); }

  // The paths Discover() returns, relative to the root, in its order.
  std::vector<std::string> Found(const std::string& name, const char* from = nullptr,
                                 const char* until = nullptr) {
    ItemFilter filter;
    filter.archive_name = name;
    if (from != nullptr) {
      EXPECT_EQ(ParseTimestamp(from, &filter.from_time), 0) << from;
    }
    if (until != nullptr) {
      EXPECT_EQ(ParseTimestamp(until, &filter.until_time), 0) << until;
    }
    std::vector<ArchiveFileEntry> entries;
    bool unreadable = false;
    EXPECT_EQ(Discover(filter, root(), &entries, &unreadable), 0);
    EXPECT_FALSE(unreadable);
    std::vector<std::string> paths;
    for (const ArchiveFileEntry& entry : entries) paths.push_back(entry.path.substr(root().size() + 1));
    return paths;
  }

  std::string root() const { return dir_.path() + "/arc"; }

  testing::TempDir dir_;
};

using Paths = std::vector<std::string>;

TEST_F(DiscoveryTest, NameMatchesTheWholeArchiveName) {
  Add("2019/2019-05/2019-05-03_plant.rea");
  Add("2019/2019-05/2019-05-04_plan.rea");
  Add("2019/2019-05/2019-05-05_my_plan.rea");
  Add("2019/2019-05/2019-05-06_plan.txt");
  Add("2019/2019-05/notadate_plan.rea");
  EXPECT_EQ(Found("plan"), Paths{"2019/2019-05/2019-05-04_plan.rea"});
  // The name is everything after the first '_'.
  EXPECT_EQ(Found("my_plan"), Paths{"2019/2019-05/2019-05-05_my_plan.rea"});
  EXPECT_EQ(Found("pla"), Paths{});
}

// A year is kept up to its last nanosecond, 31 December 23:59:59.999999999.
TEST_F(DiscoveryTest, YearEndsWithTheLastNanosecondOfTheYear) {
  Add("2019/2019-12/2019-12-31_a.rea");
  Add("2020/2020-01/2020-01-01_a.rea");
  EXPECT_EQ(Found("a", "2019-12-31 12:00:00"),
            (Paths{"2019/2019-12/2019-12-31_a.rea", "2020/2020-01/2020-01-01_a.rea"}));
  EXPECT_EQ(Found("a", "2020-01-01 00:00:00"), Paths{"2020/2020-01/2020-01-01_a.rea"});
  EXPECT_EQ(Found("a", nullptr, "2019-12-31 23:59:59.999999999"),
            Paths{"2019/2019-12/2019-12-31_a.rea"});
}

// A month directory is judged by its name, whatever its files are called: a
// file of 2 June misplaced in "2019-05" shows which months are walked.
TEST_F(DiscoveryTest, MonthIsKeptWhileTheNextMonthStartsAfterTheFromTime) {
  Add("2019/2019-05/2019-06-02_a.rea");
  Add("2019/2019-06/2019-06-01_a.rea");
  EXPECT_EQ(Found("a", "2019-05-31 23:59:59.999999999"),
            (Paths{"2019/2019-06/2019-06-01_a.rea", "2019/2019-05/2019-06-02_a.rea"}));
  EXPECT_EQ(Found("a", "2019-06-01 00:00:00"), Paths{"2019/2019-06/2019-06-01_a.rea"});
  // The until-time takes a month that starts exactly at it.
  EXPECT_EQ(Found("a", nullptr, "2019-06-01 00:00:00"), Paths{"2019/2019-06/2019-06-01_a.rea"});
  EXPECT_EQ(Found("a", nullptr, "2019-05-31 23:59:59.999999999"), Paths{});
}

// Year and month directories whose names are not dates are walked only
// without a from-time.
TEST_F(DiscoveryTest, UndatedDirectoriesOnlyWithoutFromTime) {
  Add("notes/2019-05/2019-05-03_a.rea");
  Add("2019/old/2019-05-04_a.rea");
  EXPECT_EQ(Found("a"), (Paths{"notes/2019-05/2019-05-03_a.rea", "2019/old/2019-05-04_a.rea"}));
  EXPECT_EQ(Found("a", "2019-01-01 00:00:00"), Paths{});
}

TEST_F(DiscoveryTest, SortedByDayThenByPath) {
  Add("2019/2019-05/2019-05-04_a.rea");
  Add("2019/2019-05/2019-05-03_b.rea");
  Add("2019/2019-05/2019-05-03_a.rea");
  Add("2018/2018-12/2018-12-31_b.rea");
  EXPECT_EQ(Found(""), (Paths{"2018/2018-12/2018-12-31_b.rea", "2019/2019-05/2019-05-03_a.rea",
                              "2019/2019-05/2019-05-03_b.rea", "2019/2019-05/2019-05-04_a.rea"}));
}

// One odd entry on each level, so that the walk's order fixes the lines'.
TEST_F(DiscoveryTest, ReportsWhatIsNeitherDirectoryNorFile) {
  Add("2019/2019-05/2019-05-03_a.rea");
  Add("notes.txt");
  Add("2019/readme");
  std::filesystem::create_directories(root() + "/2019/2019-05/2019-05-04_a.rea");
  g_verbose = true;
  ::testing::internal::CaptureStderr();
  const Paths found = Found("a");
  const std::string err = ::testing::internal::GetCapturedStderr();
  g_verbose = false;
  EXPECT_EQ(found, Paths{"2019/2019-05/2019-05-03_a.rea"});
  EXPECT_EQ(err, "Unexpected path '" + root() + "/notes.txt' ignored\nUnexpected path '" + root() +
                     "/2019/readme' ignored\nUnexpected path '" + root() +
                     "/2019/2019-05/2019-05-04_a.rea' ignored\n");
}

}  // namespace
}  // namespace qorarc
