// The command line: the options record and its parser.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "archive/item_filter.h"

namespace qorarc {

struct Options {
  bool help = false;
  bool version = false;
  bool scan = false;
  bool csv = false;
  bool json_lines = false;
  bool long_csv = false;
  bool line_protocol = false;
  bool open_metrics = false;
  bool parquet = false;
  bool pretty_print = false;
  bool delimiter_semicolon = false;
  bool delimiter_space = false;
  bool delimiter_tab = false;
  bool item_total_count = false;
  std::string archive_name;
  int32_t item_count_limit = -1;
  int64_t from_time = -1;
  int64_t until_time = -1;
  bool no_data = false;
  bool no_events = false;
  bool no_log = false;
  std::vector<IdRange> csv_column_ranges;
  std::vector<IdRange> id_ranges;
  std::string input_path = "/qor/arc";
  std::string output_path;
  std::string csv_header;
  // --strict: values read whole, unknown options refused, nothing found an
  // error of its own (see run.cc).
  bool strict = false;
  // --state FILE: the cursor of repeated exports (app/state_cursor.h).
  std::string state_path;
  // --state-wait SECONDS: how long a run waits for another run that holds
  // the same state file.
  int32_t state_wait_seconds = 10;
  // --dataset DIR: Parquet files in a partitioned dataset (app/dataset_run.h).
  std::string dataset_path;
  // --all: every archive under the input, for --dataset.
  bool all_archives = false;
  // Every archive name given, in order (each -fn and the last argument):
  // the archives of a --dataset run. Other runs take `archive_name`, the
  // last one given.
  std::vector<std::string> archive_names;
  bool parsed = false;  // parsing ended successfully
};

// Parses the argument vector. Never exits; `parsed` tells success. Writes the
// unrecognised-option warnings and range-list errors, and in verbose mode the
// informational lines, to standard error. With "--strict" anywhere, an
// unknown option, an option written "--opt=value" and a number or range list
// with anything after its value are errors too, each with a line that names
// the option and what it takes.
Options ParseOptions(int argc, char** argv);

}  // namespace qorarc
