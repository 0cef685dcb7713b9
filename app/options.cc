#include "app/options.h"

#include <regex>
#include <string_view>

#include "app/range_list.h"
#include "core/errors.h"
#include "core/messages.h"
#include "core/timestamp_parser.h"
#include "export/time_text.h"

namespace qorarc {
namespace {

// The options in the order arguments are compared with them.
enum class Opt {
  kHelp, kVerbose, kVersion, kScan, kCsv, kPretty, kItemCount, kItemTotalCount,
  kNoData, kNoEvents, kNoLog, kFromTime, kUntilTime, kFilterId, kColumnFilter,
  kCsvHeader, kInput, kOutput, kArchive, kSemicolon, kSpace, kTab, kJsonLines, kLongCsv,
};

struct OptionSpec {
  std::string_view short_name;
  std::string_view long_name;
  bool takes_value;
  Opt opt;
};

constexpr OptionSpec kOptionTable[] = {
    {"-h", "--help", false, Opt::kHelp},
    {"-ve", "--verbose", false, Opt::kVerbose},
    {"-v", "--version", false, Opt::kVersion},
    {"-s", "--scan", false, Opt::kScan},
    {"-cf", "--csv", false, Opt::kCsv},
    {"-p", "--pretty-print", false, Opt::kPretty},
    {"-ic", "--item-count", true, Opt::kItemCount},
    {"-itc", "--item-total-count", false, Opt::kItemTotalCount},
    {"-nd", "--no-data", false, Opt::kNoData},
    {"-ne", "--no-events", false, Opt::kNoEvents},
    {"-nl", "--no-log", false, Opt::kNoLog},
    {"-ft1", "--from-timestamp", true, Opt::kFromTime},
    {"-ft2", "--until-timestamp", true, Opt::kUntilTime},
    {"-f", "--filter-id", true, Opt::kFilterId},
    {"-ccf", "--csv-column-filter", true, Opt::kColumnFilter},
    {"-ch", "--csv-header", true, Opt::kCsvHeader},
    {"-i", "--input", true, Opt::kInput},
    {"-o", "--output", true, Opt::kOutput},
    {"-fn", "--archive", true, Opt::kArchive},
    {"-dscl", "--delimiter-semicol", false, Opt::kSemicolon},
    {"-dspc", "--delimiter-space", false, Opt::kSpace},
    {"-dtab", "--delimiter-tab", false, Opt::kTab},
    {"-jl", "--json-lines", false, Opt::kJsonLines},
    {"-lc", "--long-csv", false, Opt::kLongCsv},
};

const OptionSpec* FindOption(std::string_view arg) {
  for (const OptionSpec& spec : kOptionTable)
    if (arg == spec.short_name || arg == spec.long_name) return &spec;
  return nullptr;
}

// Parses a time value; the verbose line shows the parsed time, or the text as
// typed when it is refused. A warning-class result is accepted like success.
bool ParseTimeValue(std::string_view text, std::string_view label, int64_t* target) {
  int64_t timestamp = 0;
  int code = ParseTimeBound(text, &timestamp);
  bool accepted = IsAccepted(code);
  if (accepted) *target = timestamp;
  VerboseLine(std::string(label) + (accepted ? TimestampText(timestamp) : std::string(text)));
  return accepted;
}

// Applies one value option; false when its value cannot be used.
bool ApplyValue(Options* options, Opt opt, const std::string& value) {
  switch (opt) {
    case Opt::kItemCount: {
      // A value without a leading number fails the parse instead of ending
      // the process.
      if (!ParseLeadingInt(value, &options->item_count_limit)) return false;
      VerboseLine("Limit for count of items to be exported is set to " +
                  std::to_string(options->item_count_limit));
      return true;
    }
    case Opt::kFromTime:
      return ParseTimeValue(value, "Start of the timespan is set to: ", &options->from_time);
    case Opt::kUntilTime:
      return ParseTimeValue(value, "End of the timespan is set to: ", &options->until_time);
    case Opt::kFilterId:
      if (ParseRanges(value, &options->id_ranges) == 0) return true;
      ErrorLine("Parameter '--filter-id' is not valid.");
      return false;
    case Opt::kColumnFilter:
      if (ParseRanges(value, &options->csv_column_ranges) == 0) return true;
      ErrorLine("Parameter '--csv-column-filter' is not valid.");
      return false;
    case Opt::kCsvHeader:
      options->csv_header = std::regex_replace(value, std::regex("\\\\n"), "\n");
      return true;
    case Opt::kInput:
      options->input_path = value;
      return true;
    case Opt::kOutput:
      options->output_path = value;
      return true;
    case Opt::kArchive:
      options->archive_name = value;
      return true;
    default:
      return false;
  }
}

void ApplyFlag(Options* options, Opt opt) {
  switch (opt) {
    case Opt::kScan:
      options->scan = true;
      VerboseLine("Scan mode enabled.");
      break;
    case Opt::kCsv:
      options->csv = true;
      VerboseLine("Export to CSV enabled.");
      break;
    case Opt::kJsonLines:
      options->json_lines = true;
      VerboseLine("Export to JSON Lines enabled.");
      break;
    case Opt::kLongCsv:
      options->long_csv = true;
      VerboseLine("Export to long CSV enabled.");
      break;
    case Opt::kPretty:
      options->pretty_print = true;
      VerboseLine("Pretty-print format for JSON export enabled.");
      break;
    case Opt::kItemTotalCount:
      options->item_total_count = true;
      VerboseLine("Export of total count of items to JSON file was enabled.");
      break;
    case Opt::kNoData:
      options->no_data = true;
      VerboseLine("Flag to export no items with data was enabled.");
      break;
    case Opt::kNoEvents:
      options->no_events = true;
      VerboseLine("Flag to export no items with events was enabled.");
      break;
    case Opt::kNoLog:
      options->no_log = true;
      VerboseLine("Flag to export no items with logs was enabled.");
      break;
    case Opt::kSemicolon:
      options->delimiter_semicolon = true;
      VerboseLine("Delimiter for CSV columns set to semicolon.");
      break;
    case Opt::kSpace:
      options->delimiter_space = true;
      VerboseLine("Delimiter for CSV columns set to space.");
      break;
    case Opt::kTab:
      options->delimiter_tab = true;
      VerboseLine("Delimiter for CSV columns set to tab.");
      break;
    default:  // verbose mode was set by the first pass
      break;
  }
}

// The second pass; false when parsing fails.
bool ParseArguments(int argc, char** argv, Options* options) {
  for (int i = 1; i < argc; ++i) {
    std::string_view arg = argv[i];
    const OptionSpec* spec = FindOption(arg);
    if (spec == nullptr) {
      if (i == argc - 1)
        options->archive_name = arg;
      else
        ErrorLine("Unrecognized option '" + std::string(arg) + "'.");
      continue;
    }
    if (spec->opt == Opt::kHelp || spec->opt == Opt::kVersion) {
      (spec->opt == Opt::kHelp ? options->help : options->version) = true;
      return true;  // nothing after it is looked at
    }
    if (!spec->takes_value) {
      ApplyFlag(options, spec->opt);
      continue;
    }
    if (i == argc - 1) {
      // A missing count still reports the limit in force.
      if (spec->opt == Opt::kItemCount)
        VerboseLine("Limit for count of items to be exported is set to " +
                    std::to_string(options->item_count_limit));
      return false;
    }
    if (!ApplyValue(options, spec->opt, argv[++i])) return false;
  }
  return true;
}

}  // namespace

Options ParseOptions(int argc, char** argv) {
  Options options;
  for (int i = 1; i < argc; ++i) {
    std::string_view arg = argv[i];
    if (arg == "-ve" || arg == "--verbose") {
      g_verbose = true;
      VerboseLine("Verbose mode enabled.");
    }
  }
  if (!ParseArguments(argc, argv, &options)) return options;
  if (options.help || options.version) {
    options.parsed = true;
    return options;
  }
  if (!options.archive_name.empty())
    VerboseLine("Name of the archive: '" + options.archive_name + "'");
  options.parsed = true;
  return options;
}

}  // namespace qorarc
