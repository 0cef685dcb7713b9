// Finding the files of an archive: the input path is one ".rea" file or an
// archive directory laid out as <arc>/<year>/<year-month>/<day>_<name>.rea.
#pragma once

#include <cstdint>
#include <filesystem>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "archive/item_filter.h"

namespace qorarc {

struct ArchiveFileEntry {
  std::string path;
  std::string stem;       // file name without ".rea"
  std::string name;       // archive name: the stem after the first '_'
  int64_t day_start = 0;  // the file's day at 00:00:00
};

// What the walk has to say beside the files it finds, told as it happens so
// that the lines keep the walk's order.
class DiscoveryReporter {
 public:
  virtual ~DiscoveryReporter() = default;
  // A directory of the walk (the root, a year or a month) could not be
  // listed: `error_number` is the errno. The walk goes on with the others.
  virtual void Unlistable(const std::string& path, int error_number) = 0;
  // An entry where the layout has no place for it (a file among the years,
  // a directory among the day files), skipped.
  virtual void Unexpected(const std::string& path) = 0;
};

// Fills `*entries` with the files of the filter's archive (any archive when
// the name is empty) whose day meets the filter's time span, sorted by day.
// Returns false with `*err` set when the input path does not exist or is
// neither a directory nor a regular file.
bool Discover(const ItemFilter& filter, const std::string& input_path,
              DiscoveryReporter* reporter, std::vector<ArchiveFileEntry>* entries,
              std::string* err);

// Whether the day that starts at `day_start` meets the filter's time span.
bool DayMeetsSpan(const ItemFilter& filter, int64_t day_start);

// Decides whether one file belongs to the export; fills `*entry` when it does.
// A single file given as the input is accepted by its extension alone.
bool ExamineFile(const ItemFilter& filter, bool single_file, const std::filesystem::path& path,
                 ArchiveFileEntry* entry);

// Archive name -> (first day_start, last day_start), ordered by name: what
// the scan lists.
using ArchiveSpans = std::map<std::string, std::pair<int64_t, int64_t>>;

ArchiveSpans CollectSpans(const std::vector<ArchiveFileEntry>& entries);

}  // namespace qorarc
