#include "app/dataset_run.h"

#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <set>
#include <string>
#include <vector>

#include "app/dataset_commit.h"
#include "app/dataset_layout.h"
#include "app/deferred_signals.h"
#include "app/export_threads.h"
#include "app/run_status.h"
#include "app/state_cursor.h"
#include "app/state_lock.h"
#include "archive/discovery.h"
#include "archive/read_state.h"
#include "base/messages.h"
#include "export/item_output.h"
#include "export/item_processor.h"
#include "export/parquet_writer.h"
#include "export/time_text.h"
#include "output/pending_text.h"

namespace qorarc {
namespace {

// The line of options that do not make a dataset run; empty when they do.
std::string OptionsProblem(const Options& o) {
  if (o.dataset_path.empty()) return "Option '--all' needs '--dataset DIR'.";
  if (!o.output_path.empty()) return "Option '--dataset' cannot be used with '-o'.";
  if (o.scan) return "Option '--dataset' cannot be used with '--scan'.";
  if (!o.state_path.empty()) return "Option '--dataset' cannot be used with '--state'.";
  if (o.csv || o.json_lines || o.long_csv || o.line_protocol || o.open_metrics || o.pretty_print)
    return "Option '--dataset' writes Parquet: it cannot be used with another format.";
  if (o.item_count_limit >= 0) return "Option '--dataset' cannot be used with '-ic'.";
  if (o.all_archives && !o.archive_names.empty())
    return "Option '--all' cannot be used with archive names.";
  if (!o.all_archives && o.archive_names.empty())
    return "Option '--dataset' needs an archive name ('-fn NAME') or '--all'.";
  // A single file has no archive name nor day to file its items under.
  std::error_code ec;
  if (std::filesystem::is_regular_file(o.input_path, ec))
    return "Option '--dataset' takes an archive directory as its input, not a single file.";
  return {};
}

// Passes the loop's items on, and counts those of the records that end at
// or before `old_ends` of their file: what an earlier version of the file
// held.
class CountingSink : public ItemSink {
 public:
  CountingSink(ItemProcessor* processor, const std::vector<uint64_t>* old_ends)
      : processor_(processor), old_ends_(old_ends) {}
  bool Done() const override { return processor_->Done(); }
  bool Item(const ArchiveItem& item) override { return processor_->Item(item); }
  void Consumed(const ReadPosition& position) override {
    processor_->Consumed(position);
    const int32_t written = processor_->written();
    if (position.offset <= (*old_ends_)[position.file]) old_items_ += written - counted_;
    counted_ = written;
  }
  int64_t old_items() const { return old_items_; }

 private:
  ItemProcessor* processor_;
  const std::vector<uint64_t>* old_ends_;
  int32_t counted_ = 0;
  int64_t old_items_ = 0;
};

// The lines of a reading that only counts: a file that cannot be read is
// shown here, once; the export of the day that may follow leaves it out.
class CountingReporter : public LoopReporter {
 public:
  explicit CountingReporter(std::set<std::string>* shown) : shown_(shown) {}
  void FileStarted(const std::string&) override {}
  void Corruption(const std::string&) override {}
  void ReadFailed(const std::string& path, int error_number) override {
    if (shown_->insert(path).second) ReadFailedLine(path, error_number);
  }

 private:
  std::set<std::string>* shown_;
};

// The export's lines, but for files whose failure was shown already.
class ExportReporter : public LoopReporter {
 public:
  ExportReporter(LoopReporter* next, const std::set<std::string>* shown)
      : next_(next), shown_(shown) {}
  void FileStarted(const std::string& path) override { next_->FileStarted(path); }
  void Corruption(const std::string& path) override { next_->Corruption(path); }
  void ReadFailed(const std::string& path, int error_number) override {
    if (shown_->count(path) == 0) next_->ReadFailed(path, error_number);
  }

