// The cursor of unattended exports (--state FILE) end to end: runs between
// which records are appended add up to one full export; each message and
// status of the cursor. Runs killed over live archives:
// tests/state_commit_test.cc.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>
#include <functional>
#include <regex>
#include <string>
#include <vector>

#include "archive/archive_writer.h"
#include "support/live_archive.h"
#include "support/program_run.h"

namespace qorarc::testing {
namespace {

const int64_t kDay = DayNumber(2019, 5, 3);

// `n` Long items of IDs 7, 8, 9, 7, ... with values from `first` on, at
// 01:00:00, 01:00:01, ... after a day marker for `day` when `marker`.
std::string Longs(int first, int n, int64_t day = kDay, bool marker = true) {
  ArchiveBuilder b;
  if (marker) b.Day(static_cast<uint32_t>(day));
  for (int i = first; i < first + n; ++i)
    b.Long(TimeOfDay(1, 0, i), static_cast<uint16_t>(7 + i % 3), i);
  return b.bytes();
}

struct Fixture {
  TempDir dir;
  std::string arc = dir.path() + "/arc";
  std::string state = dir.path() + "/state";
  std::string file(int64_t day = kDay) const { return ArchiveFilePath(arc, day, "plant"); }
  // A run of CSV ID and value columns: "7,0\n8,1\n".
  ProgramResult Run(std::vector<std::string> extra, const std::string& name = "plant") const {
    std::vector<std::string> args = {"-i", arc, "--csv", "-ccf", "5..6", "--state", state};
    args.insert(args.end(), extra.begin(), extra.end());
    args.push_back(name);
    ProgramResult r = RunQorArc(args);
    r.err = std::regex_replace(r.err, std::regex(dir.path() + "/"), "@");
    return r;
  }
};

// The runs of one archive as it grows and changes, each with what it prints
// and its status.
TEST(StateCursorTest, RunsExportWhatCameSinceTheLastOne) {
  const std::string changed =
      "Archive file '@arc/2019/2019-05/2019-05-03_plant.rea' changed since the last export; "
      "exporting it from its start.\n";
  const std::string cut = ArchiveBuilder().Long(TimeOfDay(2, 0, 0), 9, 99).bytes();
  struct Step {
    const char* what;
    std::string append;  // to the day's file
    std::vector<std::string> args;
    std::string out, err;
    int status;
    bool rewrite = false;  // replace the day's file by `append`
  };
  const Step steps[] = {
      {"a first run that writes nothing", Longs(0, 4), {"-ft1", "2019-05-03 01:00:01", "-ic", "0"},
       "", "", 0},
      {"its -ft1 holds", "", {}, "8,1\n9,2\n7,3\n", "", 0},
      {"nothing new", "", {}, "", "", 0},
      {"-ft1 no longer applies", Longs(4, 2, kDay, false), {"-ft1", "2019-05-03 02:00"},
       "8,4\n9,5\n", "", 0},
      {"a record cut short is held back", Longs(6, 1, kDay, false) + cut.substr(0, 5),
       {"-ve"}, "7,6\n",
       "Verbose mode enabled.\nExport to CSV enabled.\nName of the archive: 'plant'\n"
       "Exporting data from '@arc/2019/2019-05/2019-05-03_plant.rea'.\n", 0},
      {"and exported whole", cut.substr(5), {}, "9,99\n", "", 0},
      {"-ic pages", Longs(7, 3, kDay, false), {"-ic", "2"}, "8,7\n9,8\n", "", 0},
      {"-ic 0 stays", "", {"-ic", "0"}, "", "", 0},
      {"-ft2 bounds the run", "", {"-ft2", "2019-05-03 01:00:08"}, "", "", 0},
      {"the rest", "", {"-ft2", "2019-05-03 01:00:09"}, "7,9\n", "", 0},
      {"-itc counts on, the cursor stays", Longs(10, 2, kDay, false), {"-ic", "1", "-itc"},
       "8,10\n", "", 0},
      {"the next page", "", {}, "9,11\n", "", 0},
      {"a replaced file", Longs(20, 2), {}, "9,20\n7,21\n", changed, 2, true},
      {"a shorter file", Longs(30, 1), {}, "7,30\n", changed, 2, true},
  };
  Fixture f;
  for (const Step& s : steps) {
    SCOPED_TRACE(s.what);
    if (s.rewrite) {
      std::filesystem::remove(f.file());  // a new inode, as a rotation gives
      WriteArchiveFile(f.file(), s.append);
    } else {
      Append(f.file(), s.append);
    }
    const ProgramResult r = f.Run(s.args);
    EXPECT_EQ(r.out, s.out);
    EXPECT_EQ(r.err, s.err);
    EXPECT_EQ(r.status, s.status);
  }
}

// The same file with other bytes before the offset, and an older day's file
// that ends cut short: damage as without --state.
TEST(StateCursorTest, ChangedBytesAndOlderCutRecords) {
  Fixture f;
  WriteArchiveFile(f.file(), Longs(0, 2));
  EXPECT_EQ(f.Run({}).out, "7,0\n8,1\n");
  {
    std::fstream io(f.file(), std::ios::in | std::ios::out | std::ios::binary);
    io.seekp(-1, std::ios::end);
    io.put('\x05');  // the last value 1 becomes 5, in place
  }
  ProgramResult r = f.Run({});
  EXPECT_EQ(r.out, "7,0\n8,5\n");
  EXPECT_EQ(r.status, 2);
  Append(f.file(), Longs(2, 1, kDay, false).substr(0, 7));
  WriteArchiveFile(f.file(kDay + 1), Longs(3, 1, kDay + 1));
  // A record cut short may still be being written, in any day's file.
  EXPECT_EQ(f.Run({"-ic", "1"}).out, "7,3\n");
  // A file unchanged for a day is written no more: the record is damage.
  std::filesystem::last_write_time(
      f.file(), std::filesystem::file_time_type::clock::now() - std::chrono::hours(25));
  r = f.Run({"-ve"});
  EXPECT_EQ(r.out, "-1\n");  // the bad-record item
  EXPECT_NE(r.err.find("Error occured while reading file '@arc/2019/2019-05/2019-05-03"),
            std::string::npos);
  EXPECT_EQ(r.status, 0);
  EXPECT_EQ(f.Run({}).out, "");  // not again
}

// Whatever file a record is in, a run exports it once: files that come
// late, appends to earlier days, a clock that jumped ahead, a restored copy
// of a day in another folder, a file replaced by a copy of itself.
TEST(StateCursorTest, EveryRecordOnceWhereverItIs) {
  Fixture f;
  const int64_t a = kDay, b = kDay + 1, c = kDay + 2, jump = DayNumber(2030, 1, 1);
  const std::string restored = f.arc + "/2019/2019-04/2019-05-03_plant.rea";
  struct Step {
    const char* what;
    std::function<void()> change;
    std::string out;
  };
  const Step steps[] = {
      {"the first day", [&] { WriteArchiveFile(f.file(a), Longs(0, 2, a)); }, "7,0\n8,1\n"},
      {"the third day", [&] { WriteArchiveFile(f.file(c), Longs(10, 1, c)); }, "8,10\n"},
      {"the second day comes late", [&] { WriteArchiveFile(f.file(b), Longs(20, 1, b)); },
       "9,20\n"},
      {"the first day grows", [&] { Append(f.file(a), Longs(2, 1, a, false)); }, "9,2\n"},
      {"a day in 2030", [&] { WriteArchiveFile(f.file(jump), Longs(30, 1, jump)); }, "7,30\n"},
      {"then the clock is right again",
       [&] {
         Append(f.file(c), Longs(11, 1, c, false));
         WriteArchiveFile(f.file(c + 1), Longs(40, 1, c + 1));
       },
       "9,11\n8,40\n"},
      {"a restored copy of the first day",
       [&] {
         std::filesystem::create_directories(f.arc + "/2019/2019-04");
         std::filesystem::copy_file(f.file(a), restored);
       },
       ""},
      {"both copies grow", [&] {
         Append(f.file(a), Longs(3, 1, a, false));
         Append(restored, Longs(4, 1, a, false));
       },
       "8,4\n7,3\n"},
      {"a copy renamed over the file",
       [&] {
         std::filesystem::copy_file(f.file(c), f.dir.path() + "/copy");
         std::filesystem::rename(f.dir.path() + "/copy", f.file(c));
       },
       ""},
      {"which grows", [&] { Append(f.file(c), Longs(12, 1, c, false)); }, "7,12\n"},
      {"a file moved away",
       [&] { std::filesystem::rename(f.file(c + 1), f.dir.path() + "/away"); }, ""},
      {"and back", [&] { std::filesystem::rename(f.dir.path() + "/away", f.file(c + 1)); }, ""},
      {"nothing new", [] {}, ""},
  };
  for (const Step& s : steps) {
    SCOPED_TRACE(s.what);
    s.change();
    const ProgramResult r = f.Run({});
    EXPECT_EQ(r.out, s.out);
    EXPECT_EQ(r.err, "");
    EXPECT_EQ(r.status, 0);
  }
}

// A folder that cannot be listed, and a file that cannot be read, are owed
// until they can: status 2 each run, then their records, once.
TEST(StateCursorTest, UnreadableFilesAndFoldersStayOwed) {
  Fixture f;
  const int64_t june = DayNumber(2019, 6, 1);
  WriteArchiveFile(f.file(kDay), Longs(0, 1));
  WriteArchiveFile(f.file(june), Longs(1, 1, june));
  WriteArchiveFile(f.file(june + 1), Longs(2, 1, june + 1));
  std::filesystem::permissions(f.dir.path(), std::filesystem::perms::all);
  const std::string may = f.arc + "/2019/2019-05", june_file = f.file(june + 1);
  auto run = [&] {
    Launch launch;
    launch.args = {"-i", f.arc, "--csv", "-ccf", "5..6", "--state", f.state, "-o",
                   f.dir.path() + "/out.csv", "plant"};
    launch.as_nobody = true;
    const Outcome o = RunLaunch(launch);
    return std::to_string(o.status) + ":" + ReadFile(f.dir.path() + "/out.csv");
  };
  chmod(may.c_str(), 0);
  chmod(june_file.c_str(), 0);
  EXPECT_EQ(run(), "2:8,1\n");
  EXPECT_EQ(run(), "2:8,1\n");  // nothing new: the file stays
  chmod(may.c_str(), 0755);
  EXPECT_EQ(run(), "2:7,0\n");
  chmod(june_file.c_str(), 0644);
  EXPECT_EQ(run(), "0:9,2\n");
  EXPECT_EQ(run(), "0:9,2\n");
}

// A cursor of the first format goes on where it stood.
TEST(StateCursorTest, GoesOnFromACursorOfTheFirstFormat) {
  Fixture f;
  WriteArchiveFile(f.file(kDay - 1), Longs(0, 1, kDay - 1));
  WriteArchiveFile(f.file(), Longs(1, 2));
  ASSERT_EQ(f.Run({"-ic", "2"}).out, "7,0\n8,1\n");
  // The same cursor as the first format wrote it.
  const std::string one_item = Longs(1, 1);
  uint64_t hash = 0xcbf29ce484222325;
  for (unsigned char ch : one_item) hash = (hash ^ ch) * 0x100000001b3;
  struct stat st;
  ASSERT_EQ(stat(f.file().c_str(), &st), 0);
  char hex[17];
  std::snprintf(hex, sizeof hex, "%016llx", static_cast<unsigned long long>(hash));
  WriteArchiveFile(f.state, "qorarc-state 1\narchive plant\nfrom_time -1\nfile " + f.file() +
                                "\nfile_start " + std::to_string(kDay * 86400 * 1000000000LL) +
                                "\noffset " + std::to_string(one_item.size()) + "\nday " +
                                std::to_string(kDay) + "\ndevice " + std::to_string(st.st_dev) +
                                "\ninode " + std::to_string(st.st_ino) + "\nfnv1a64 " + hex +
                                "\nrest_skipped 0\n");
  Append(f.file(kDay - 1), Longs(5, 1, kDay - 1, false));  // was done: stays done
  EXPECT_EQ(f.Run({}).out, "9,2\n");
  EXPECT_TRUE(ReadFile(f.state).starts_with("qorarc-state 2\n"));
  EXPECT_EQ(f.Run({}).out, "");
}

// A state file that cannot be used: one line, status 1, nothing exported,
// the file as it was (what makes a file invalid: app/export_state_test.cc).
// A failed export leaves it as it was too.
TEST(StateCursorTest, UnusableStateFileAndFailedRuns) {
  const std::string head = "qorarc-state 1\narchive plant\nfrom_time -1\n";
  Fixture f;
  WriteArchiveFile(f.file(), Longs(0, 1));
  struct Case {
    const char* what;
    std::string state;  // "/": a directory
    std::vector<std::string> args;
    std::string err;
    int status;
  };
  const std::string invalid = "State file '@state' is not valid: ";
  const std::string absent = "(none)";
  const Case cases[] = {
      {"a directory", "/", {}, "Failed to read state file '@state': Is a directory.\n", 1},
      {"another format", "qorarc-state 3\n", {},
       invalid + "it does not begin with 'qorarc-state 2'.\n", 1},
      {"no line feed", head + "colour", {}, invalid + "line 4 has no line feed.\n", 1},
      {"another archive", "qorarc-state 1\narchive other\nfrom_time -1\n", {},
       "State file '@state' belongs to archive 'other', not 'plant'.\n", 1},
      {"an output that cannot be opened", head, {"-o", f.dir.path() + "/missing/out.csv"},
       "Failed to open file '@missing/out.csv' for writing.\n", 255},
      {"nothing found with --strict, no state file", absent, {"--strict", "-ft2", "2019-01-01"},
       "Archive 'plant' not found in '@arc' for the timespan specified. Try parameter '--scan' "
       "to find available archives and their timespans.\n", 3},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    std::filesystem::remove_all(f.state);
    if (c.state == "/")
      std::filesystem::create_directory(f.state);
    else if (c.state != absent)
      WriteArchiveFile(f.state, c.state);
    const ProgramResult r = f.Run(c.args);
    EXPECT_EQ(r.err, c.err);
    EXPECT_EQ(r.status, c.status);
    EXPECT_EQ(r.out, "");
    if (c.state == absent) {
      EXPECT_FALSE(std::filesystem::exists(f.state));
    } else if (c.state != "/") {
      EXPECT_EQ(ReadFile(f.state), c.state);
    }
  }
}

}  // namespace
}  // namespace qorarc::testing
