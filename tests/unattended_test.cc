// Unattended exports end to end: what --strict turns into an exit status,
// and output files compressed by their name.
#include <gtest/gtest.h>

#include <filesystem>
#include <regex>
#include <set>
#include <string>
#include <vector>

#include "archive/archive_writer.h"
#include "support/program_run.h"

namespace qorarc::testing {
namespace {

const int64_t kDay = DayNumber(2019, 5, 3);
const std::string kBadParameters =
    "Parameters are not valid.\nTry 'QorArc --help' for more information.\n";

// "@": the test's directory. Its archive "plant" holds one day of `n` Long
// items of IDs 7, 8, 9, ... with values 0, 1, 2, ...
std::string MakeArchive(const TempDir& dir, int n) {
  ArchiveBuilder b;
  b.Day(static_cast<uint32_t>(kDay));
  for (int i = 0; i < n; ++i) b.Long(TimeOfDay(1, 0, i % 60), static_cast<uint16_t>(7 + i % 3), i);
  WriteArchiveFile(ArchiveFilePath(dir.path() + "/arc", kDay, "plant"), b.bytes());
  return dir.path() + "/arc";
}

std::vector<std::string> Expand(std::vector<std::string> args, const TempDir& dir) {
  for (std::string& arg : args)
    if (arg.starts_with("@")) arg = dir.path() + "/" + arg.substr(1);
  return args;
}

// Each silent success --strict turns into a status, without and with it.
TEST(UnattendedTest, StrictTurnsSilentSuccessIntoStatus) {
  TempDir dir;
  MakeArchive(dir, 3);
  const std::string csv = "7,0\n8,1\n9,2\n";  // and the empty result of CSV is empty
  const std::string list =
      "' takes a list of whole numbers and rising ranges such as 1..5,8,10..20, not '";
  struct Case {
    const char* what;
    std::vector<std::string> args;  // --strict goes before the last one
    std::string plain_out, plain_err, strict_err;
    int strict_status;
  };
  const Case cases[] = {
      {"an unknown option", {"-x", "plant"}, csv, "Unrecognized option '-x'.\n",
       "Unrecognized option '-x'.\n" + kBadParameters, 1},
      {"a value after '='", {"--item-count=1", "plant"}, csv,
       "Unrecognized option '--item-count=1'.\n",
       "Option '--item-count' takes its value as the next argument, not '--item-count=1'.\n" +
           kBadParameters, 1},
      {"a count with an exponent", {"-ic", "2e3", "plant"}, "7,0\n8,1\n", "",
       "Option '-ic' takes a whole number, not '2e3'.\n" + kBadParameters, 1},
      {"a negative count", {"-ic", "-5", "plant"}, csv, "",
       "Option '-ic' takes a whole number from 0 up, not '-5'.\n" + kBadParameters, 1},
      {"a time span that ends before it starts",
       {"-ft1", "2019-05-04", "-ft2", "2019-05-02", "plant"}, "",
       "Archive 'plant' not found in '@arc' for the timespan specified. Try parameter '--scan' to "
       "find available archives and their timespans.\n",
       "Option '-ft2' is before '-ft1': the time span is empty.\n" + kBadParameters, 1},
      {"a dash range", {"-f", "7-8", "plant"}, "7,0\n", "",
       "Option '-f" + list + "7-8'.\n" + kBadParameters, 1},
      {"a semicolon list", {"--filter-id", "7;8", "plant"}, "7,0\n", "",
       "Option '--filter-id" + list + "7;8'.\n" + kBadParameters, 1},
      {"a missing archive", {"other"}, "",
       "Archive 'other' not found in '@arc'. Try parameter '--scan' to find available archives.\n",
       "", 3},
      {"a time span that meets no file", {"-ft1", "2030-01-01", "plant"}, "",
       "Archive 'plant' not found in '@arc' for the timespan specified. Try parameter '--scan' to "
       "find available archives and their timespans.\n", "", 3},
  };
  for (const Case& c : cases) {
    for (bool strict : {false, true}) {
      SCOPED_TRACE(std::string(c.what) + (strict ? " --strict" : ""));
      std::vector<std::string> args = Expand({"-i", "@arc", "--csv", "-ccf", "5..6"}, dir);
      args.insert(args.end(), c.args.begin(), c.args.end());
      if (strict) args.insert(args.end() - 1, "--strict");
      ProgramResult r = RunQorArc(args);
      const bool refused = strict && c.strict_status == 1;
      const std::string err = strict && !c.strict_err.empty() ? c.strict_err : c.plain_err;
      EXPECT_EQ(r.out, refused ? "" : c.plain_out);
      EXPECT_EQ(std::regex_replace(r.err, std::regex(dir.path() + "/"), "@"), err);
      EXPECT_EQ(r.status, strict ? c.strict_status : 0);
    }
  }
}

// Nothing found with --strict -o: the empty result replaces the previous
// file, compressed as its name asks; standard output stays empty. Without
// --strict the file stays and the empty result goes to standard output.
TEST(UnattendedTest, StrictNothingFoundReplacesTheOutputFile) {
  TempDir dir;
  const std::string cases[][3] = {
      {"out.json", "-p", "{\"data\": []}\n"},
      {"out.csv.gz", "-cf", ""},
      {"out.csv.zst", "-lc", "ts,id,class,type,level,index,value,text\n"}};
  for (const auto& [name, format, result] : cases) {
    for (bool strict : {false, true}) {
      SCOPED_TRACE(name + (strict ? " --strict" : ""));
      const std::string out = dir.path() + "/" + name;
      WriteArchiveFile(out, "previous");
      std::vector<std::string> args = {"-i", dir.path(), "-o", out, format, "plant"};
      if (strict) args.insert(args.begin(), "--strict");
      ProgramResult r = RunQorArc(args);
      const char* cat = name.ends_with(".gz")    ? "zcat '"
                        : name.ends_with(".zst") ? "zstd -dcq '"
                                                 : "cat '";
      EXPECT_EQ(r.out, strict ? "" : result);
      EXPECT_EQ(strict ? RunShell(cat + out + "'") : ReadFile(out), strict ? result : "previous");
      EXPECT_EQ(r.status, strict ? 3 : 0);
    }
  }
}

// Every format and the scan listing, on one, two and three threads (in
// small batches): zcat and zstd -dc give back the plain export, here up to
// 6 MB, several members, and the compressed files are the same bytes, cut
// every 1 MiB of the document whatever the threads.
TEST(UnattendedTest, CompressedOutputIsThePlainExport) {
  TempDir dir;
  const std::string arc = MakeArchive(dir, 60'000);
  for (const char* format : {"-itc", "-p", "-cf", "-jl", "-lc", "-lp", "-om", "-s"}) {
    const ProgramResult plain = RunQorArc({"-i", arc, format, "plant"});
    for (const std::string name : {"out.gz", "out.zst"}) {
      std::string one_thread;
      for (const char* threads : {"QORARC_THREADS=1", "QORARC_THREADS=2", "QORARC_THREADS=3"}) {
        SCOPED_TRACE(std::string(format) + " " + threads + " " + name);
        const std::string out = dir.path() + "/" + name;
        ProgramResult r = RunQorArc({"-o", out, "-i", arc, format, "plant"},
                                    {{threads, "QORARC_BATCH_ITEMS=500"}, ""});
        // OpenMetrics leaves out the repeats of a series in one millisecond:
        // its warning and status are the plain export's.
        EXPECT_EQ(r.out, "");
        EXPECT_EQ(r.err, std::string(format) == "-om" ? plain.err : "");
        EXPECT_EQ(r.status, std::string(format) == "-om" ? 2 : 0);
        const std::string unpacked =
            RunShell((name == "out.gz" ? "zcat '" : "zstd -dcq '") + out + "'");
        EXPECT_TRUE(unpacked == plain.out) << unpacked.size() << " bytes, not " << plain.out.size();
        if (one_thread.empty()) one_thread = ReadFile(out);
        EXPECT_TRUE(ReadFile(out) == one_thread) << ReadFile(out).size() << " bytes, not "
                                                 << one_thread.size();
      }
    }
  }
}

// A compressed write that fails, within the export, at its last member, or
// of the empty result: the previous file stays, alone; the status is 255.
TEST(UnattendedTest, FailedCompressedWriteKeepsThePreviousFile) {
  TempDir dir;
  const std::string arc = MakeArchive(dir, 40'000);
  const std::string out_dir = dir.path() + "/out";
  std::filesystem::create_directory(out_dir);
  const struct {
    std::string name, option;
    rlim_t file_size_limit;
  } cases[] = {
      {"out.json.gz", "-p", 8'000}, {"out.json.zst", "-s", 20}, {"empty.json.gz", "--strict", 10}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name + " " + c.option);
    const std::string out = out_dir + "/" + c.name;
    WriteArchiveFile(out, "previous");
    // Standard error goes to a pipe: a file would meet the limit too.
    Launch launch{{"-i", arc, "-o", out, c.option, c.option == "--strict" ? "other" : "plant"},
                  "/dev/null",
                  ""};
    launch.file_size_limit = c.file_size_limit;
    Outcome outcome = RunLaunch(launch);
    EXPECT_TRUE(outcome.err.ends_with("Failed to write to '" + out + "'.\n")) << outcome.err;
    EXPECT_EQ(outcome.status, 255);
    EXPECT_EQ(ReadFile(out), "previous");
    EXPECT_EQ(Names(out_dir), std::set<std::string>{c.name});
    std::filesystem::remove(out);
  }
}

}  // namespace
}  // namespace qorarc::testing
