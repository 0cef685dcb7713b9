// The commit of --state runs end to end: runs killed or signalled at any
// instant over a live archive, runs at the same time on one state file,
// runs with nothing new, a state file that cannot be written. Counted over
// every output file that exists, the runs export each item once.
// QORARC_STATE_ROUNDS scales the killed runs (75 per round; default 4).
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <ctime>
#include <cstdlib>
#include <filesystem>
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

std::map<std::string, int> LineCounts(const std::string& text) {
  std::map<std::string, int> counts;
  std::istringstream in(text);
  for (std::string line; std::getline(in, line);) ++counts[line];
  return counts;
}

// The lines `full` has more often than `all` (lost) and fewer times
// (repeated), empty when they hold the same lines.
std::string Difference(const std::map<std::string, int>& all,
                       const std::map<std::string, int>& full) {
  std::string text;
  for (const auto& [line, n] : full) {
    auto it = all.find(line);
    const int m = it == all.end() ? 0 : it->second;
    if (m != n) text += (m < n ? "lost: " : "repeated: ") + line + "\n";
  }
  for (const auto& [line, m] : all)
    if (!full.count(line)) text += "not in the archive: " + line + "\n";
  return text;
}

// What the output files of a folder hold together, and the names in it
// that are not outputs.
std::string AllOutputs(const std::string& dir, std::vector<std::string>* others) {
  std::string all;
  for (const std::string& name : Names(dir)) {
    if (name.ends_with(".jsonl") && !name.starts_with("."))
      all += ReadFile(dir + "/" + name);
    else
      others->push_back(name);
  }
  return all;
}

