// The command line end to end: help, version, bad parameters and the
// messages of the run sequence, checked byte for byte with the exit status.
#include <gtest/gtest.h>

#include <ostream>
#include <regex>
#include <string>
#include <vector>

#include "support/program_run.h"

namespace qorarc::testing {
namespace {

const char kHelpBody[] =
    "QorArc is an utility to export data from KAVELON Archives.\n"
    "\n"
    "Usage: QorArc [OPTION]... [ARCHIVE_NAME]\n"
    "\te.g. Export all data to a JSON file:\n"
    "\t\t QorArc my_archive > out.json\n"
    "\te.g. Export all data to a CSV file with header:\n"
    "\t\t QorArc --csv --csv-header \"Archive export \\n Date; Time; DataType; ; ; Item ID; Data1\" "
    "my_archive > out.csv\n"
    "\te.g. Export data in a specified timespan:\n"
    "\t\t QorArc -ft1 \"2019-01-01 00:00:00,000\" -ft2 \"2019-01-01 01:00:00,000\" my_archive\n"
    "\te.g. Export data for specified IDs only:\n"
    "\t\t QorArc -f 1..3,5 my_archive\n"
    "\n"
    "General options:\n"
    "\t-h, --help               \tshow this manual\n"
    "\t-v, --version            \tshow program version\n"
    "\t-s, --scan               \tscan the input path for available archives\n"
    "\t-fn, --archive           \tarchive name to export data from,\n"
    "\t                         \tcan be also specified as last parameter\n"
    "\t-ic, --item-count        \tmaximum count of items to export\n"
    "\t-i, --input              \tpath to 'arc' directory or single '.rea' file,\n"
    "\t                         \tdefault value is '/qor/arc'\n"
    "\t-o, --output             \tpath to output file,\n"
    "\t                         \tif not specified, output is directed to stdout\n"
    "\t-ve, --verbose           \tverbose mode\n"
    "\n"
    "Filter options:\n"
    "\t-ft1, --from-timestamp   \tfrom time\n"
    "\t-ft2, --until-timestamp  \tuntil time\n"
    "\t-f, --filter-id          \tfilter data by ID, e.g. 1..5,8,10..20\n"
    "\t-nd, --no-data           \tfilter out data\n"
    "\t-ne, --no-events         \tfilter out events\n"
    "\t-nl, --no-log            \tfilter out log messages\n"
    "\n"
    "JSON only options:\n"
    "\t-p, --pretty-print       \tpretty-prints the output when exporting to JSON\n"
    "\t-itc, --item-total-count \tinclude a total count of items available,\n"
    "\t                         \tuseful when exporting limited number of items using --item-count\n"
    "\t                         \tto tell the total count of items that would be exported\n"
    "\t                         \tif --item-count is not used\n"
    "\n"
    "CSV only options:\n"
    "\t-cf, --csv               \texports data to CSV format, default format is JSON\n"
    "\t-ch, --csv-header        \tspecifies custom header for exported CSV,\n"
    "\t                         \tdelimiters for next cell ';' and new line '\\n' are supported\n"
    "\t-ccf, --csv-column-filter\tspecifies the column filter, e.g. 1..5,8,10..20\n"
    "\t-dscl, --delimiter-semicol\tuse semicolon as column delimiter instead of comma\n"
    "\t-dspc, --delimiter-space \tuse space as column delimiter instead of comma\n"
    "\t-dtab, --delimiter-tab   \tuse tab as column delimiter instead of comma\n"
    "\n"
    "Other output formats:\n"
    "\t-jl, --json-lines        \texports one JSON object per line (JSON Lines),\n"
    "\t                         \ttime stamps in full nanoseconds\n"
    "\t-lc, --long-csv          \texports CSV with a header and one row per value,\n"
    "\t                         \tquoted where needed; the delimiter options apply\n"
    "\t                         \t--json-lines wins over --long-csv, which wins over --csv\n"
    "\n";

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

// Help and version win over other options. NO_COLOR with any non-empty
// value drops the colour codes around the logo and changes nothing else;
// unset ("NO_COLOR" alone removes it) or empty, the logo stays cyan.
TEST(CliTest, HelpAndVersion) {
  const std::string coloured = "\x1b[1;36m" + std::string(kLogo) + "\x1b[0m" + kHelpBody;
  const std::string plain = std::string(kLogo) + kHelpBody;
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
      {{"-h", "-i"}, "NO_COLOR=1", plain, ""},
      {{"-h"}, "NO_COLOR=0", plain, ""},
      {{"-h"}, "NO_COLOR= ", plain, ""},
      {{"-v"}, "NO_COLOR", version, ""},
      {{"--version"}, "NO_COLOR=1", version, ""},
      {{"-v", "-h"}, "NO_COLOR", version, ""},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.args[0] + " " + c.no_color);
    ProgramOptions options;
    options.env = {c.no_color};
    ProgramResult r = RunQorArc(c.args, options);
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
  std::vector<std::string> args;
  for (const std::string& arg : c.args) args.push_back(arg == "@dir" ? dir.path() : arg);
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
        FailureCase{"ScanOfMissingInput", {"-s", "-i", "@dir/missing"}, kMissing, 255}),
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
