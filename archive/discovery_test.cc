#include "archive/discovery.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "archive/archive_writer.h"
#include "base/timestamp_parser.h"
#include "support/files.h"

namespace qorarc {
namespace {

using Paths = std::vector<std::string>;

// Keeps what the walk reports, one line each, in order.
struct RecordedWalk : DiscoveryReporter {
  void Unlistable(const std::string& path, int error_number) override {
    lines.push_back("unlistable " + path + " " + std::to_string(error_number));
  }
  void Unexpected(const std::string& path) override { lines.push_back("unexpected " + path); }
  Paths lines;
};

// One archive directory with the (empty) files of several archives, each
// of which shows one thing.
class DiscoveryTest : public ::testing::Test {
 protected:
  void SetUp() override {
    for (const char* relative : {
             // "plan" among names that only begin or end like it
             "2019/2019-05/2019-05-03_plant.rea", "2019/2019-05/2019-05-04_plan.rea",
             "2019/2019-05/2019-05-05_my_plan.rea", "2019/2019-05/2019-05-06_plan.txt",
             "2019/2019-05/notadate_plan.rea",
             // the last day of a year and the first of the next
             "2019/2019-12/2019-12-31_y.rea", "2020/2020-01/2020-01-01_y.rea",
             // a file of 2 June misplaced in "2019-05": months go by their names
             "2019/2019-05/2019-06-02_m.rea", "2019/2019-06/2019-06-01_m.rea",
             // year and month directories whose names are not dates
             "notes/2019-05/2019-05-03_u.rea", "2019/old/2019-05-04_u.rea",
             // two files of one day, and paths whose order is not the days'
             "2019/2019-06/2019-05-03_s.rea", "2019/2019-05/2019-05-04_s.rea",
             "2019/2019-05/2019-05-03_s.rea", "2018/2018-12/2018-12-31_s.rea",
             // neither a year nor a month directory; then not a day file
             "notes.txt", "2019/readme"})
      WriteArchiveFile(root() + "/" + relative, "");
    std::filesystem::create_directories(root() + "/2019/2019-05/2019-05-07_plan.rea");
  }

  // What Discover() returns, in its order, as "<month directory>/<stem>".
  Paths Found(const std::string& name, const char* from, const char* until) {
    ItemFilter filter;
    filter.archive_name = name;
    for (auto [text, time] : {std::pair{from, &filter.from_time}, {until, &filter.until_time}})
      if (text != nullptr) ParseTimestamp(text, time);
    std::vector<ArchiveFileEntry> entries;
    std::string err;
    walk_ = RecordedWalk();
    EXPECT_TRUE(Discover(filter, root(), &walk_, &entries, &err)) << err;
    Paths found;
    for (const ArchiveFileEntry& entry : entries)
      found.push_back(std::filesystem::path(entry.path).parent_path().filename().string() + "/" +
                      entry.stem);
    return found;
  }

  std::string root() const { return dir_.path() + "/arc"; }

  testing::TempDir dir_;
  RecordedWalk walk_;
};

TEST_F(DiscoveryTest, FilesOfTheArchiveWithinTheTimeSpan) {
  struct Case {
    const char* what;
    const char* name;
    const char* from;
    const char* until;
    Paths found;
  };
  const Case cases[] = {
      {"the whole name", "plan", nullptr, nullptr, {"2019-05/2019-05-04_plan"}},
      {"everything after the first '_'", "my_plan", nullptr, nullptr, {"2019-05/2019-05-05_my_plan"}},
      {"no name as a prefix", "pla", nullptr, nullptr, {}},
      {"a year up to its last nanosecond", "y", "2019-12-31 12:00:00", nullptr,
       {"2019-12/2019-12-31_y", "2020-01/2020-01-01_y"}},
      {"a year that starts at the until-time", "y", nullptr, "2020-01-01 00:00:00",
       {"2019-12/2019-12-31_y", "2020-01/2020-01-01_y"}},
      {"a month while the next starts after the from-time", "m", "2019-05-31 23:59:59.999999999",
       nullptr, {"2019-06/2019-06-01_m", "2019-05/2019-06-02_m"}},
      {"a month not once the next started", "m", "2019-06-01 00:00:00", nullptr, {"2019-06/2019-06-01_m"}},
      {"a month starting at the until-time", "m", nullptr, "2019-06-01 00:00:00", {"2019-06/2019-06-01_m"}},
      {"undated directories without a from-time", "u", nullptr, nullptr,
       {"2019-05/2019-05-03_u", "old/2019-05-04_u"}},
      {"undated directories not with one", "u", "2019-01-01 00:00:00", nullptr, {}},
      {"by day, then by path", "s", nullptr, nullptr,
       {"2018-12/2018-12-31_s", "2019-05/2019-05-03_s", "2019-06/2019-05-03_s", "2019-05/2019-05-04_s"}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    EXPECT_EQ(Found(c.name, c.from, c.until), c.found);
  }
}

// One odd entry on each level, so that the walk's order fixes the lines'.
TEST_F(DiscoveryTest, ReportsWhatIsNeitherDirectoryNorFile) {
  EXPECT_EQ(Found("plan", nullptr, nullptr), Paths{"2019-05/2019-05-04_plan"});
  EXPECT_EQ(walk_.lines, (Paths{"unexpected " + root() + "/notes.txt",
                                "unexpected " + root() + "/2019/readme",
                                "unexpected " + root() + "/2019/2019-05/2019-05-07_plan.rea"}));
}

// A path that is missing or neither file nor directory ends the walk with
// the line the user sees.
TEST_F(DiscoveryTest, RefusesWhatIsNoArchive) {
  std::vector<ArchiveFileEntry> entries;
  std::string err;
  EXPECT_FALSE(Discover(ItemFilter(), root() + "/none", &walk_, &entries, &err));
  EXPECT_EQ(err, "Path '" + root() + "/none' not found.");
  EXPECT_FALSE(Discover(ItemFilter(), "/dev/null", &walk_, &entries, &err));
  EXPECT_EQ(err, "Path '/dev/null' is not a directory.");
}

}  // namespace
}  // namespace qorarc
