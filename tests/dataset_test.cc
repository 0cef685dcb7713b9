// Dataset runs (--dataset) end to end: the layout and its partition
// columns as DuckDB reads them, the options and their errors, several
// archives in one run, runs with nothing new, a busy archive, a changed
// archive file, a failed write, and runs killed at random instants over
// live archives while a reader lists the dataset.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "archive/archive_writer.h"
#include "support/live_archive.h"
#include "support/program_run.h"
#include "support/random_archive.h"

namespace qorarc::testing {
namespace {

namespace fs = std::filesystem;

bool ReadersInstalled() { return fs::exists(TestScriptPath("readers/node_modules")); }

std::string Reader(const std::string& path, const std::string& mode) {
  return "node " + TestScriptPath("readers/read_parquet.mjs") + " '" + path + "' duckdb " + mode;
}

// Every file under `dir`, relative to it, in order.
std::vector<std::string> Tree(const std::string& dir) {
  std::vector<std::string> files;
  for (const auto& e : fs::recursive_directory_iterator(dir))
    if (e.is_regular_file()) files.push_back(fs::relative(e.path(), dir).string());
  std::sort(files.begin(), files.end());
  return files;
}

std::map<std::string, int> LineCounts(const std::string& text) {
  std::map<std::string, int> counts;
  std::istringstream in(text);
  for (std::string line; std::getline(in, line);) ++counts[line];
  return counts;
}

// The rows DuckDB reads from a full Parquet export of `name`, each with the
// partition columns a dataset adds: the archive and the day of its file,
// then `keys` (the user's own above the dataset).
std::string FullRows(const std::string& arc, const std::string& name, const std::string& tmp,
                     const std::string& keys = "") {
  std::string rows;
  for (const auto& e : fs::recursive_directory_iterator(arc)) {
    const std::string file = e.path().filename().string();
    if (!file.ends_with("_" + name + ".rea")) continue;
    const std::string out = tmp + "/" + file + ".parquet";
    EXPECT_EQ(RunQorArc({"-i", e.path().string(), "-pq", "-o", out}).status, 0);
    std::istringstream in(RunShell(Reader(out, "rows")));
    for (std::string line; std::getline(in, line);)
      rows += line.substr(0, line.size() - 1) + ",\"" + name + "\",\"" + file.substr(0, 10) +
              "\"" + keys + "]\n";
  }
  return rows;
}

struct Lake {
  TempDir dir;
  std::string arc = dir.path() + "/arc";
  std::string lake = dir.path() + "/lake/site=north";
  std::string Day(const std::string& name, int day) const {
    return ArchiveFilePath(arc, DayNumber(2019, 5, day), name);
  }
  Lake() {
    for (const char* name : {"plant", "k=v%"}) {
      for (int day = 3; day <= 4; ++day) {
        ArchiveBuilder b;
        b.Day(static_cast<uint32_t>(DayNumber(2019, 5, day)));
        b.Long(TimeOfDay(1, 0, 0), 7, day).Double(TimeOfDay(2, 0, 0), 8, 0.5);
        b.Array<int16_t>(19, TimeOfDay(3, 0, 0), 9, {1, 2, 3});
        WriteArchiveFile(Day(name, day), b.bytes());
      }
    }
  }
  ProgramResult Run(std::vector<std::string> extra) const {
    std::vector<std::string> args = {"-i", arc, "--dataset", lake};
    args.insert(args.end(), extra.begin(), extra.end());
    return RunQorArc(args);
  }
};

TEST(DatasetTest, LaysOutOneFilePerDayWithPartitionColumns) {
  Lake l;
  const ProgramResult r = l.Run({"--all"});
  EXPECT_EQ(r.err, "");
  EXPECT_EQ(r.status, 0);
  EXPECT_EQ(r.out, "");
  EXPECT_EQ(Tree(l.lake), (std::vector<std::string>{
                              "_qorarc/k%3Dv%25.state",
                              "_qorarc/k%3Dv%25.state.lock",
                              "_qorarc/plant.state",
                              "_qorarc/plant.state.lock",
                              "archive=k%3Dv%25/date=2019-05-03/k%3Dv%25-2019-05-03-0.parquet",
                              "archive=k%3Dv%25/date=2019-05-04/k%3Dv%25-2019-05-04-0.parquet",
                              "archive=plant/date=2019-05-03/plant-2019-05-03-0.parquet",
                              "archive=plant/date=2019-05-04/plant-2019-05-04-0.parquet",
                          }));
  if (!ReadersInstalled()) GTEST_SKIP() << "tests/readers/node_modules missing";
  // The user's own key above the dataset is a column too; the archive name
  // comes back unescaped.
  EXPECT_EQ(RunShell(Reader(l.lake + "/..", "dataset-schema")),
            "[\"ts\",\"TIMESTAMP WITH TIME ZONE\"]\n[\"ts_ns\",\"BIGINT\"]\n"
            "[\"id\",\"INTEGER\"]\n[\"class\",\"VARCHAR\"]\n[\"type\",\"VARCHAR\"]\n"
            "[\"level\",\"VARCHAR\"]\n[\"index\",\"INTEGER\"]\n[\"value\",\"DOUBLE\"]\n"
            "[\"int_value\",\"BIGINT\"]\n[\"text\",\"VARCHAR\"]\n[\"archive\",\"VARCHAR\"]\n"
            "[\"date\",\"DATE\"]\n[\"site\",\"VARCHAR\"]\n");
  EXPECT_EQ(LineCounts(RunShell(Reader(l.lake, "dataset"))),
            LineCounts(FullRows(l.arc, "plant", l.dir.path(), ",\"north\"") +
                       FullRows(l.arc, "k=v%", l.dir.path(), ",\"north\"")));
}

TEST(DatasetTest, RefusesOptionsThatDoNotMakeADataset) {
  Lake l;
  struct Case {
    std::vector<std::string> args;
    std::string err;
  };
  const Case cases[] = {
      {{"-i", l.arc, "--all"}, "Option '--all' needs '--dataset DIR'.\n"},
      {{"-i", l.arc, "--all", "-jl", "plant"}, "Option '--all' needs '--dataset DIR'.\n"},
      {{"-i", l.arc, "--dataset", l.lake}, 
       "Option '--dataset' needs an archive name ('-fn NAME') or '--all'.\n"},
      {{"-i", l.arc, "--dataset", l.lake, "-o", "x", "plant"},
       "Option '--dataset' cannot be used with '-o'.\n"},
      {{"-i", l.arc, "--dataset", l.lake, "-lc", "plant"},
       "Option '--dataset' writes Parquet: it cannot be used with another format.\n"},
      {{"-i", l.arc, "--dataset", l.lake, "-jl", "--all"},
       "Option '--dataset' writes Parquet: it cannot be used with another format.\n"},
      {{"-i", l.arc, "--dataset", l.lake, "--state", "s", "plant"},
       "Option '--dataset' cannot be used with '--state'.\n"},
      {{"-i", l.arc, "--dataset", l.lake, "-ic", "5", "plant"},
       "Option '--dataset' cannot be used with '-ic'.\n"},
      {{"-i", l.arc, "--dataset", l.lake, "--all", "plant"},
       "Option '--all' cannot be used with archive names.\n"},
      {{"-i", l.Day("plant", 3), "--dataset", l.lake, "--all"},
       "Option '--dataset' takes an archive directory as its input, not a single file.\n"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.args.back());
    const ProgramResult r = RunQorArc(c.args);
    EXPECT_EQ(r.err, c.err);
    EXPECT_EQ(r.status, 1);
    EXPECT_FALSE(fs::exists(l.lake));
  }
  // Without --dataset a repeated -fn keeps the later one, as always.
  EXPECT_EQ(RunQorArc({"-i", l.arc, "-lc", "-fn", "k=v%", "plant"}).out,
            RunQorArc({"-i", l.arc, "-lc", "plant"}).out);
}

// Each name given is an archive of the run; one that cannot be read does not
// stop the others, and the run ends with status 2. (As root, the run is made
// as user 65534, who may not read the file.)
TEST(DatasetTest, SeveralArchivesOneUnreadable) {
  Lake l;
  ASSERT_EQ(chmod(l.dir.path().c_str(), 0755), 0);
  fs::create_directories(l.lake);
  ASSERT_EQ(chmod(l.lake.c_str(), 0777), 0);
  ArchiveBuilder b;
  b.Day(static_cast<uint32_t>(DayNumber(2019, 5, 5))).Long(TimeOfDay(1, 0, 0), 7, 1);
  const std::string unreadable = l.Day("boiler", 5);
  WriteArchiveFile(unreadable, b.bytes());
  ASSERT_EQ(chmod(unreadable.c_str(), 0), 0);
  // A month that cannot be listed is shown once: the run walks the input
  // once for all its archives.
  const std::string month = l.arc + "/2019/2019-06";
  fs::create_directories(month);
  ASSERT_EQ(chmod(month.c_str(), 0), 0);
  Launch launch;
  launch.args = {"-i", l.arc, "--dataset", l.lake, "-fn", "boiler", "-fn", "plant", "k=v%"};
  launch.err = l.dir.path() + "/err";
  launch.as_nobody = geteuid() == 0;
  const Outcome o = RunLaunch(launch);
  if (o.err.find("Permission denied") == std::string::npos)
    GTEST_SKIP() << "cannot run QorArc without permission to a file (" << o.err << ")";
  EXPECT_EQ(o.err, "Failed to read '" + month + "': Permission denied.\nFailed to read '" +
                       unreadable + "': Permission denied.\n");
  EXPECT_EQ(o.status, 2);
  const std::vector<std::string> tree = Tree(l.lake);
  EXPECT_EQ(std::count_if(tree.begin(), tree.end(),
                          [](const std::string& f) { return f.ends_with(".parquet"); }),
            4);
}

// Nothing new (a record not yet whole included): no file written or
// touched, status 0; new records of a day replace its file by one that holds
// them too.
TEST(DatasetTest, GrowsOnlyWithNewRecords) {
  Lake l;
  ASSERT_EQ(l.Run({"plant"}).status, 0);
  const std::string day4 = l.lake + "/archive=plant/date=2019-05-04/plant-2019-05-04-0.parquet";
  struct stat before, after;
  ASSERT_EQ(stat(day4.c_str(), &before), 0);
  const ProgramResult again = l.Run({"--strict", "plant"});
  EXPECT_EQ(again.err, "");
  EXPECT_EQ(again.status, 0);
  ASSERT_EQ(stat(day4.c_str(), &after), 0);
  EXPECT_EQ(after.st_ino, before.st_ino);
  EXPECT_EQ(after.st_mtim.tv_nsec, before.st_mtim.tv_nsec);
  // Half a record is one still being written: nothing new yet.
  const std::string record = ArchiveBuilder().Long(TimeOfDay(9, 0, 0), 8, -1).bytes();
  Append(l.Day("plant", 4), record.substr(0, record.size() / 2));
  EXPECT_EQ(l.Run({"-ve", "plant"}).err,
            "Verbose mode enabled.\nName of the archive: 'plant'\n"
            "Nothing new in archive 'plant'.\n");
  ASSERT_EQ(stat(day4.c_str(), &after), 0);
  EXPECT_EQ(after.st_ino, before.st_ino);
  Append(l.Day("plant", 4), record.substr(record.size() / 2));
  const std::vector<std::string> tree = Tree(l.lake);
  EXPECT_EQ(l.Run({"-ve", "plant"}).err,
            "Verbose mode enabled.\nName of the archive: 'plant'\n"
            "Exporting data from '" + l.Day("plant", 4) + "'.\n"
            "Wrote '" + day4 + "'.\n");
  EXPECT_EQ(Tree(l.lake), tree);
  ASSERT_EQ(stat(day4.c_str(), &after), 0);
  EXPECT_NE(after.st_ino, before.st_ino);
  if (!ReadersInstalled()) GTEST_SKIP() << "tests/readers/node_modules missing";
  EXPECT_EQ(LineCounts(RunShell(Reader(l.lake, "dataset"))),
            LineCounts(FullRows(l.arc, "plant", l.dir.path(), ",\"north\"")));
}

// A second run on the same archive of a dataset waits --state-wait seconds,
// then skips that archive (the others are exported) and ends with status 4.
TEST(DatasetTest, BusyArchiveIsSkipped) {
  Lake l;
  fs::create_directories(l.lake + "/_qorarc");
  const int fd = open((l.lake + "/_qorarc/plant.state.lock").c_str(),
                      O_RDWR | O_CREAT | O_CLOEXEC, 0666);
  ASSERT_EQ(flock(fd, LOCK_EX), 0);
  const ProgramResult r = l.Run({"--all", "--state-wait", "0"});
  close(fd);
  EXPECT_EQ(r.err, "Archive 'plant' of dataset '" + l.lake +
                       "' is in use by another run; it is skipped.\n");
  EXPECT_EQ(r.status, 4);
  EXPECT_TRUE(fs::exists(l.lake + "/archive=k%3Dv%25"));
  EXPECT_FALSE(fs::exists(l.lake + "/archive=plant"));
}

// An archive file that no longer has the bytes a day's file was exported
// from: that file is sealed, and the day's new items go into the next one.
TEST(DatasetTest, ChangedArchiveFileSealsTheDay) {
  Lake l;
  ASSERT_EQ(l.Run({"plant"}).status, 0);
  ArchiveBuilder b;
  b.Day(static_cast<uint32_t>(DayNumber(2019, 5, 4))).Long(TimeOfDay(5, 0, 0), 6, 66);
  WriteArchiveFile(l.Day("plant", 4), b.bytes());
  const ProgramResult r = l.Run({"plant"});
  EXPECT_EQ(r.err, "Archive file '" + l.Day("plant", 4) +
                       "' changed since the last export; exporting it from its start.\n"
                       "Archive 'plant', 2019-05-04: an archive file changed or is gone since "
                       "'plant-2019-05-04-0.parquet' was written; that file is sealed.\n");
  EXPECT_EQ(r.status, 2);
  const std::string day = l.lake + "/archive=plant/date=2019-05-04";
  EXPECT_EQ(Names(day), (std::set<std::string>{"plant-2019-05-04-0.parquet",
                                               "plant-2019-05-04-1.parquet"}));
  // The sealed file stays; new records go to the open one.
  Append(l.Day("plant", 4), ArchiveBuilder().Long(TimeOfDay(6, 0, 0), 6, 67).bytes());
  EXPECT_EQ(l.Run({"plant"}).status, 0);
  EXPECT_EQ(Names(day).size(), 2u);
  if (!ReadersInstalled()) GTEST_SKIP() << "tests/readers/node_modules missing";
  EXPECT_EQ(RunShell(Reader(day + "/plant-2019-05-04-1.parquet", "rows")),
            "[\"1556946000000000000\",\"1556946000000000000\",6,"
            "\"AlLong\",\"data\",null,0,66,\"66\",null,\"plant\",\"2019-05-04\",\"north\"]\n"
            "[\"1556949600000000000\",\"1556949600000000000\",6,\"AlLong\",\"data\",null,0,67,"
            "\"67\",null,\"plant\",\"2019-05-04\",\"north\"]\n");
}

// A day's file whose range no longer gives the items it holds (here the
// ID filter changed between runs) is sealed too.
TEST(DatasetTest, OtherItemCountSealsTheDay) {
  Lake l;
  ASSERT_EQ(l.Run({"-f", "7", "plant"}).status, 0);
  Append(l.Day("plant", 4), ArchiveBuilder().Long(TimeOfDay(9, 0, 0), 8, -1).bytes());
  const ProgramResult r = l.Run({"plant"});
  EXPECT_EQ(r.err, "Archive 'plant', 2019-05-04: 3 items where 'plant-2019-05-04-0.parquet' "
                   "holds 1; that file is sealed.\n");
  EXPECT_EQ(r.status, 0);
  EXPECT_EQ(Names(l.lake + "/archive=plant/date=2019-05-04"),
            (std::set<std::string>{"plant-2019-05-04-0.parquet", "plant-2019-05-04-1.parquet"}));
  EXPECT_EQ(Names(l.lake + "/archive=plant/date=2019-05-03"),
            std::set<std::string>{"plant-2019-05-03-0.parquet"});
}

// A write that fails: nothing is renamed, the cursor stays, one line and
// status 255; the next run exports it all.
TEST(DatasetTest, FailedWriteCommitsNothing) {
  Lake l;
  Launch launch;
  launch.args = {"-i", l.arc, "--dataset", l.lake, "plant"};
  launch.file_size_limit = 200;
  const Outcome o = RunLaunch(launch);
  EXPECT_EQ(o.status, 255);
  EXPECT_EQ(o.err.substr(0, 20), "Failed to write to '");
  EXPECT_EQ(std::count(o.err.begin(), o.err.end(), '\n'), 1);
  EXPECT_EQ(Tree(l.lake), (std::vector<std::string>{"_qorarc/plant.state.lock"}));
  EXPECT_EQ(l.Run({"plant"}).status, 0);
  EXPECT_EQ(Tree(l.lake).size(), 4u);
}

// The property: several live archives grow (records split across writes,
// new days) while dataset runs go on, some ended at random instants
// (SIGKILL, SIGTERM), and a reader lists and reads the dataset all the
// while. The reader never sees a row twice nor fewer rows than before;
// after a last run the dataset holds each archive's full export. (DuckDB opens a file more than
// once in a query: a query during which a file it listed was replaced
// fails, and is counted apart; see the README.)
TEST(DatasetTest, KilledRunsOverLiveArchivesLoseAndRepeatNothing) {
  if (!ReadersInstalled()) GTEST_SKIP() << "tests/readers/node_modules missing";
  Random r{std::mt19937_64(0xDA7A)};
  Random growth{std::mt19937_64(0x6A0)};
  TempDir dir;
  const std::string arc = dir.path() + "/arc", lake = dir.path() + "/lake";
  std::vector<LiveArchive> archives;
  const std::vector<std::string> names = {"plant", "boiler", "press"};
  for (const std::string& name : names) archives.emplace_back(&growth, arc, name);
  fs::create_directories(lake);
  for (LiveArchive& a : archives) a.Step();
  // The archives grow while the runs go on, as a runtime writes them.
  std::atomic<bool> growing = true;
  std::thread writer([&] {
    while (growing) {
      for (LiveArchive& a : archives)
        if (growth.OneIn(2)) a.Step();
      std::this_thread::sleep_for(std::chrono::milliseconds(40));
    }
  });
  const std::string stop = dir.path() + "/stop";
  // The reader runs on its own; its line comes when `stop` exists.
  std::string watched;
  std::thread watcher([&] { watched = RunShell(Reader(lake, "dataset-watch '" + stop + "'")); });
  int killed = 0, committed_under_term = 0;
  constexpr int kRuns = 40;
  for (int n = 0; n < kRuns; ++n) {
    Launch launch;
    launch.args = {"-i", arc, "--dataset", lake, "--all"};
    launch.err = dir.path() + "/err";
    const int signal_number = r.OneIn(2) ? 0 : r.OneIn(3) ? SIGTERM : SIGKILL;
    const Outcome o =
        RunInterrupted(launch, signal_number, std::chrono::microseconds(r.Below(20'000)));
    SCOPED_TRACE("run " + std::to_string(n) + ": " + o.err);
    if (o.signal != 0) {
      EXPECT_EQ(o.signal, signal_number);
      ++killed;
    } else if (signal_number == SIGTERM && !o.err.empty()) {
      // Held back until the commit of an archive was done.
      EXPECT_EQ(o.err, "SIGTERM came while the export was being committed; it is complete and "
                       "committed.\n");
      EXPECT_EQ(o.status, 0);
      ++committed_under_term;
    } else {
      EXPECT_EQ(o.status, 0);
      EXPECT_EQ(o.err, "");
    }
    if (::testing::Test::HasFailure()) break;
  }
  growing = false;
  writer.join();
  for (LiveArchive& a : archives) a.Flush();
  EXPECT_EQ(RunQorArc({"-i", arc, "--dataset", lake, "--all"}).status, 0);
  std::ofstream(stop).put('\n');
  watcher.join();
  std::string full;
  for (const std::string& name : names) full += FullRows(arc, name, dir.path());
  EXPECT_EQ(LineCounts(RunShell(Reader(lake, "dataset"))), LineCounts(full));
  // Rows that long CSV has too, one per line after its header.
  size_t long_csv_rows = 0;
  for (const std::string& name : names) {
    const std::string text = RunQorArc({"-i", arc, "-lc", name}).out;
    long_csv_rows += static_cast<size_t>(std::count(text.begin(), text.end(), '\n')) - 1;
  }
  EXPECT_EQ(LineCounts(full).size() > 0 ? long_csv_rows : 0,
            static_cast<size_t>(std::count(full.begin(), full.end(), '\n')));
  for (const auto& e : fs::recursive_directory_iterator(lake))
    EXPECT_FALSE(e.path().filename().string().find(".part-") != std::string::npos) << e.path();
  // [reads, failed reads, reads that saw a row twice, reads that saw fewer,
  // last count]
  std::istringstream w(watched.empty() ? "" : watched.substr(1));
  long reads = 0, failed = 0, twice = -1, fewer = -1;
  char comma;
  w >> reads >> comma >> failed >> comma >> twice >> comma >> fewer;
  EXPECT_GT(reads, 0) << watched;
  EXPECT_EQ(twice, 0) << watched;
  EXPECT_EQ(fewer, 0) << watched;
  std::cout << kRuns << " runs, " << killed << " ended by a signal, " << committed_under_term
            << " SIGTERMs held back until a commit was done; reader: " << watched;
}

}  // namespace
}  // namespace qorarc::testing