// The property: runs killed (SIGKILL) or ended (SIGTERM) at random instants,
// while the archive grows, lose and repeat nothing once a last run is done.
TEST(StateCommitTest, KilledRunsLoseAndRepeatNothing) {
  const char* rounds_text = std::getenv("QORARC_STATE_ROUNDS");
  const int runs = 75 * (rounds_text != nullptr ? std::atoi(rounds_text) : 4);
  Random r{std::mt19937_64(0xC0117)};
  TempDir dir;
  const std::string arc = dir.path() + "/arc", out = dir.path() + "/out",
                    state = dir.path() + "/state/plant.state";
  std::filesystem::create_directories(out);
  std::filesystem::create_directories(dir.path() + "/state");
  LiveArchive archive(&r, arc);
  int killed = 0, killed_after_commit = 0, committed_under_term = 0;
  for (int n = 0; n < runs; ++n) {
    archive.Step();
    const std::string output = out + "/" + std::to_string(1000 + n) + ".jsonl";
    Launch launch;
    launch.args = {"-i", arc, "-jl", "--state", state, "-o", output, "plant"};
    launch.err = dir.path() + "/err";
    launch.options.env = {r.OneIn(2) ? "QORARC_THREADS=1" : "QORARC_THREADS=3",
                          "QORARC_BATCH_ITEMS=3"};
    std::vector<std::string> left_before;
    AllOutputs(out, &left_before);
    const bool tmp_before = std::filesystem::exists(state + ".tmp");
    const int signal_number = r.OneIn(4) ? 0 : r.OneIn(2) ? SIGKILL : SIGTERM;
    const Outcome o =
        RunInterrupted(launch, signal_number, std::chrono::microseconds(r.Below(15'000)));
    SCOPED_TRACE("run " + std::to_string(n) + ": " + o.err);
    if (o.signal != 0) {
      EXPECT_EQ(o.signal, signal_number);
      ++killed;
      killed_after_commit += std::filesystem::exists(output);
    } else {
      EXPECT_EQ(o.status, 0);
      if (signal_number == SIGTERM && o.err.find("SIGTERM came while") != std::string::npos)
        ++committed_under_term;
      else
        EXPECT_EQ(o.err, "");
    }
    // A run ended by a signal it could handle leaves no file of its own
    // (what a killed run before it left, it may not have reached).
    if (signal_number == SIGTERM) {
      std::vector<std::string> others;
      AllOutputs(out, &others);
      for (const std::string& name : others)
        EXPECT_NE(std::find(left_before.begin(), left_before.end(), name), left_before.end())
            << name;
      EXPECT_TRUE(tmp_before || !std::filesystem::exists(state + ".tmp"));
    }
    if (::testing::Test::HasFailure()) return;
  }
  archive.Flush();
  Launch last;
  last.args = {"-i", arc, "-jl", "--state", state, "-o", out + "/9999.jsonl", "plant"};
  EXPECT_EQ(RunLaunch(last).status, 0);
  std::vector<std::string> others;
  const std::string all = AllOutputs(out, &others);
  EXPECT_EQ(others, std::vector<std::string>{});
  EXPECT_FALSE(std::filesystem::exists(state + ".tmp"));
  const std::string full = RunQorArc({"-i", arc, "-jl", "plant"}).out;
  EXPECT_GT(full.size(), 0u);
  EXPECT_EQ(Difference(LineCounts(all), LineCounts(full)), "");
  std::cout << runs << " runs, " << killed << " ended by a signal (" << killed_after_commit
            << " after their output took its name), " << committed_under_term
            << " SIGTERMs held back until the commit was done\n";
}

struct Archive {
  TempDir dir;
  std::string arc = dir.path() + "/arc";
  std::string state = dir.path() + "/plant.state";
  std::string Out(const std::string& name) const { return dir.path() + "/" + name; }
  Archive() {
    ArchiveBuilder b;
    b.Day(static_cast<uint32_t>(DayNumber(2019, 5, 3)));
    for (int i = 0; i < 20'000; ++i) b.Long(TimeOfDay(1, 0, 0) + i * 1000, 7, i);
    WriteArchiveFile(ArchiveFilePath(arc, DayNumber(2019, 5, 3), "plant"), b.bytes());
  }
  Launch Run(const std::string& output, std::vector<std::string> extra = {}) const {
    Launch launch;
    launch.args = {"-i", arc, "-jl", "--state", state, "-o", Out(output)};
    launch.args.insert(launch.args.end(), extra.begin(), extra.end());
    launch.args.push_back("plant");
    return launch;
  }
};

// A second run on one state file waits for the first, up to --state-wait,
// then ends with status 4; runs started together export each item once.
TEST(StateCommitTest, OneRunAtATime) {
  Archive a;
  {
    const int fd = open((a.state + ".lock").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0666);
    ASSERT_EQ(flock(fd, LOCK_EX), 0);
    const Outcome busy = RunLaunch(a.Run("busy.jsonl", {"--state-wait", "0"}));
    EXPECT_EQ(busy.status, 4);
    EXPECT_EQ(busy.err, "State file '" + a.state + "' is in use by another run.\n");
    EXPECT_FALSE(std::filesystem::exists(a.Out("busy.jsonl")));
    std::thread release([fd] {
      std::this_thread::sleep_for(std::chrono::milliseconds(300));
      close(fd);
    });
    const Outcome waited = RunLaunch(a.Run("1.jsonl", {"--state-wait", "20"}));
    release.join();
    EXPECT_EQ(waited.status, 0);
  }
  Append(ArchiveFilePath(a.arc, DayNumber(2019, 5, 3), "plant"),
         ArchiveBuilder().Long(TimeOfDay(9, 0, 0), 8, -1).bytes());
  const Child first = Start(a.Run("2.jsonl"));
  const Child second = Start(a.Run("3.jsonl"));
  EXPECT_EQ(Finish(first, "").status, 0);
  EXPECT_EQ(Finish(second, "").status, 0);
  std::vector<std::string> others;
  const std::string all = AllOutputs(a.dir.path(), &others);
  EXPECT_EQ(Difference(LineCounts(all), LineCounts(RunQorArc({"-i", a.arc, "-jl", "plant"}).out)),
            "");
}

// Nothing new: the output file stays as it was, status 0, --strict too.
TEST(StateCommitTest, NothingNewLeavesTheOutputAsItWas) {
  Archive a;
  ASSERT_EQ(RunLaunch(a.Run("out.jsonl")).status, 0);
  struct stat before, after;
  ASSERT_EQ(stat(a.Out("out.jsonl").c_str(), &before), 0);
  for (const char* extra : {"-ve", "--strict"}) {
    SCOPED_TRACE(extra);
    const Outcome o = RunLaunch(a.Run("out.jsonl", {extra}));
    EXPECT_EQ(o.status, 0);
    ASSERT_EQ(stat(a.Out("out.jsonl").c_str(), &after), 0);
    EXPECT_EQ(after.st_ino, before.st_ino);
    EXPECT_EQ(after.st_size, before.st_size);
    EXPECT_EQ(RunLaunch(a.Run("new.jsonl", {extra})).status, 0);
    EXPECT_FALSE(std::filesystem::exists(a.Out("new.jsonl")));
  }
}

// Where no state can be saved, nothing is exported: status 1 before any
// output, which stays as it was.
TEST(StateCommitTest, NoStateWhereItCannotBeSaved) {
  Archive a;
  std::filesystem::permissions(a.dir.path(), std::filesystem::perms::all);
  std::filesystem::create_directory(a.Out("locked"));
  WriteArchiveFile(a.Out("out.jsonl"), "before\n");
  chmod(a.Out("out.jsonl").c_str(), 0666);
  Launch launch = a.Run("out.jsonl");
  launch.args[4] = a.Out("locked/plant.state");
  launch.as_nobody = true;
  const Outcome o = RunLaunch(launch);
  EXPECT_EQ(o.status, 1);
  EXPECT_EQ(o.err, "Failed to lock state file '" + a.Out("locked/plant.state") +
                       "': Permission denied.\n");
  EXPECT_EQ(ReadFile(a.Out("out.jsonl")), "before\n");
}

// A cursor that cannot be saved keeps the output from taking its name: the
// previous file stays, status 255, and nothing is skipped later.
TEST(StateCommitTest, CursorThatCannotBeSavedKeepsThePreviousOutput) {
  Archive a;
  WriteArchiveFile(a.Out("out.jsonl"), "before\n");
  std::filesystem::create_directory(a.state + ".tmp");  // no file can be written there
  const Outcome o = RunLaunch(a.Run("out.jsonl"));
  EXPECT_EQ(o.status, 255);
  EXPECT_EQ(o.err, "Failed to write state file '" + a.state + "': Is a directory.\n"
                   "Failed to write to '" + a.Out("out.jsonl") + "'.\n");
  EXPECT_EQ(ReadFile(a.Out("out.jsonl")), "before\n");
  std::vector<std::string> others;
  AllOutputs(a.dir.path(), &others);
  EXPECT_EQ(others, (std::vector<std::string>{"arc", "plant.state.lock", "plant.state.tmp"}));
  std::filesystem::remove(a.state + ".tmp");
  EXPECT_EQ(RunLaunch(a.Run("out.jsonl")).status, 0);
  EXPECT_EQ(ReadFile(a.Out("out.jsonl")), RunQorArc({"-i", a.arc, "-jl", "plant"}).out);
}

// The line of a file that is gone stays for 30 days, then goes.
TEST(StateCommitTest, FilesGoneAreForgottenAfterThirtyDays) {
  Archive a;
  ASSERT_EQ(RunLaunch(a.Run("out.jsonl")).status, 0);
  std::string text = ReadFile(a.state);
  const std::string line = text.substr(text.find("\nfile ") + 1);
  auto gone = [&](const std::string& name, int64_t since) {
    std::string entry = line;
    const size_t path = entry.rfind(' ');
    const size_t missing = entry.rfind(' ', path - 1);
    return entry.substr(0, missing + 1) + std::to_string(since) + " " + a.dir.path() + "/" +
           name + "\n";
  };
  const int64_t now = static_cast<int64_t>(std::time(nullptr));
  WriteArchiveFile(a.state, text + gone("recent", now - 29 * 86400) +
                                gone("old", now - 31 * 86400));
  Append(ArchiveFilePath(a.arc, DayNumber(2019, 5, 3), "plant"),
         ArchiveBuilder().Long(TimeOfDay(9, 0, 0), 8, -1).bytes());
  ASSERT_EQ(RunLaunch(a.Run("out.jsonl")).status, 0);
  text = ReadFile(a.state);
  EXPECT_NE(text.find(a.dir.path() + "/recent\n"), std::string::npos) << text;
  EXPECT_EQ(text.find(a.dir.path() + "/old\n"), std::string::npos) << text;
}

}  // namespace
}  // namespace qorarc::testing
