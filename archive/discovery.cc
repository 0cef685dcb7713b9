#include "archive/discovery.h"

#include <algorithm>
#include <chrono>
#include <system_error>

#include "base/time_base.h"
#include "base/timestamp_parser.h"

namespace qorarc {
namespace fs = std::filesystem;

namespace {

bool Parse(const std::string& text, int64_t* timestamp) {
  return ParseTimestamp(text, timestamp);
}

// The name must parse and reach the from-time with its end and the
// until-time with its start.
bool MeetsSpan(const ItemFilter& filter, const std::string& first_text,
               const std::string& last_text) {
  int64_t t = 0;
  if (filter.has_from() && !(Parse(last_text, &t) && t >= filter.from_time)) return false;
  if (filter.has_until() && !(Parse(first_text, &t) && t <= filter.until_time)) return false;
  return true;
}

bool YearMeetsSpan(const ItemFilter& filter, const std::string& name) {
  return MeetsSpan(filter, name + "-01-01 00:00:00.000000000", name + "-12-31 23:59:59.999999999");
}

// A month directory "2019-05" is kept while the start of the next month is
// later than the from-time; a name that does not parse is dropped when a
// from-time is set, as a year directory is.
bool MonthMeetsSpan(const ItemFilter& filter, const std::string& name) {
  int64_t start = 0;
  bool parsed = Parse(name + "-01 00:00:00.000000000", &start);
  if (filter.has_from()) {
    if (!parsed) return false;
    const std::chrono::year_month_day day = DateOfDay(DayOf(start));
    const std::chrono::year_month next =
        std::chrono::year_month{day.year(), day.month()} + std::chrono::months{1};
    const int64_t next_start = DayNumberOf(next / 1) * kNanosPerDay;
    if (next_start <= filter.from_time) return false;
  }
  if (filter.has_until() && !(parsed && start <= filter.until_time)) return false;
  return true;
}

// The entries of one directory in listing order. A listing error ends the
// walk of that directory and is reported.
std::vector<fs::directory_entry> List(const fs::path& dir, DiscoveryReporter* reporter) {
  std::vector<fs::directory_entry> result;
  std::error_code ec;
  fs::directory_iterator it(dir, ec);
  for (; !ec && it != fs::directory_iterator(); it.increment(ec)) result.push_back(*it);
  if (ec) reporter->Unlistable(dir.string(), ec.value());
  return result;
}

bool IsDirectory(const fs::directory_entry& entry) {
  std::error_code ec;
  return entry.is_directory(ec);
}

bool IsRegularFile(const fs::directory_entry& entry) {
  std::error_code ec;
  return entry.is_regular_file(ec);
}

// The subdirectories of `parents` whose names `keep` accepts; entries that
// are not directories are reported and skipped.
template <typename Keep>
std::vector<fs::path> Subdirectories(const std::vector<fs::path>& parents, Keep keep,
                                     DiscoveryReporter* reporter) {
  std::vector<fs::path> result;
  for (const fs::path& parent : parents) {
    for (const fs::directory_entry& entry : List(parent, reporter)) {
      fs::path path = parent / entry.path().filename();
      if (!IsDirectory(entry))
        reporter->Unexpected(path.string());
      else if (keep(path.filename().string()))
        result.push_back(std::move(path));
    }
  }
  return result;
}

}  // namespace

bool ExamineFile(const ItemFilter& filter, bool single_file, const fs::path& path,
                 ArchiveFileEntry* entry) {
  if (path.extension() != ".rea") return false;
  std::string stem = path.stem().string();
  if (single_file) {
    *entry = {path.string(), stem, "", 0};
    return true;
  }
  size_t underscore = stem.find('_');
  if (underscore == std::string::npos) return false;
  std::string date = stem.substr(0, underscore);
  std::string name = stem.substr(underscore + 1);
  if (!filter.archive_name.empty() && name != filter.archive_name) return false;
  // A file whose date part is not a date is never taken.
  int64_t day_start = 0;
  if (!Parse(date, &day_start)) return false;
  if (!DayMeetsSpan(filter, day_start)) return false;
  *entry = {path.string(), std::move(stem), std::move(name), day_start};
  return true;
}

bool DayMeetsSpan(const ItemFilter& filter, int64_t day_start) {
  if (filter.has_from() && day_start + kNanosPerDay - 1 < filter.from_time) return false;
  return !filter.has_until() || day_start <= filter.until_time;
}

bool Discover(const ItemFilter& filter, const std::string& input_path,
              DiscoveryReporter* reporter, std::vector<ArchiveFileEntry>* entries,
              std::string* err) {
  std::error_code ec;
  fs::file_status status = fs::status(input_path, ec);
  if (!fs::exists(status)) {
    *err = "Path '" + input_path + "' not found.";
    return false;
  }
  if (fs::is_regular_file(status)) {
    ArchiveFileEntry entry;
    if (ExamineFile(filter, true, input_path, &entry)) entries->push_back(std::move(entry));
    return true;
  }
  if (!fs::is_directory(status)) {
    *err = "Path '" + input_path + "' is not a directory.";
    return false;
  }
  const fs::path root(input_path);
  std::vector<fs::path> years = Subdirectories(
      {root}, [&](const std::string& name) { return YearMeetsSpan(filter, name); }, reporter);
  std::vector<fs::path> months = Subdirectories(
      years, [&](const std::string& name) { return MonthMeetsSpan(filter, name); }, reporter);
  for (const fs::path& month : months) {
    for (const fs::directory_entry& entry : List(month, reporter)) {
      fs::path path = month / entry.path().filename();
      ArchiveFileEntry file;
      if (!IsRegularFile(entry))
        reporter->Unexpected(path.string());
      else if (ExamineFile(filter, false, path, &file))
        entries->push_back(std::move(file));
    }
  }
  // Days ascending; files of one day by path, so that the order does not
  // depend on the platform's listing order.
  std::sort(entries->begin(), entries->end(),
            [](const ArchiveFileEntry& a, const ArchiveFileEntry& b) {
              return a.day_start != b.day_start ? a.day_start < b.day_start : a.path < b.path;
            });
  return true;
}

ArchiveSpans CollectSpans(const std::vector<ArchiveFileEntry>& entries) {
  ArchiveSpans archives;
  for (const ArchiveFileEntry& entry : entries) {
    auto [it, inserted] = archives.try_emplace(entry.name, entry.day_start, entry.day_start);
    if (!inserted) {
      it->second.first = std::min(it->second.first, entry.day_start);
      it->second.second = std::max(it->second.second, entry.day_start);
    }
  }
  return archives;
}

}  // namespace qorarc
