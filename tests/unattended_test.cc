// Unattended exports: what --strict turns into an exit status of its own,
// and output files compressed by their name, end to end.
#include <gtest/gtest.h>

#include <filesystem>
#include <regex>
#include <set>
#include <string>
#include <vector>

#include "archive/archive_writer.h"
#include "support/decompress.h"
#include "support/program_run.h"

namespace qorarc::testing {
namespace {

namespace fs = std::filesystem;

const int64_t kDay = DayNumber(2019, 5, 3);
const char kBadParameters[] =
    "Parameters are not valid.\nTry 'QorArc --help' for more information.\n";

std::string PlantFile(const std::string& root, int64_t day) {
  return ArchiveFilePath(root, day, "plant");
}

// A day file of `n` Long items of ID `id`, values 0 to n - 1.
std::string LongItems(int64_t day, uint16_t id, int32_t n) {
  ArchiveBuilder b;
  b.Day(static_cast<uint32_t>(day));
  for (int32_t i = 0; i < n; ++i) b.Long(TimeOfDay(1, 0, i % 60), id, i);
  return b.bytes();
}

// "@arc" and "@empty" in arguments and messages stand for the directories.
std::vector<std::string> Expand(const std::vector<std::string>& args, const std::string& dir) {
  std::vector<std::string> expanded;
  for (const std::string& arg : args)
    expanded.push_back(arg.starts_with("@") ? dir + "/" + arg.substr(1) : arg);
  return expanded;
}

struct Expected {
  std::string out;
  std::string err;
  int status;
};

// Each silent success that --strict turns into a status, without and with
// it. --strict comes first here; that it governs options before it too is
// in app/options_test.cc.
TEST(UnattendedTest, StrictTurnsSilentSuccessIntoStatus) {
  TempDir dir;
  ArchiveBuilder b;
  b.Day(static_cast<uint32_t>(kDay))
      .Long(TimeOfDay(1, 0, 0), 7, 0)
      .Long(TimeOfDay(1, 0, 1), 8, 1)
      .Long(TimeOfDay(1, 0, 2), 9, 2);
  WriteArchiveFile(PlantFile(dir.path() + "/arc", kDay), b.bytes());
  fs::create_directory(dir.path() + "/empty");
  const std::string all = "7,0\n8,1\n9,2\n";
  const std::string not_found =
      "Archive 'other' not found in '@arc'. Try parameter '--scan' to find available archives.\n";
  const std::string no_span =
      "Archive 'plant' not found in '@arc' for the timespan specified. Try parameter '--scan' to "
      "find available archives and their timespans.\n";
  const std::string empty = "{\"data\": []}\n";
  struct Case {
    const char* what;
    std::vector<std::string> args;
    Expected plain;
    Expected strict;
  };
  const Case cases[] = {
      {"an unknown option", {"-x", "-i", "@arc", "--csv", "-ccf", "5..6", "plant"},
       {all, "Unrecognized option '-x'.\n", 0},
       {"", std::string("Unrecognized option '-x'.\n") + kBadParameters, 1}},
      {"a value after '='", {"-i", "@arc", "--csv", "-ccf", "5..6", "--item-count=1", "plant"},
       {all, "Unrecognized option '--item-count=1'.\n", 0},
       {"",
        "Option '--item-count' takes its value as the next argument, not '--item-count=1'.\n" +
            std::string(kBadParameters),
        1}},
      {"a count with an exponent", {"-i", "@arc", "--csv", "-ccf", "5..6", "-ic", "2e3", "plant"},
       {"7,0\n8,1\n", "", 0},
       {"", "Option '-ic' takes a whole number, not '2e3'.\n" + std::string(kBadParameters), 1}},
      {"a dash range", {"-i", "@arc", "--csv", "-ccf", "5..6", "-f", "7-8", "plant"},
       {"7,0\n", "", 0},
       {"",
        "Option '-f' takes a list of whole numbers and rising ranges such as 1..5,8,10..20, not "
        "'7-8'.\n" + std::string(kBadParameters),
        1}},
      {"a semicolon list", {"-i", "@arc", "--csv", "-ccf", "5;6", "plant"},
       {"7\n8\n9\n", "", 0},
       {"",
        "Option '-ccf' takes a list of whole numbers and rising ranges such as 1..5,8,10..20, not "
        "'5;6'.\n" + std::string(kBadParameters),
        1}},
      {"a missing archive", {"-i", "@arc", "other"}, {empty, not_found, 0}, {empty, not_found, 3}},
      {"a time span that meets no file", {"-i", "@arc", "-ft1", "2030-01-01", "plant"},
       {empty, no_span, 0}, {empty, no_span, 3}},
      {"a scan that finds nothing", {"-s", "-i", "@empty"},
       {empty, "No archive files were found scanning path '@empty'.\n", 0},
       {empty, "No archive files were found scanning path '@empty'.\n", 3}},
      {"a plain export stays 0", {"-i", "@arc", "--csv", "-ccf", "5..6", "plant"},
       {all, "", 0}, {all, "", 0}},
  };
  for (const Case& c : cases) {
    for (bool strict : {false, true}) {
      SCOPED_TRACE(std::string(c.what) + (strict ? " --strict" : ""));
      std::vector<std::string> args = Expand(c.args, dir.path());
      if (strict) args.insert(args.begin(), "--strict");
      ProgramResult r = RunQorArc(args);
      const Expected& e = strict ? c.strict : c.plain;
      EXPECT_EQ(r.out, e.out);
      EXPECT_EQ(std::regex_replace(r.err, std::regex(dir.path() + "/"), "@"), e.err);
      EXPECT_EQ(r.status, e.status);
    }
  }
}

std::string Decompress(const std::string& path) {
  const std::string bytes = ReadFile(path);
  Decompressed d = path.ends_with(".gz") ? Gunzip(bytes) : path.ends_with(".zst") ? Unzstd(bytes)
                                                                                  : Decompressed{true, bytes, 0};
  return d.ok ? d.plain : "(not a whole compressed stream)";
}

// Nothing found with --strict -o: the empty result replaces the previous
// file (compressed as its name asks), standard output stays empty. Without
// --strict the file stays and the empty result goes to standard output.
TEST(UnattendedTest, StrictNothingFoundReplacesTheOutputFile) {
  TempDir dir;
  struct Case {
    const char* name;
    std::vector<std::string> format;
    std::string empty;
  };
  const Case cases[] = {
      {"out.json", {}, "{\"data\": []}\n"},
      {"out.csv.gz", {"-cf", "-ch", "A;B"}, "A;B"},
      {"out.jsonl.zst", {"-jl"}, ""},
      {"out.csv.zst", {"-lc"}, "ts,id,class,type,level,index,value,text\n"},
  };
  for (const Case& c : cases) {
    for (bool strict : {false, true}) {
      SCOPED_TRACE(std::string(c.name) + (strict ? " --strict" : ""));
      const std::string out = dir.path() + "/" + c.name;
      WriteArchiveFile(out, "previous");
      std::vector<std::string> args = {"-i", dir.path(), "-o", out};
      args.insert(args.end(), c.format.begin(), c.format.end());
      args.push_back("plant");
      if (strict) args.push_back("--strict");
      if (strict) std::swap(args[args.size() - 1], args[args.size() - 2]);
      ProgramResult r = RunQorArc(args);
      EXPECT_EQ(r.out, strict ? "" : c.empty);
      EXPECT_EQ(strict ? Decompress(out) : ReadFile(out), strict ? c.empty : "previous");
      EXPECT_EQ(r.status, strict ? 3 : 0);
    }
  }
}

// Every format, on one thread and on three, to NAME.gz and NAME.zst: the
// file holds the plain export (from 140 bytes to 7 MB).
TEST(UnattendedTest, CompressedOutputIsThePlainExport) {
  const size_t kMiB = size_t{1} << 20;
  TempDir dir;
  const std::string arc = dir.path() + "/arc";
  WriteArchiveFile(PlantFile(arc, kDay), LongItems(kDay, 1, 12'000));
  WriteArchiveFile(PlantFile(arc, kDay + 1), LongItems(kDay + 1, 2, 12'000));
  const std::vector<std::string> formats[] = {{}, {"-p"}, {"-cf"}, {"-jl"}, {"-lc"}, {"-s"}};
  for (const std::vector<std::string>& format : formats) {
    std::vector<std::string> args = {"-i", arc};
    args.insert(args.end(), format.begin(), format.end());
    args.push_back("plant");
    const ProgramResult plain = RunQorArc(args);
    ASSERT_EQ(plain.status, 0);
    for (const char* threads : {"QORARC_THREADS=1", "QORARC_THREADS=3"}) {
      for (const char* name : {"out.gz", "out.zst"}) {
        SCOPED_TRACE((format.empty() ? "JSON" : format[0]) + " " + threads + " " + name);
        const std::string out = dir.path() + "/" + name;
        std::vector<std::string> to_file = args;
        to_file.insert(to_file.begin(), {"-o", out});
        ProgramResult r = RunQorArc(to_file, {{threads}, ""});
        EXPECT_EQ(r.out + r.err, "");
        EXPECT_EQ(r.status, 0);
        const std::string bytes = ReadFile(out);
        Decompressed d = std::string(name).ends_with(".gz") ? Gunzip(bytes) : Unzstd(bytes);
        EXPECT_TRUE(d.ok);
        EXPECT_TRUE(d.plain == plain.out) << d.plain.size() << " bytes, not " << plain.out.size();
        // Members of 1 MiB of plain bytes, the last one shorter.
        EXPECT_EQ(d.members, static_cast<int>((plain.out.size() + kMiB - 1) / kMiB));
      }
    }
  }
  // The tools read them as well.
  EXPECT_EQ(RunShell("cd '" + dir.path() + "' && '" + QorArcPath() +
                     "' -s -i arc > scan.json && zcat out.gz | cmp - scan.json && "
                     "zstd -dcq out.zst | cmp - scan.json && echo same"),
            "same\n");
}

// A compressed write that fails, within the export or at its last member:
// the previous file stays, nothing is left beside it, the status is 255.
TEST(UnattendedTest, FailedCompressedWriteKeepsThePreviousFile) {
  TempDir dir;
  const std::string arc = dir.path() + "/arc";
  WriteArchiveFile(PlantFile(arc, kDay), LongItems(kDay, 1, 40'000));
  WriteArchiveFile(PlantFile(arc, kDay + 1), LongItems(kDay + 1, 2, 3));
  const std::string out_dir = dir.path() + "/out";
  fs::create_directory(out_dir);
  struct Case {
    const char* what;
    const char* name;
    std::vector<std::string> args;
    rlim_t file_size_limit;
  };
  const Case cases[] = {
      {"a full member", "out.json.gz", {"-ft1", "2019-05-03"}, 8'000},
      {"the last member", "out.json.zst", {"-ft1", "2019-05-04"}, 20},
      {"the empty result of --strict", "out.json.gz", {"--strict", "-ft1", "2030-01-01"}, 10},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    const std::string out = out_dir + "/" + c.name;
    WriteArchiveFile(out, "previous");
    std::vector<std::string> args = {"-i", arc, "-o", out};
    args.insert(args.end(), c.args.begin(), c.args.end());
    args.push_back("plant");
    Launch launch{args, "/dev/null", ""};  // a file for standard error would meet the limit
    launch.file_size_limit = c.file_size_limit;
    Outcome outcome = RunLaunch(launch);
    EXPECT_TRUE(outcome.err.ends_with("Failed to write to '" + out + "'.\n")) << outcome.err;
    EXPECT_EQ(outcome.status, 255);
    EXPECT_EQ(ReadFile(out), "previous");
    EXPECT_EQ(Names(out_dir), std::set<std::string>{c.name});
    fs::remove(out);
  }
}

}  // namespace
}  // namespace qorarc::testing
