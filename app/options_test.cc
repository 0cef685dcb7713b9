#include "app/options.h"

#include <gtest/gtest.h>

#include <ostream>
#include <string>
#include <vector>

#include "core/messages.h"

namespace qorarc {
namespace {

struct Parsed {
  Options options;
  std::string err;
};

Parsed Parse(std::vector<std::string> args) {
  args.insert(args.begin(), "QorArc");
  std::vector<char*> argv;
  for (std::string& arg : args) argv.push_back(arg.data());
  argv.push_back(nullptr);
  g_verbose = false;
  ::testing::internal::CaptureStderr();
  Parsed parsed{ParseOptions(static_cast<int>(args.size()), argv.data()), ""};
  parsed.err = ::testing::internal::GetCapturedStderr();
  g_verbose = false;
  return parsed;
}

struct ParseCase {
  const char* what;  // the case's name
  std::vector<std::string> args;
  bool parsed;
  std::string name;  // archive name
  std::string err;
};

// Refusals whose message and status the command line tests show
// (tests/cli_test.cc) are not repeated here.
class ParseTest : public ::testing::TestWithParam<ParseCase> {};

void PrintTo(const ParseCase& c, std::ostream* os) {
  *os << c.what << ":";
  for (const std::string& arg : c.args) *os << " '" << arg << "'";
}

TEST_P(ParseTest, ParsedFlagNameAndMessages) {
  const ParseCase& c = GetParam();
  Parsed p = Parse(c.args);
  EXPECT_EQ(p.options.parsed, c.parsed);
  EXPECT_EQ(p.options.archive_name, c.name);
  EXPECT_EQ(p.err, c.err);
}

INSTANTIATE_TEST_SUITE_P(
    Table, ParseTest,
    ::testing::Values(
        ParseCase{"NoArguments", {}, true, "", ""},
        ParseCase{"ArchiveName", {"my_archive"}, true, "my_archive", ""},
        ParseCase{"UnknownOptionBeforeName", {"-x", "my_archive"}, true, "my_archive", "Unrecognized option '-x'.\n"},
        ParseCase{"UnknownOptionLast", {"my_archive", "-x"}, true, "-x", "Unrecognized option 'my_archive'.\n"},
        ParseCase{"InputWithoutValue", {"-i"}, false, "", ""},
        ParseCase{"OutputWithoutName", {"-o", "out.json"}, true, "", ""},
        ParseCase{"LastArgumentWinsOverFn", {"-fn", "a", "b"}, true, "b", ""},
        ParseCase{"FnAfterName", {"b", "-fn", "a"}, true, "a", "Unrecognized option 'b'.\n"},
        ParseCase{"BadColumnFilter", {"-ccf", "x", "a"}, false, "", "Parameter '--csv-column-filter' is not valid.\n"},
        ParseCase{"LeadingDigitsOfCount", {"-ic", "12abc", "a"}, true, "a", ""},
        ParseCase{"BadFromTime", {"-ft1", "2019-13-01", "a"}, false, "", ""},
        ParseCase{"HelpEndsParsing", {"-h", "-x", "-i"}, true, "", ""},
        ParseCase{"WarningBeforeHelp", {"-x", "-h", "a"}, true, "", "Unrecognized option '-x'.\n"},
        ParseCase{"VerboseSeenAnywhere", {"-i", "-ve"}, true, "",
                  "Verbose mode enabled.\n"},  // the first pass sees "-ve" anywhere
        ParseCase{"VerboseAndScan", {"-s", "-ve"}, true, "", "Verbose mode enabled.\nScan mode enabled.\n"},
        ParseCase{"VerboseTwice", {"-ve", "-ve", "a"}, true, "a",
                  "Verbose mode enabled.\nVerbose mode enabled.\nName of the archive: 'a'\n"},
        ParseCase{"CountWithoutValue", {"-ve", "-ic", "7", "-ic"}, false, "",
                  "Verbose mode enabled.\nLimit for count of items to be exported is set to 7\n"
                  "Limit for count of items to be exported is set to 7\n"},
        ParseCase{"CountNotANumber", {"-ve", "-ic", "abc", "a"}, false, "", "Verbose mode enabled.\n"},
        ParseCase{"VerboseTimespan", {"-ve", "-ft1", "2019-01-01 00:00:00,000", "-ft2", "2019-05-03", "a"}, true, "a",
                  "Verbose mode enabled.\n"
                  "Start of the timespan is set to: 2019-01-01 00:00:00.000000\n"
                  "End of the timespan is set to: 2019-05-03 00:00:00.000000\n"
                  "Name of the archive: 'a'\n"},
        ParseCase{"VerboseHourTwentyFour", {"-ve", "-ft2", "2019-05-03 24:00:00", "a"}, false, "",
                  "Verbose mode enabled.\nEnd of the timespan is set to: 2019-05-03 24:00:00\n"},
        ParseCase{"EveryLongSwitch", {"--verbose", "--scan", "--csv", "--pretty-print", "--item-total-count",
                   "--no-data", "--no-events", "--no-log", "--delimiter-semicol",
                   "--delimiter-space", "--delimiter-tab", "-ic", "3"},
                  true, "",
                  "Verbose mode enabled.\nScan mode enabled.\nExport to CSV enabled.\n"
                  "Pretty-print format for JSON export enabled.\n"
                  "Export of total count of items to JSON file was enabled.\n"
                  "Flag to export no items with data was enabled.\n"
                  "Flag to export no items with events was enabled.\n"
                  "Flag to export no items with logs was enabled.\n"
                  "Delimiter for CSV columns set to semicolon.\n"
                  "Delimiter for CSV columns set to space.\n"
                  "Delimiter for CSV columns set to tab.\n"
                  "Limit for count of items to be exported is set to 3\n"}),
    [](const ::testing::TestParamInfo<ParseCase>& info) { return std::string(info.param.what); });

TEST(ParseOptionsTest, DefaultsWithoutArguments) {
  Options o = Parse({}).options;
  EXPECT_TRUE(o.parsed);
  EXPECT_EQ(o.input_path, "/qor/arc");
  EXPECT_EQ(o.item_count_limit, -1);
  EXPECT_EQ(o.from_time, -1);
  EXPECT_EQ(o.until_time, -1);
  EXPECT_FALSE(o.csv || o.scan || o.pretty_print || o.help || o.version);
}

TEST(ParseOptionsTest, ValuesAreTakenAsTheyStand) {
  Options o = Parse({"-i", "-dir", "-o", "-out", "--archive", "-name"}).options;
  EXPECT_TRUE(o.parsed);
  EXPECT_EQ(o.input_path, "-dir");
  EXPECT_EQ(o.output_path, "-out");
  EXPECT_EQ(o.archive_name, "-name");
}

TEST(ParseOptionsTest, LaterValueWinsAndRangesAccumulate) {
  Options o = Parse({"-ic", "5", "-ic", "9", "-f", "1..2", "-f", "7", "-i", "a", "-i", "b"}).options;
  EXPECT_EQ(o.item_count_limit, 9);
  ASSERT_EQ(o.id_ranges.size(), 2u);
  EXPECT_EQ(o.id_ranges[1].first, 7);
  EXPECT_EQ(o.input_path, "b");
}

TEST(ParseOptionsTest, CsvHeaderBackslashN) {
  EXPECT_EQ(Parse({"-ch", "A\\nB;C"}).options.csv_header, "A\nB;C");
  EXPECT_EQ(Parse({"-ch", "\\n\\\\n\\x"}).options.csv_header, "\n\\\n\\x");
}

}  // namespace
}  // namespace qorarc
