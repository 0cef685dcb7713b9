#include "app/options.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "base/messages.h"

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
  ::testing::internal::CaptureStderr();
  Parsed parsed{ParseOptions(static_cast<int>(args.size()), argv.data()), ""};
  parsed.err = ::testing::internal::GetCapturedStderr();
  g_verbose = false;  // as "-ve" left it
  return parsed;
}

// Which argument names the archive, and what verbose mode tells. Refusals
// whose message and status the command line tests show (tests/cli_test.cc)
// are not repeated here.
TEST(ParseOptionsTest, ArchiveNameAndMessages) {
  struct Case {
    const char* what;
    std::vector<std::string> args;
    bool parsed;
    std::string name;
    std::string err;
  };
  const Case cases[] = {
      {"unknown option last is the name", {"my_archive", "-x"}, true, "-x",
       "Unrecognized option 'my_archive'.\n"},
      {"last argument wins over --archive", {"-fn", "a", "b"}, true, "b", ""},
      // The first pass sees "-ve" anywhere, here as the value of "-i".
      {"verbose seen anywhere", {"-i", "-ve"}, true, "", "Verbose mode enabled.\n"},
      {"missing count tells the limit in force", {"-ve", "-ic", "7", "-ic"}, false, "",
       "Verbose mode enabled.\nLimit for count of items to be exported is set to 7\n"
       "Limit for count of items to be exported is set to 7\n"},
      {"time span", {"-ve", "-ft1", "2019-01-01 00:00:00,000", "-ft2", "2019-05-03", "a"}, true, "a",
       "Verbose mode enabled.\nStart of the timespan is set to: 2019-01-01 00:00:00.000000\n"
       "End of the timespan is set to: 2019-05-03 00:00:00.000000\nName of the archive: 'a'\n"},
      {"refused time as typed", {"-ve", "-ft2", "2019-05-03 24:00:00", "a"}, false, "",
       "Verbose mode enabled.\nEnd of the timespan is set to: 2019-05-03 24:00:00\n"},
      {"every long switch",
       {"--verbose", "--scan", "--csv", "--pretty-print", "--item-total-count", "--no-data", "--no-events",
        "--no-log", "--delimiter-semicol", "--delimiter-space", "--delimiter-tab", "--json-lines",
        "--long-csv", "--line-protocol", "--openmetrics"},
       true, "",
       "Verbose mode enabled.\nScan mode enabled.\nExport to CSV enabled.\n"
       "Pretty-print format for JSON export enabled.\n"
       "Export of total count of items to JSON file was enabled.\n"
       "Flag to export no items with data was enabled.\nFlag to export no items with events was enabled.\n"
       "Flag to export no items with logs was enabled.\nDelimiter for CSV columns set to semicolon.\n"
       "Delimiter for CSV columns set to space.\nDelimiter for CSV columns set to tab.\n"
       "Export to JSON Lines enabled.\nExport to long CSV enabled.\n"
       "Export to InfluxDB line protocol enabled.\nExport to OpenMetrics enabled.\n"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    const Parsed p = Parse(c.args);
    EXPECT_EQ(p.options.parsed, c.parsed);
    EXPECT_EQ(p.options.archive_name, c.name);
    EXPECT_EQ(p.err, c.err);
  }
}

// --strict, before or after the options it governs. The refusals of a
// count and of lists, and an unknown option, are shown end to end
// (tests/unattended_test.cc).
TEST(ParseOptionsTest, Strict) {
  struct Case {
    const char* what;
    std::vector<std::string> args;
    std::string err;  // empty: parsed
  };
  const Case cases[] = {
      {"whole values",
       {"--strict", "-ic", "5", "-f", "-1,3..4", "-ccf", "0..1,", "-fn", "-x", "a"},
       ""},
      {"unknown option last", {"--strict", "--bogus"}, "Unrecognized option '--bogus'.\n"},
      {"a word before the last", {"a", "b", "--strict"}, "Unrecognized option 'a'.\n"},
      {"a switch with '='", {"--csv=yes", "--strict", "a"},
       "Option '--csv' takes no value, not '--csv=yes'.\n"},
      {"a backward column range", {"--csv-column-filter", "3..1", "--strict", "a"},
       "Option '--csv-column-filter' takes a list of whole numbers and rising ranges such as "
       "1..5,8,10..20, not '3..1'.\n"},
      {"not a time", {"--strict", "-ft2", "yesterday", "a"},
       "Option '-ft2' takes a time such as '2019-12-31 23:59:59.5', not 'yesterday'.\n"},
      {"no value", {"--strict", "-o"}, "Option '-o' takes a value as the next argument.\n"},
      {"a negative count", {"--item-count", "-1", "--strict", "a"},
       "Option '--item-count' takes a whole number from 0 up, not '-1'.\n"},
      {"a span of one moment", {"--strict", "-ft1", "2019-05-03 01:00", "-ft2", "2019-05-03 01:00"},
       ""},
      // The names as typed, the end given first; the later start wins.
      {"a reversed span",
       {"--until-timestamp", "2019-05-03", "-ft1", "2019-05-02", "--strict", "-ft1", "2019-05-04"},
       "Option '--until-timestamp' is before '-ft1': the time span is empty.\n"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    const Parsed p = Parse(c.args);
    EXPECT_EQ(p.options.parsed, c.err.empty());
    EXPECT_TRUE(p.options.strict);
    EXPECT_EQ(p.err, c.err);
  }
}

TEST(ParseOptionsTest, DefaultsWithoutArguments) {
  const Options o = Parse({}).options;
  EXPECT_TRUE(o.parsed);
  EXPECT_EQ(o.input_path, "/qor/arc");
  EXPECT_TRUE(o.item_count_limit == -1 && o.from_time == -1 && o.until_time == -1);
  EXPECT_FALSE(o.csv || o.scan || o.pretty_print || o.help || o.version);
}

// Values are taken as they stand, even when they look like options; a later
// value wins, ID ranges add up; a count needs only leading digits; "\n" in
// the CSV header is a line break.
TEST(ParseOptionsTest, Values) {
  const Options o = Parse({"-i", "a", "-i", "-dir", "-o", "-out", "--archive", "-name", "-ic", "5",
                           "-ic", "12abc", "-f", "1..2", "-f", "7", "-ch", "A\\nB;\\\\n\\x"})
                        .options;
  EXPECT_TRUE(o.parsed);
  EXPECT_EQ(o.input_path, "-dir");
  EXPECT_EQ(o.output_path, "-out");
  EXPECT_EQ(o.archive_name, "-name");
  EXPECT_EQ(o.item_count_limit, 12);
  ASSERT_EQ(o.id_ranges.size(), 2u);
  EXPECT_EQ(o.id_ranges[1].first, 7);
  EXPECT_EQ(o.csv_header, "A\nB;\\\n\\x");
}

}  // namespace
}  // namespace qorarc
