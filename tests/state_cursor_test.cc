// The cursor of unattended exports (--state FILE) end to end: runs between
// which records are appended to a live archive add up to one full export;
// each message and status of the cursor.
// QORARC_STATE_ROUNDS sets the live archives per format and thread setting
// (default 4).
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <regex>
#include <string>
#include <vector>

#include "archive/archive_writer.h"
#include "support/program_run.h"
#include "support/random_archive.h"

namespace qorarc::testing {
namespace {

void Append(const std::string& path, std::string_view bytes) {
  if (!std::filesystem::exists(path)) return WriteArchiveFile(path, bytes);
  std::ofstream out(path, std::ios::binary | std::ios::app);
  out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
}

// An archive "plant" that a runtime is writing: records are generated ahead
// and reach the file in pieces that may end inside a record; a new day's
// file begins only once the last one is whole.
class LiveArchive {
 public:
  LiveArchive(Random* r, std::string root) : r_(*r), root_(std::move(root)) { NewDay(); }

  void Step() {
    if (pending_.empty() && r_.OneIn(5)) NewDay();
    const int records = static_cast<int>(r_.Below(12));
    for (int i = 0; i < records; ++i) AddRecord();
    // All of it, or up to any byte, also inside a record.
    const size_t n = r_.OneIn(3) ? pending_.size() : r_.Below(pending_.size() + 1);
    Append(ArchiveFilePath(root_, day_, "plant"), std::string_view(pending_).substr(0, n));
    pending_.erase(0, n);
  }
  void Flush() {
    Append(ArchiveFilePath(root_, day_, "plant"), pending_);
    pending_.clear();
  }

 private:
  void NewDay() {
    day_ = day_ == 0 ? DayNumber(2024, 2, 27) : day_ + 1 + static_cast<int64_t>(r_.OneIn(4));
    time_ = 0;
    pending_ = ArchiveBuilder().Day(static_cast<uint32_t>(day_)).bytes();
  }
  void AddRecord() {
    time_ += r_.Between(1, 1'000'000) * kMicro;
    const uint16_t id = static_cast<uint16_t>(r_.Between(1, 60));
    ArchiveBuilder b;
    switch (r_.Below(5)) {
      case 0: b.Long(time_, id, static_cast<int32_t>(r_.Bits())); break;
      case 1: b.Double(time_, id, static_cast<double>(r_.Between(-99999, 99999)) / 8); break;
      case 2: b.Bool(time_, id, static_cast<uint8_t>(r_.Below(2))); break;
      case 3:
        b.Text(time_, id, 25,
               "log, \"" + std::string(r_.OneIn(8) ? 5000 : r_.Below(40), 'x') + "\"");
        break;
      default:
        b.Array<int16_t>(19, time_, id, std::vector<int16_t>(r_.Below(6), 7));
    }
    pending_ += b.bytes();
  }

