// The command line end to end: help, version, bad parameters and the
// messages of the run sequence, checked byte for byte with the exit status.
#include <sys/stat.h>

#include <gtest/gtest.h>

#include <ostream>
#include <regex>
#include <string>
#include <vector>

#include "support/program_run.h"

namespace qorarc::testing {
namespace {

const char kBadParameters[] =
    "Parameters are not valid.\nTry 'QorArc --help' for more information.\n";

// The help text's logo as the program draws it, without colour codes.
const char kLogo[] =
    "   ____               ___\n"
    "  / __ \\ ___   ____  /   |  ____  _____\n"
    " / / / // _ \\ / __/ / /| | / __/ / ___/\n"
    "/ /_/ // // // /   / ___ |/ /   / /__\n"
    "\\___\\_\\\\___//_/   /_/  |_/_/    \\___/\n"
    "\n\n";

// Help and version win over other options. The plain help text is shown
// whole in the README, whose examples are a test of their own; here NO_COLOR
// with any non-empty value drops the colour codes around the logo and
// changes nothing else, while unset ("NO_COLOR" alone removes it) or empty,
// the logo stays cyan.
TEST(CliTest, HelpAndVersion) {
  const std::string plain = RunQorArc({"-h"}, {{"NO_COLOR=1"}, ""}).out;
  ASSERT_EQ(plain.substr(0, sizeof kLogo - 1), kLogo);
  ASSERT_NE(plain.find("Usage: QorArc [OPTION]... [ARCHIVE_NAME]\n"), std::string::npos);
  const std::string coloured =
      "\x1b[1;36m" + std::string(kLogo) + "\x1b[0m" + plain.substr(sizeof kLogo - 1);
  const std::string version = "Version";
  struct Case {
    std::vector<std::string> args;
    std::string no_color;
    const std::string& out;
    std::string err;
  };
  const Case cases[] = {
      {{"--help"}, "NO_COLOR", coloured, ""},
      {{"-h", "-v"}, "NO_COLOR=", coloured, ""},
      {{"-s", "-ve", "-h"}, "NO_COLOR", coloured, "Verbose mode enabled.\nScan mode enabled.\n"},
      {{"-h", "-i"}, "NO_COLOR=0", plain, ""},
      {{"-h"}, "NO_COLOR= ", plain, ""},
      {{"--version"}, "NO_COLOR=1", version, ""},
      {{"-v", "-h"}, "NO_COLOR", version, ""},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.args[0] + " " + c.no_color);
    ProgramResult r = RunQorArc(c.args, {{c.no_color}, ""});
    if (&c.out == &version)
      EXPECT_TRUE(std::regex_match(
          r.out, std::regex("Date: \\d{4}-\\d{2}-\\d{2}\nVersion: 3\\.0\\.5\\.17331\n")))
          << r.out;
    else
      EXPECT_EQ(r.out, c.out);
    EXPECT_EQ(r.err, c.err);
    EXPECT_EQ(r.status, 0);
  }
}

struct FailureCase {
  const char* what;  // the case's name
  std::vector<std::string> args;
  std::string err;
  int status;
};

const char kNoName[] = "Name of the archive must be specified.\n";
const char kMissing[] = "Path '@dir/missing' not found.\n";

class CliFailureTest : public ::testing::TestWithParam<FailureCase> {};

void PrintTo(const FailureCase& c, std::ostream* os) {
  *os << c.what << ":";
  for (const std::string& arg : c.args) *os << " '" << arg << "'";
}

TEST_P(CliFailureTest, MessageAndStatus) {
  const FailureCase& c = GetParam();
  TempDir dir;
  ASSERT_EQ(mkfifo((dir.path() + "/fifo.rea").c_str(), 0644), 0);
  std::vector<std::string> args;
  for (const std::string& arg : c.args)
    args.push_back(arg.starts_with("@dir") ? dir.path() + arg.substr(4) : arg);
  ProgramResult r = RunQorArc(args);
  std::string err = std::regex_replace(r.err, std::regex(dir.path()), "@dir");
  EXPECT_EQ(r.out, "");
  EXPECT_EQ(err, c.err);
  EXPECT_EQ(r.status, c.status);
}

INSTANTIATE_TEST_SUITE_P(
    Table, CliFailureTest,
    ::testing::Values(
        FailureCase{"InputWithoutValue", {"-i"}, kBadParameters, 1},
        FailureCase{"EmptyInput", {"-i", "", "a"}, kBadParameters, 1},
        FailureCase{"BackwardIdRange", {"-f", "5..3", "a"},
                      std::string("Parameter '--filter-id' is not valid.\n") + kBadParameters, 1},
        FailureCase{"EmptyIdInList", {"-f", "1,,2", "a"},
                      std::string("Parameter '--filter-id' is not valid.\n") + kBadParameters, 1},
        FailureCase{"BackwardColumnRange", {"-ccf", "3..1", "a"},
                      std::string("Parameter '--csv-column-filter' is not valid.\n") + kBadParameters,
                      1},
        FailureCase{"CountNotANumber", {"-ic", "abc", "a"}, kBadParameters, 1},
        FailureCase{"VerboseCountWithoutValue", {"-ve", "-ic"},
                      std::string("Verbose mode enabled.\n"
                                  "Limit for count of items to be exported is set to -1\n") +
                          kBadParameters,
                      1},
        FailureCase{"NoSuchDay", {"-ft1", "2019-02-30", "a"}, kBadParameters, 1},
        FailureCase{"UntilTimeNotATime", {"-ft2", "yesterday", "a"}, kBadParameters, 1},
        // The default input "/qor/arc" is usually missing; either way there
        // is no archive name and no single file.
        FailureCase{"NoArguments", {}, kNoName, 255},
        FailureCase{"DirectoryWithoutName", {"-i", "@dir"}, kNoName, 255},
        FailureCase{"MissingInputWithoutName", {"-i", "@dir/missing"}, kNoName, 255},
        FailureCase{"MissingInput", {"-i", "@dir/missing", "a"}, kMissing, 255},
        FailureCase{"ScanOfMissingInput", {"-s", "-i", "@dir/missing"}, kMissing, 255},
        // A FIFO is never opened: nothing waits for a writer.
        FailureCase{"FifoInputWithoutName", {"-i", "@dir/fifo.rea"}, kNoName, 255},
        FailureCase{"FifoInput", {"-i", "@dir/fifo.rea", "a"},
                    "Path '@dir/fifo.rea' is not a directory.\n", 255}),
    [](const ::testing::TestParamInfo<FailureCase>& info) { return std::string(info.param.what); });

TEST(CliTest, UnrecognizedOptionIsOnlyAWarning) {
  TempDir dir;
  ProgramResult r = RunQorArc({"-x", "-i", dir.path(), "my_archive"});
  EXPECT_EQ(r.err, "Unrecognized option '-x'.\nArchive 'my_archive' not found in '" + dir.path() +
                       "'. Try parameter '--scan' to find available archives.\n");
  EXPECT_EQ(r.out, "{\"data\": []}\n");
  EXPECT_EQ(r.status, 0);
}

}  // namespace
}  // namespace qorarc::testing
