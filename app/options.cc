#include "app/options.h"

#include <regex>
#include <string_view>

#include "app/range_list.h"
#include "base/messages.h"
#include "base/timestamp_parser.h"
#include "export/time_text.h"

namespace qorarc {
namespace {

// The options in the order arguments are compared with them.
enum class Opt {
  kHelp, kVerbose, kVersion, kScan, kCsv, kPretty, kItemCount, kItemTotalCount,
  kNoData, kNoEvents, kNoLog, kFromTime, kUntilTime, kFilterId, kColumnFilter,
  kCsvHeader, kInput, kOutput, kArchive, kSemicolon, kSpace, kTab, kJsonLines, kLongCsv, kLineProtocol, kOpenMetrics, kParquet,
  kStrict, kState, kStateWait, kDataset, kAll,
};

struct OptionSpec {
  std::string_view short_name;  // empty: none
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
    {"-lp", "--line-protocol", false, Opt::kLineProtocol},
    {"-om", "--openmetrics", false, Opt::kOpenMetrics},
    {"-pq", "--parquet", false, Opt::kParquet},
    {"", "--strict", false, Opt::kStrict},
    {"", "--state", true, Opt::kState},
    {"", "--state-wait", true, Opt::kStateWait},
    {"", "--dataset", true, Opt::kDataset},
    {"", "--all", false, Opt::kAll},
};

const OptionSpec* FindOption(std::string_view arg) {
  for (const OptionSpec& spec : kOptionTable)
    if ((arg == spec.short_name && !arg.empty()) || arg == spec.long_name) return &spec;
  return nullptr;
}

// The error line of --strict for a value `name` refuses: "Option '-ic'
// takes a whole number, not '1e3'."
void RefusedValueLine(std::string_view name, std::string_view takes, std::string_view value) {
  ErrorLine("Option '" + std::string(name) + "' takes " + std::string(takes) + ", not '" +
            std::string(value) + "'.");
}

constexpr std::string_view kTakesNumber = "a whole number";
constexpr std::string_view kTakesCount = "a whole number from 0 up";
constexpr std::string_view kTakesList =
    "a list of whole numbers and rising ranges such as 1..5,8,10..20";
constexpr std::string_view kTakesTime = "a time such as '2019-12-31 23:59:59.5'";

// Parses a time value; the verbose line shows the parsed time, or the text as
// typed when it is refused.
bool ParseTimeValue(std::string_view text, std::string_view label, int64_t* target) {
  int64_t timestamp = 0;
  const bool accepted = ParseTimeBound(text, &timestamp);
  if (accepted) *target = timestamp;
  VerboseLine(std::string(label) + (accepted ? TimestampText(timestamp) : std::string(text)));
  return accepted;
}

// Applies one value option, written `name`; false when its value cannot be
// used.
bool ApplyValue(Options* options, Opt opt, std::string_view name, const std::string& value) {
  const bool strict = options->strict;
  switch (opt) {
    case Opt::kItemCount: {
      // A value without a leading number fails the parse instead of ending
      // the process.
      if (strict ? !ParseWholeInt(value, &options->item_count_limit)
                 : !ParseLeadingInt(value, &options->item_count_limit)) {
        if (strict) RefusedValueLine(name, kTakesNumber, value);
        return false;
      }
      // A negative count means no limit, which a scheduled job rather says
      // by leaving the option out; a typed sign is more likely a slip.
      if (strict && options->item_count_limit < 0) {
        RefusedValueLine(name, kTakesCount, value);
        return false;
      }
      VerboseLine("Limit for count of items to be exported is set to " +
                  std::to_string(options->item_count_limit));
      return true;
    }
    case Opt::kFromTime:
    case Opt::kUntilTime: {
      const bool from = opt == Opt::kFromTime;
      const char* label =
          from ? "Start of the timespan is set to: " : "End of the timespan is set to: ";
      if (ParseTimeValue(value, label, from ? &options->from_time : &options->until_time))
        return true;
      if (strict) RefusedValueLine(name, kTakesTime, value);
      return false;
    }
    case Opt::kFilterId:
      if (ParseRanges(value, &options->id_ranges, strict)) return true;
      if (strict)
        RefusedValueLine(name, kTakesList, value);
      else
        ErrorLine("Parameter '--filter-id' is not valid.");
      return false;
    case Opt::kColumnFilter:
      if (ParseRanges(value, &options->csv_column_ranges, strict)) return true;
      if (strict)
        RefusedValueLine(name, kTakesList, value);
      else
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
      options->archive_names.emplace_back(value);
      return true;
    case Opt::kDataset:
      options->dataset_path = value;
      return !value.empty();
    case Opt::kState:
      options->state_path = value;
      return !value.empty();
    case Opt::kStateWait:
      // Always read whole: a new option has no lenient past to keep.
      if (!ParseWholeInt(value, &options->state_wait_seconds) || options->state_wait_seconds < 0) {
        RefusedValueLine(name, "a whole number of seconds from 0 up", value);
        return false;
      }
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
    case Opt::kLineProtocol:
      options->line_protocol = true;
      VerboseLine("Export to InfluxDB line protocol enabled.");
      break;
    case Opt::kOpenMetrics:
      options->open_metrics = true;
      VerboseLine("Export to OpenMetrics enabled.");
      break;
    case Opt::kParquet:
      options->parquet = true;
      VerboseLine("Export to Parquet enabled.");
      break;
    case Opt::kAll:
      options->all_archives = true;
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
    default:  // verbose and strict mode were set by the first pass
      break;
  }
}

// With --strict, an argument that is no option where an option is expected;
// false when it is refused, after its error line. "--opt=value" is refused
// with what the option takes, anything else unknown as unrecognized; the
// last argument is the archive name unless it begins with '-'.
bool StrictUnknown(std::string_view arg, bool last) {
  const size_t equals = arg.find('=');
  const OptionSpec* spec =
      arg.starts_with('-') && equals != std::string_view::npos ? FindOption(arg.substr(0, equals))
                                                               : nullptr;
  if (spec != nullptr) {
    ErrorLine("Option '" + std::string(arg.substr(0, equals)) + "' takes " +
              (spec->takes_value ? "its value as the next argument" : "no value") + ", not '" +
              std::string(arg) + "'.");
    return false;
  }
  if (last && !arg.starts_with('-')) return true;
  ErrorLine("Unrecognized option '" + std::string(arg) + "'.");
  return false;
}

// With --strict, a span whose end is before its start; false after its
// error line. Such a span finds nothing, and an unattended run could not
// tell that status 3 from an archive with no new data. The names are the
// options as typed; a span with equal ends holds that moment.
bool CheckTimeSpan(const Options& options, std::string_view from_name,
                   std::string_view until_name) {
  if (!options.strict || options.from_time <= 0 || options.until_time <= 0 ||
      options.until_time >= options.from_time)
    return true;
  ErrorLine("Option '" + std::string(until_name) + "' is before '" + std::string(from_name) +
            "': the time span is empty.");
  return false;
}

// The second pass; false when parsing fails.
bool ParseArguments(int argc, char** argv, Options* options) {
  std::string_view from_name, until_name;  // as last typed, for CheckTimeSpan()
  for (int i = 1; i < argc; ++i) {
    std::string_view arg = argv[i];
    const OptionSpec* spec = FindOption(arg);
    if (spec == nullptr) {
      if (options->strict && !StrictUnknown(arg, i == argc - 1)) return false;
      if (i == argc - 1) {
        options->archive_name = arg;
        options->archive_names.emplace_back(arg);
      } else
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
      if (options->strict)
        ErrorLine("Option '" + std::string(arg) + "' takes a value as the next argument.");
      return false;
    }
    if (spec->opt == Opt::kFromTime) from_name = arg;
    if (spec->opt == Opt::kUntilTime) until_name = arg;
    if (!ApplyValue(options, spec->opt, arg, argv[++i])) return false;
  }
  return CheckTimeSpan(*options, from_name, until_name);
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
    // Like verbose mode, strict mode governs the options before it too.
    if (arg == "--strict") options.strict = true;
  }
  if (!ParseArguments(argc, argv, &options)) return options;
  if (options.help || options.version) {
    options.parsed = true;
    return options;
  }
  if (!options.archive_name.empty())
    VerboseLine("Name of the archive: '" + options.archive_name + "'");
  if (options.scan && !options.state_path.empty()) {
    ErrorLine("Option '--state' cannot be used with '--scan'.");
    return options;
  }
  options.parsed = true;
  return options;
}

}  // namespace qorarc