 private:
  LoopReporter* next_;
  const std::set<std::string>* shown_;
};

// Takes the items of a reading that only counts them.
class DiscardOutput : public ItemOutput {
 public:
  void Write(const ArchiveItem&, const RowMask*) override {}
  // The export that writes the items shows the lines.
  void Report(LoopMessage) override {}
  bool Failed() const override { return false; }
};

// One export of one day into one file.
struct DayExport {
  int64_t items = 0;      // items written
  int64_t old_items = 0;  // of them, those up to the old ends
  std::vector<ReadPosition> consumed;
};

// The state of one archive's run.
struct ArchiveRun {
  std::string root;
  std::string name;
  std::string escaped;
  ItemFilter filter;
  std::vector<ArchiveFileEntry> entries;
  std::vector<std::string> hidden;  // hidden files written, relative to root
  std::set<std::string> failed;     // files that could not be read, shown
  bool unreadable = false;
};

// Exports the files of `entries` that `starts` does not skip as one Parquet
// file at `path`, flushed to the disk. False with `*err` set; the file may
// then be left.
bool ExportDay(ArchiveRun* run, const std::vector<FileStart>& starts,
               const std::vector<uint64_t>& old_ends, const std::string& path, DayExport* result,
               std::string* err) {
  std::ofstream file(path, std::ios::binary | std::ios::trunc);
  if (!file) {
    *err = "Failed to open file '" + path + "' for writing.";
    return false;
  }
  {
    PendingText text(&file);
    ParquetWriter writer(&text, ExportThreads());
    DirectOutput output(&writer);
    ItemProcessor processor(&run->filter, false, &output);
    processor.KeepCursor();
    CountingSink sink(&processor, &old_ends);
    ExportReporter reporter(&processor, &run->failed);
    AReadState state;
    writer.beginDocument();
    state.Export(run->entries, &sink, &reporter, starts);
    output.Finish();
    writer.endDocument(processor.count());
    if (processor.read_failed()) run->unreadable = true;
    if (!writer.error().empty()) {
      *err = writer.error();
      return false;
    }
    result->items = processor.written();
    result->old_items = sink.old_items();
    result->consumed = processor.consumed();
  }
  file.close();
  const bool ok = !file.fail() && SyncToDisk(path);
  if (!ok) *err = "Failed to write to '" + path + "'.";
  return ok;
}

// Reads what `starts` does not skip without writing it: the items the
// records give, and where the reading ended.
DayExport CountItems(ArchiveRun* run, const std::vector<FileStart>& starts) {
  DiscardOutput output;
  ItemProcessor processor(&run->filter, false, &output);
  processor.KeepCursor();
  CountingReporter reporter(&run->failed);
  AReadState state;
  state.Export(run->entries, &processor, &reporter, starts);
  DayExport result;
  result.items = processor.written();
  result.consumed = processor.consumed();
  return result;
}

// The begin of `file` in the archive file at `path`, or nullptr.
DayBegin* BeginOf(DayFile* file, const std::string& path) {
  for (DayBegin& begin : file->begins)
    if (begin.path == path) return &begin;
  return nullptr;
}

// Removes the hidden file the run wrote last, which is not to be put in place.
void DropLastHidden(ArchiveRun* run) {
  unlink((run->root + '/' + run->hidden.back()).c_str());
  run->hidden.pop_back();
}

// The last position consumed in file `index`, or nullptr.
const ReadPosition* ConsumedIn(const DayExport& day, size_t index) {
  for (const ReadPosition& p : day.consumed)
    if (p.file == index) return &p;
  return nullptr;
}

// Exports one day's new records (its files are `group`, indices into the
// entries), adding its hidden file to the run and its day file to `*days`.
// False with `*err` set.
bool ExportNewRecords(ArchiveRun* run, const std::vector<size_t>& group,
                      const std::vector<FileStart>& starts, std::vector<DayFile>* days,
                      std::vector<ReadPosition>* consumed, std::string* err) {
  const int64_t day_start = run->entries[group.front()].day_start;
  DayFile* open_file = nullptr;  // the day's last file, unless sealed
  for (DayFile& d : *days)
    if (d.day_start == day_start && (open_file == nullptr || d.number > open_file->number))
      open_file = &d;
  const uint32_t next_number = open_file == nullptr ? 0 : open_file->number + 1;
  if (open_file != nullptr && open_file->sealed) open_file = nullptr;

  std::vector<FileStart> day_starts(starts.size());
  for (FileStart& s : day_starts) s.skip = true;
  // The open file is written again while every archive file it covers is
  // there with the bytes it was exported from.
  bool rewrite = open_file != nullptr;
  for (size_t b = 0; rewrite && b < open_file->begins.size(); ++b) {
    const DayBegin& begin = open_file->begins[b];
    const auto it = std::find_if(group.begin(), group.end(), [&](size_t i) {
      return run->entries[i].path == begin.path;
    });
    rewrite = it != group.end() && starts[*it].offset == begin.end;
  }
  // Most runs find a day's new bytes hold no whole record yet: counted
  // first, so that nothing is written for them.
  for (size_t i : group) day_starts[i] = starts[i];
  const DayExport fresh = CountItems(run, day_starts);
  if (fresh.items == 0) {
    if (rewrite) {
      // The open file covers the records read past, which gave nothing.
      for (size_t i : group) {
        const ReadPosition* p = ConsumedIn(fresh, i);
        if (p == nullptr) continue;
        if (DayBegin* begin = BeginOf(open_file, run->entries[i].path))
          begin->end = p->offset;
        else
          open_file->begins.push_back(
              {starts[i].offset, starts[i].day, p->offset, run->entries[i].path});
      }
    }
    consumed->insert(consumed->end(), fresh.consumed.begin(), fresh.consumed.end());
    return true;
  }
  const std::string folder = DayFolder(run->escaped, day_start);
  if (!MakeDirectories(run->root + '/' + folder, err)) return false;
  std::vector<uint64_t> old_ends(starts.size(), 0);
  DayFile next;
  DayExport exported;
  if (rewrite) {
    next = *open_file;
    for (size_t i : group) {
      const DayBegin* begin = BeginOf(&next, run->entries[i].path);
      day_starts[i] = starts[i];
      old_ends[i] = starts[i].offset;
      if (begin == nullptr) {
        next.begins.push_back({starts[i].offset, starts[i].day, starts[i].offset,
                               run->entries[i].path});
        continue;
      }
      day_starts[i].skip = false;
      day_starts[i].offset = begin->offset;
      day_starts[i].day = begin->day;
    }
    const std::string name = PartName(DayFileName(run->escaped, day_start, next.number), getpid());
    run->hidden.push_back(folder + '/' + name);
    if (!ExportDay(run, day_starts, old_ends, run->root + '/' + run->hidden.back(), &exported,
                   err))
      return false;
    if (exported.old_items != open_file->items) {
      ErrorLine("Archive '" + run->name + "', " + DateText(day_start) + ": " +
                std::to_string(exported.old_items) + " items where '" +
                DayFileName(run->escaped, day_start, open_file->number) + "' holds " +
                std::to_string(open_file->items) + "; that file is sealed.");
      DropLastHidden(run);
      rewrite = false;
    }
  } else if (open_file != nullptr) {
    ErrorLine("Archive '" + run->name + "', " + DateText(day_start) +
              ": an archive file changed or is gone since '" +
              DayFileName(run->escaped, day_start, open_file->number) +
              "' was written; that file is sealed.");
  }
  if (!rewrite) {
    if (open_file != nullptr) open_file->sealed = true;
    next = {};
    next.day_start = day_start;
    next.number = next_number;
    std::fill(old_ends.begin(), old_ends.end(), 0);
    for (size_t i : group) {
      day_starts[i] = starts[i];
      next.begins.push_back(
          {starts[i].offset, starts[i].day, starts[i].offset, run->entries[i].path});
    }
    const std::string name = PartName(DayFileName(run->escaped, day_start, next.number), getpid());
    run->hidden.push_back(folder + '/' + name);
    if (!ExportDay(run, day_starts, old_ends, run->root + '/' + run->hidden.back(), &exported,
                   err))
      return false;
    open_file = nullptr;
  }
  for (size_t i : group) {
    const ReadPosition* p = ConsumedIn(exported, i);
    if (p == nullptr) continue;
    if (DayBegin* begin = BeginOf(&next, run->entries[i].path))
      begin->end = std::max(p->offset, begin->offset);
  }
  const int64_t before = open_file != nullptr ? open_file->items : 0;
  const bool grown = exported.items > before;
  next.items = exported.items;
  if (!grown) {
    // Nothing new to show: the file stays as it is (or is not made yet).
    DropLastHidden(run);
  }
  if (open_file != nullptr) *open_file = std::move(next);
  else days->push_back(std::move(next));
  consumed->insert(consumed->end(), exported.consumed.begin(), exported.consumed.end());
  return true;
}

void RemoveHidden(const ArchiveRun& run) {
  for (const std::string& h : run.hidden) unlink((run.root + '/' + h).c_str());
}

// The status of one archive's run, as RunDataset() adds them up.
struct Outcome {
  bool failed = false;
  bool busy = false;
  bool unreadable = false;
  bool not_found = false;
};

// `walked`: the files of every archive under the input, as the run's walk
// found them.
Outcome ExportArchive(const Options& options, const std::string& root, const std::string& name,
                      const std::vector<ArchiveFileEntry>& walked) {
  Outcome outcome;
  ArchiveRun run;
  run.root = root;
  run.name = name;
  run.escaped = EscapePartitionValue(name);
  const std::string state_path = root + "/_qorarc/" + run.escaped + ".state";
  std::string err;
  StateLock lock;
  switch (lock.Acquire(state_path, options.state_wait_seconds, &err)) {
    case StateLock::Result::kHeld:
      break;
    case StateLock::Result::kBusy:
      ErrorLine("Archive '" + name + "' of dataset '" + root +
                "' is in use by another run; it is skipped.");
      outcome.busy = true;
      return outcome;
    case StateLock::Result::kFailed:
      ErrorLine(err);
      outcome.failed = true;
      return outcome;
  }
  run.filter.archive_name = name;
  run.filter.from_time = options.from_time;
  run.filter.until_time = options.until_time;
  run.filter.no_data = options.no_data;
  run.filter.no_events = options.no_events;
  run.filter.no_log = options.no_log;
  run.filter.id_ranges = options.id_ranges;
  StateCursor cursor;
  {
    DeferredSignals deferred;  // the settling of an earlier run's commit
    if (!SettleDataset(root, "archive=" + run.escaped, state_path, &err) ||
        !cursor.Load(state_path, &run.filter, &err)) {
      ErrorLine(err);
      outcome.failed = true;
      return outcome;
    }
  }
  // The archive's files in its time span, in the walk's order (by day).
  for (const ArchiveFileEntry& entry : walked) {
    if (entry.name == name && DayMeetsSpan(run.filter, entry.day_start))
      run.entries.push_back(entry);
  }
  if (run.entries.empty()) {
    ErrorLine("Archive '" + name + "' not found in '" + options.input_path +
              "'. Try parameter '--scan' to find available archives.");
    outcome.not_found = true;
    return outcome;
  }
  const std::vector<FileStart> starts = cursor.Plan(run.entries, &run.unreadable);
  std::vector<DayFile> days = cursor.days();
  std::vector<ReadPosition> consumed;
  // The entries are sorted by day: one group of files per day.
  for (size_t first = 0; first < run.entries.size();) {
    size_t end = first;
    std::vector<size_t> group;
    bool anything = false;
    for (; end < run.entries.size() && run.entries[end].day_start == run.entries[first].day_start;
         ++end) {
      group.push_back(end);
      anything = anything || !starts[end].skip;
    }
    first = end;
    if (!anything) continue;
    if (!ExportNewRecords(&run, group, starts, &days, &consumed, &err)) {
      ErrorLine(err);
      RemoveHidden(run);
      outcome.failed = true;
      return outcome;
    }
  }
  std::sort(consumed.begin(), consumed.end(),
            [](const ReadPosition& a, const ReadPosition& b) { return a.file < b.file; });
  cursor.Advance(run.entries, consumed);
  std::sort(days.begin(), days.end(), [](const DayFile& a, const DayFile& b) {
    return a.day_start != b.day_start ? a.day_start < b.day_start : a.number < b.number;
  });
  // A signal during the commit waits for its end.
  DeferredSignals deferred;
  if (!run.hidden.empty() && !cursor.RecordRenames(run.hidden, days, &err)) {
    ErrorLine(err);
    RemoveHidden(run);
    outcome.failed = true;
    return outcome;
  }
  // Recorded: from here on the next run completes what this one does not.
  if (!PutInPlace(root, run.hidden, &err)) {
    ErrorLine(err);
    outcome.failed = true;
    return outcome;
  }
  if (run.hidden.empty()) VerboseLine("Nothing new in archive '" + name + "'.");
  for (const std::string& h : run.hidden) {
    std::string file_name;
    IsPartName(h.substr(h.rfind('/') + 1), &file_name);
    VerboseLine("Wrote '" + root + '/' + h.substr(0, h.rfind('/') + 1) + file_name + "'.");
  }
  cursor.SetDays(std::move(days));
  // The files and the cursor are committed; a cursor that cannot be
  // settled now is settled by the next run.
  if (!cursor.Save(&err)) ErrorLine(err);
  const std::string signal = deferred.TakeCommitted();
  if (!signal.empty())
    ErrorLine(signal + " came while the export was being committed; it is complete and "
              "committed.");
  outcome.unreadable = outcome.unreadable || run.unreadable || !run.failed.empty();
  return outcome;
}

}  // namespace

int RunDataset(const Options& options) {
  if (const std::string problem = OptionsProblem(options); !problem.empty()) {
    ErrorLine(problem);
    return 1;
  }
  std::string root = options.dataset_path;
  while (root.size() > 1 && root.back() == '/') root.pop_back();
  std::vector<std::string> names;
  bool unreadable = false;
  // One walk of the whole input for the run, whatever its number of
  // archives: a walk per archive would list every archive's files once per
  // archive, which grows with the square of a fleet's size. A file that
  // appears after the walk is taken by the next run.
  std::vector<ArchiveFileEntry> walked;
  WalkLines walk_lines(&unreadable);
  if (std::string err; !Discover(ItemFilter{}, options.input_path, &walk_lines, &walked, &err)) {
    ErrorLine(err);
    return -1;
  }
  if (options.all_archives) {
    for (const auto& span : CollectSpans(walked)) names.push_back(span.first);
    if (names.empty()) {
      ErrorLine("No archive files were found scanning path '" + options.input_path + "'.");
      return options.strict ? kNothingFoundStatus : unreadable ? kUnreadableStatus : 0;
    }
  } else {
    for (const std::string& name : options.archive_names)
      if (!name.empty() && std::find(names.begin(), names.end(), name) == names.end())
        names.push_back(name);
  }
  std::string err;
  if (!MakeDirectories(root + "/_qorarc", &err)) {
    ErrorLine(err);
    return -1;
  }
  bool failed = false, busy = false, not_found = false;
  for (const std::string& name : names) {
    const Outcome outcome = ExportArchive(options, root, name, walked);
    failed = failed || outcome.failed;
    busy = busy || outcome.busy;
    unreadable = unreadable || outcome.unreadable;
    not_found = not_found || outcome.not_found;
  }
  if (failed) return -1;
  if (busy) return kBusyStatus;
  if (unreadable) return kUnreadableStatus;
  return not_found && options.strict ? kNothingFoundStatus : 0;
}

}  // namespace qorarc