  Random& r_;
  std::string root_;
  int64_t day_ = 0;
  int64_t time_ = 0;
  std::string pending_;  // generated, not yet in the file
};

// What a run wrote, without what every document of the format has around
// its items: the header of long CSV, the braces of the JSON document.
std::string Body(const std::string& format, const std::string& out) {
  if (format == "-lc") {
    EXPECT_TRUE(out.starts_with("ts,id,class,type,level,index,value,text\n")) << out;
    return out.substr(out.find('\n') + 1);
  }
  if (format.empty()) {
    EXPECT_TRUE(out.starts_with("{\"data\":[") && out.ends_with("]}")) << out;
    return out.substr(9, out.size() - 11);
  }
  return out;
}

TEST(StateCursorTest, RandomAppendsJoinIntoOneExport) {
  const char* rounds_text = std::getenv("QORARC_STATE_ROUNDS");
  const int rounds = rounds_text != nullptr ? std::atoi(rounds_text) : 4;
  int seed = 0;
  for (const std::string format : {"-jl", "-lc", ""}) {
    for (const char* threads : {"QORARC_THREADS=1", "QORARC_THREADS=3"}) {
      for (int round = 0; round < rounds; ++round) {
        SCOPED_TRACE("format '" + format + "', " + threads + ", seed " + std::to_string(seed));
        Random r{std::mt19937_64(0x57A7E000 + seed++)};
        TempDir dir;
        LiveArchive archive(&r, dir.path() + "/arc");
        // The same filters in every run and in the full export.
        std::vector<std::string> args = {"-i", dir.path() + "/arc"};
        if (!format.empty()) args.push_back(format);
        if (r.OneIn(2)) args.insert(args.end(), {"-f", "1..40"});
        if (r.OneIn(3)) args.push_back("-ne");
        std::string joined, separator = format.empty() ? "," : "";
        auto run = [&](bool limit) {
          std::vector<std::string> run_args = args;
          run_args.insert(run_args.end(), {"--state", dir.path() + "/state"});
          if (limit) run_args.insert(run_args.end(), {"-ic", std::to_string(r.Below(25))});
          run_args.push_back("plant");
          const ProgramResult p = RunQorArc(run_args, {{threads, "QORARC_BATCH_ITEMS=3"}, ""});
          EXPECT_EQ(p.err, "");
          EXPECT_EQ(p.status, 0);
          const std::string body = Body(format, p.out);
          if (!body.empty()) joined += (joined.empty() ? "" : separator) + body;
        };
        for (int step = 0; step < 30; ++step) {
          archive.Step();
          run(!r.OneIn(3));
        }
        archive.Flush();
        run(false);
        args.push_back("plant");
        const std::string full = Body(format, RunQorArc(args).out);
        EXPECT_GT(full.size(), 0u);
        EXPECT_TRUE(joined == full) << "joined:\n" << joined << "\nfull:\n" << full;
        if (::testing::Test::HasFailure()) return;
      }
    }
  }
}

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
      {"the first run, -ft1 applies", Longs(0, 4), {"-ft1", "2019-05-03 01:00:01"},
       "8,1\n9,2\n7,3\n", "", 0},
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

// A state file that cannot be used: one line, status 1, nothing exported,
// the file as it was. A failed export leaves it as it was too.
TEST(StateCursorTest, UnusableStateFileAndFailedRuns) {
  const std::string head = "qorarc-state 1\narchive plant\nfrom_time -1\n";
  const std::string position =
      "file x\nfile_start 0\noffset 3\nday 1\ndevice 1\ninode 1\nfnv1a64 00000000000000ff\n";
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
  const Case cases[] = {
      {"a directory", "/", {}, "Failed to read state file '@state': Is a directory.\n", 1},
      {"another format", "qorarc-state 3\n", {},
       invalid + "it does not begin with 'qorarc-state 2'.\n", 1},
      {"empty", "", {}, invalid + "it is empty.\n", 1},
      {"no line feed", head + "colour", {}, invalid + "line 4 has no line feed.\n", 1},
      {"an unknown key", head + "colour red\n", {}, invalid + "line 4: unknown key 'colour'.\n", 1},
      {"a repeated key", head + "archive plant\n", {},
       invalid + "line 4: repeated key 'archive'.\n", 1},
      {"a key without a value", head + "offset\n", {},
       invalid + "line 4: no value after 'offset'.\n", 1},
      {"a bad number", head + std::regex_replace(position, std::regex("offset 3"), "offset 3x"),
       {}, invalid + "bad value of 'offset'.\n", 1},
      {"a negative number", head + std::regex_replace(position, std::regex("day 1"), "day -1"),
       {}, invalid + "bad value of 'day'.\n", 1},
      {"a number with a blank", "qorarc-state 1\narchive plant\nfrom_time  -1\n", {},
       invalid + "bad value of 'from_time'.\n", 1},
      {"half a position", head + "file x\n", {}, invalid + "no 'file_start'.\n", 1},
      {"a short hash", head + position.substr(0, position.size() - 3) + "f\nrest_skipped 0\n", {},
       invalid + "bad value of 'fnv1a64'.\n", 1},
      {"another archive", "qorarc-state 1\narchive other\nfrom_time -1\n", {},
       "State file '@state' belongs to archive 'other', not 'plant'.\n", 1},
      {"an output that cannot be opened", head, {"-o", f.dir.path() + "/missing/out.csv"},
       "Failed to open file '@missing/out.csv' for writing.\n", 255},
      {"nothing found with --strict", head, {"--strict", "-ft2", "2019-01-01"},
       "Archive 'plant' not found in '@arc' for the timespan specified. Try parameter '--scan' "
       "to find available archives and their timespans.\n", 3},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    std::filesystem::remove_all(f.state);
    if (c.state == "/")
      std::filesystem::create_directory(f.state);
    else
      WriteArchiveFile(f.state, c.state);
    const ProgramResult r = f.Run(c.args);
    EXPECT_EQ(r.err, c.err);
    EXPECT_EQ(r.status, c.status);
    EXPECT_EQ(r.out, "");
    if (c.state != "/") {
      EXPECT_EQ(ReadFile(f.state), c.state);
    }
  }
}

}  // namespace
}  // namespace qorarc::testing
