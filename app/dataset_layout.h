// The names of a Parquet dataset (--dataset DIR), laid out as Hive lays out
// partitions, which Spark, Trino and DuckDB read as columns:
//
//   DIR/archive=<name>/date=<YYYY-MM-DD>/<name>-<YYYY-MM-DD>-<n>.parquet
//   DIR/_qorarc/<name>.state        the archive's cursor and day table
//   DIR/_qorarc/<name>.state.lock   its lock
//
// A file on its way is written under a hidden name in its day folder,
// ".<file>.part-<pid>", which no "*.parquet" pattern matches and which
// readers that skip names beginning with '.' skip too; it takes its own
// name by one rename.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace qorarc {

// A partition value as Hive writes it in a folder name: '%' and two
// uppercase hex digits for the control bytes 0x01-0x1F and 0x7F and for
// '"', '#', '%', '\'', '*', '/', ':', '=', '?', '\\', '[', ']', '^', '{';
// every other byte as it is. Engines that read Hive partitions undo it.
std::string EscapePartitionValue(std::string_view value);

// The day's folder, relative to the dataset: "archive=<name>/date=<date>",
// the date "YYYY-MM-DD" of the day's start (export/time_text.h).
std::string DayFolder(std::string_view escaped_archive, int64_t day_start);

// The name of the day's file number `number`: "<name>-<date>-<n>.parquet".
std::string DayFileName(std::string_view escaped_archive, int64_t day_start, uint32_t number);

// The hidden name of a file on its way: ".<file>.part-<pid>".
std::string PartName(std::string_view file_name, long pid);

// True when `name` is a hidden name PartName() makes; `*file_name` gets the
// name it takes.
bool IsPartName(std::string_view name, std::string* file_name = nullptr);

}  // namespace qorarc
