// The help text of "-h"/"--help". Its option order differs from the parser's
// table on purpose: it groups the options for the reader.
#include <cstdio>
#include <cstdlib>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

#include "app/help_text.h"

namespace qorarc {
namespace {

constexpr std::string_view kLogo =
    "   ____               ___\n"
    "  / __ \\ ___   ____  /   |  ____  _____\n"
    " / / / // _ \\ / __/ / /| | / __/ / ___/\n"
    "/ /_/ // // // /   / ___ |/ /   / /__\n"
    "\\___\\_\\\\___//_/   /_/  |_/_/    \\___/\n";

struct HelpLine {
  std::string_view names;        // empty: a continuation line
  std::string_view description;
};

struct HelpSection {
  std::string_view title;
  std::vector<HelpLine> lines;
};

// NO_COLOR set to any non-empty value asks for text without colour codes.
bool ColourWanted() {
  const char* no_color = std::getenv("NO_COLOR");
  return no_color == nullptr || no_color[0] == '\0';
}

void PrintSection(std::ostream& out, const HelpSection& section) {
  out << section.title << '\n';
  for (const HelpLine& line : section.lines) {
    char names[64];
    std::snprintf(names, sizeof names, "%-25.*s", static_cast<int>(line.names.size()),
                  line.names.data());
    out << '\t' << names << '\t' << line.description << '\n';
  }
}

}  // namespace

void PrintHelp(std::ostream* out_stream) {
  std::ostream& out = *out_stream;
  if (ColourWanted())
    out << "\x1b[1;36m" << kLogo << "\n\n" << "\x1b[0m";
  else
    out << kLogo << "\n\n";
  out << "QorArc is an utility to export data from KAVELON Archives.\n\n"
         "Usage: QorArc [OPTION]... [ARCHIVE_NAME]\n"
         "\te.g. Export all data to a JSON file:\n"
         "\t\t QorArc my_archive > out.json\n"
         "\te.g. Export all data to a CSV file with header:\n"
         "\t\t QorArc --csv --csv-header \"Archive export \\n Date; Time; DataType; ; ; Item ID; "
         "Data1\" my_archive > out.csv\n"
         "\te.g. Export data in a specified timespan:\n"
         "\t\t QorArc -ft1 \"2019-01-01 00:00:00,000\" -ft2 \"2019-01-01 01:00:00,000\" my_archive\n"
         "\te.g. Export data for specified IDs only:\n"
         "\t\t QorArc -f 1..3,5 my_archive\n"
         "\n";
  const HelpSection sections[] = {
      {"General options:",
       {{"-h, --help", "show this manual"},
        {"-v, --version", "show program version"},
        {"-s, --scan", "scan the input path for available archives"},
        {"-fn, --archive", "archive name to export data from,"},
        {"", "can be also specified as last parameter"},
        {"-ic, --item-count", "maximum count of items to export"},
        {"-i, --input", "path to 'arc' directory or single '.rea' file,"},
        {"", "default value is '/qor/arc'"},
        {"-o, --output", "path to output file,"},
        {"", "if not specified, output is directed to stdout,"},
        {"", "a name ending in .gz or .zst is compressed"},
        {"-ve, --verbose", "verbose mode"},
        {"--strict", "for unattended runs: refuse unknown options and"},
        {"", "values with trailing text, exit status 3 when"},
        {"", "nothing is found, the empty result then goes to -o"},
        {"--state", "file of what was exported: each run exports"},
        {"", "what no earlier run exported"},
        {"--state-wait", "seconds to wait for another run on the same"},
        {"", "state file (default 10), then exit status 4"},
        {"--dataset", "folder of a Parquet dataset: each archive named"},
        {"", "(or every one, with --all) into a folder per day,"},
        {"", "each run adding what is new"},
        {"--all", "with --dataset: every archive in the input path"}}},
      {"Filter options:",
       {{"-ft1, --from-timestamp", "from time"},
        {"-ft2, --until-timestamp", "until time"},
        {"-f, --filter-id", "filter data by ID, e.g. 1..5,8,10..20"},
        {"-nd, --no-data", "filter out data"},
        {"-ne, --no-events", "filter out events"},
        {"-nl, --no-log", "filter out log messages"}}},
      {"JSON only options:",
       {{"-p, --pretty-print", "pretty-prints the output when exporting to JSON"},
        {"-itc, --item-total-count", "include a total count of items available,"},
        {"", "useful when exporting limited number of items using --item-count"},
        {"", "to tell the total count of items that would be exported"},
        {"", "if --item-count is not used"}}},
      {"CSV only options:",
       {{"-cf, --csv", "exports data to CSV format, default format is JSON"},
        {"-ch, --csv-header", "specifies custom header for exported CSV,"},
        {"", "delimiters for next cell ';' and new line '\\n' are supported"},
        {"-ccf, --csv-column-filter", "specifies the column filter, e.g. 1..5,8,10..20"},
        {"-dscl, --delimiter-semicol", "use semicolon as column delimiter instead of comma"},
        {"-dspc, --delimiter-space", "use space as column delimiter instead of comma"},
        {"-dtab, --delimiter-tab", "use tab as column delimiter instead of comma"}}},
      {"Other output formats:",
       {{"-jl, --json-lines", "exports one JSON object per line (JSON Lines),"},
        {"", "time stamps in full nanoseconds"},
        {"-lc, --long-csv", "exports CSV with a header and one row per value,"},
        {"", "quoted where needed; the delimiter options apply"},
        {"-lp, --line-protocol", "exports one InfluxDB line protocol point per value,"},
        {"", "time stamps in nanoseconds since 1970"},
        {"-om, --openmetrics", "exports one OpenMetrics gauge sample per number,"},
        {"", "time stamps in seconds since 1970, for Prometheus"},
        {"-pq, --parquet", "exports the rows of --long-csv, typed, as a Parquet file"},
        {"", "(to a file with -o, or to standard output that is no terminal)"},
        {"", "--parquet wins over --json-lines, which wins over --long-csv,"},
        {"", "which wins over --csv"},
        {"", "--line-protocol wins over all of them but --parquet"},
        {"", "--openmetrics wins over --json-lines, --long-csv and --csv"}}},
  };
  bool first = true;
  for (const HelpSection& section : sections) {
    if (!first) out << '\n';
    first = false;
    PrintSection(out, section);
  }
  out << '\n';
}

}  // namespace qorarc
