#include "app/run.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include "app/build_info.h"
#include "app/dataset_run.h"
#include "app/deferred_signals.h"
#include "app/export_threads.h"
#include "app/help_text.h"
#include "app/options.h"
#include "app/progress_meter.h"
#include "app/run_status.h"
#include "app/state_cursor.h"
#include "app/state_lock.h"
#include "archive/discovery.h"
#include "archive/read_state.h"
#include "base/messages.h"
#include "export/csv_writer.h"
#include "export/item_processor.h"
#include "export/json_lines_writer.h"
#include "export/json_writer.h"
#include "export/line_protocol_writer.h"
#include "export/long_csv_writer.h"
#include "export/open_metrics_writer.h"
#include "export/parallel_output.h"
#include "export/parquet_writer.h"
#include "output/block_compressor.h"
#include "output/compressing_streambuf.h"
#include "output/output_file.h"

namespace qorarc {
namespace {

void PrintVersion() {
  char text[96];
  std::snprintf(text, sizeof text, "Date: %d-%02d-%02d\nVersion: %d.%d.%d.%d\n", build::kYear,
                build::kMonth, build::kDay, build::kVersionMajor, build::kVersionMinor,
                build::kVersionRevision, build::kVersionBuild);
  std::cout << text;
}

// The filter of an export; scan mode keeps every field neutral so that it
// sees all archives of all times.
ItemFilter MakeFilter(const Options& options) {
  ItemFilter filter;
  if (options.scan) return filter;
  filter.archive_name = options.archive_name;
  filter.item_count_limit = options.item_count_limit;
  filter.from_time = options.from_time;
  filter.until_time = options.until_time;
  filter.no_data = options.no_data;
  filter.no_events = options.no_events;
  filter.no_log = options.no_log;
  filter.id_ranges = options.id_ranges;
  return filter;
}

std::string NothingFoundMessage(const Options& options, const ItemFilter& filter) {
  const std::string& input = options.input_path;
  const std::string& name = filter.archive_name;
  if (options.scan) return "No archive files were found scanning path '" + input + "'.";
  if (!filter.has_timespan()) {
    if (name.empty())
      return "No archived were found in '" + input +
             "'. Try parameter '--scan' to find available archives.";
    return "Archive '" + name + "' not found in '" + input +
           "'. Try parameter '--scan' to find available archives.";
  }
  if (name.empty())
    return "No archives found in '" + input +
           "' for the timespan specified. Try parameter '--scan' to find available archives and "
           "their timespans.";
  return "Archive '" + name + "' not found in '" + input +
         "' for the timespan specified. Try parameter '--scan' to find available archives and "
         "their timespans.";
}

int32_t DelimiterOf(const Options& options) {
  if (options.delimiter_semicolon) return kSemicolon;
  if (options.delimiter_space) return kSpace;
  if (options.delimiter_tab) return kTab;
  return kComma;
}

// True when the export is the JSON document, the format no other switch
// replaces: the one with no form for time and error arrays.
bool WritesJsonDocument(const Options& options) {
  return !options.parquet && !options.line_protocol && !options.open_metrics &&
         !options.json_lines && !options.long_csv && !options.csv;
}

// The writer of an export document on `out`. Of several format switches,
// Parquet wins over the line protocol, the line protocol over OpenMetrics,
// OpenMetrics over JSON Lines, JSON Lines over long CSV, and long CSV over
// CSV.
std::unique_ptr<Writer> MakeWriter(const Options& options, WriterTarget out) {
  if (options.parquet) return std::make_unique<ParquetWriter>(out, ExportThreads());
  if (options.line_protocol)
    return std::make_unique<LineProtocolWriter>(out, options.archive_name);
  if (options.open_metrics)
    return std::make_unique<OpenMetricsWriter>(out, options.archive_name);
  if (options.json_lines) return std::make_unique<JsonLinesWriter>(out);
  if (options.long_csv) return std::make_unique<LongCsvWriter>(out, DelimiterOf(options));
  if (options.csv)
    return std::make_unique<CsvWriter>(out, options.csv_header, options.csv_column_ranges,
                                       DelimiterOf(options));
  return MakeJsonWriter(out, options.pretty_print, options.item_total_count);
}

// Runs the writer over the files: the export document, or the scan listing.
// Sets `*unreadable` when a file could not be read, and `*warning` to the
// line about the values the format had no form for (the JSON document's
// time and error arrays, the line protocol's NaN, infinities and items
// without a time stamp), or empty.
// With `cursor`, begins each file where `starts` says, hands the cursor
// what was consumed, and sets `*written` to the number of items written.
void WriteDocument(const Options& options, const ItemFilter& filter,
                   const std::vector<ArchiveFileEntry>& entries, std::ostream* out,
                   bool* unreadable, std::string* warning, StateCursor* cursor = nullptr,
                   const std::vector<FileStart>& starts = {}, int32_t* written = nullptr) {
  if (options.scan) {
    WriteScanList(out, options.pretty_print, CollectSpans(entries));
    return;
  }
  PendingText text(out);
  std::unique_ptr<Writer> writer = MakeWriter(options, &text);
  // One thread writes as it reads; more format batches of items in worker
  // threads, with the same bytes as a result.
  // Parquet encodes its pages in threads of its own; the items reach it in
  // order from this thread.
  const int threads = options.parquet ? 1 : ExportThreads();
  std::unique_ptr<ItemOutput> output;
  if (threads > 1) {
    ParallelOutput::Settings settings;
    settings.threads = threads;
    settings.batch_items = ExportBatchItems(ParallelOutput::kDefaultBatchItems);
    output = std::make_unique<ParallelOutput>(
        writer.get(), &text,
        [&options](PendingText* block) { return MakeWriter(options, block); }, settings);
  } else {
    output = std::make_unique<DirectOutput>(writer.get());
  }
  ItemProcessor processor(&filter, options.item_total_count, output.get());
  if (cursor != nullptr) processor.KeepCursor();
  if (options.line_protocol && !options.parquet) processor.CountUnwrittenPoints();
  if (options.open_metrics && !options.line_protocol && !options.parquet)
    processor.CountUnwrittenSamples();
  AReadState state;
  const ProgressMeter::Mode progress = ProgressMeter::Wanted(!options.output_path.empty());
  ProgressMeter meter(progress, &processor, &state, entries, filter.item_count_limit);
  writer->beginDocument();
  const bool metered = progress != ProgressMeter::Mode::kOff;
  state.Export(entries, metered ? static_cast<ItemSink*>(&meter) : &processor,
               metered ? static_cast<LoopReporter*>(&meter) : &processor, starts);
  output->Finish();
  writer->endDocument(processor.count());
  meter.Finish();
  if (!writer->error().empty()) {
    // The document is not whole: its stream fails, so it is not committed.
    ErrorLine(writer->error());
    out->setstate(std::ios::badbit);
  }
  if (processor.read_failed()) *unreadable = true;
  if (WritesJsonDocument(options) && processor.formless().count() > 0)
    *warning = processor.formless().WarningLine();
  if (processor.unwritten().count() > 0) *warning = processor.unwritten().WarningLine();
  if (processor.unwritten_samples().count() > 0)
    *warning = processor.unwritten_samples().WarningLine();
  if (cursor != nullptr) {
    cursor->Advance(entries, processor.consumed());
    *written = processor.written();
  }
}

// Flushes standard output; a failed write must not end in success.
int FinishStandardOutput() {
  std::cout.flush();
  if (!std::cout || std::fflush(stdout) != 0 || std::ferror(stdout)) {
    ErrorLine("Failed to write to standard output.");
    return -1;
  }
  return 0;
}

// True when `output` names an existing file that is one of the archive files
// (through any path or link): opening it for writing would truncate the data
// the export is about to read.
bool IsArchiveFile(const std::string& output, const std::vector<ArchiveFileEntry>& entries) {
  struct stat out_stat;
  if (stat(output.c_str(), &out_stat) != 0) return false;
  for (const ArchiveFileEntry& entry : entries) {
    struct stat entry_stat;
    if (stat(entry.path.c_str(), &entry_stat) == 0 && entry_stat.st_dev == out_stat.st_dev &&
        entry_stat.st_ino == out_stat.st_ino)
      return true;
  }
  return false;
}

// Writes a document with `write` to the -o file: replaced whole when every
// write succeeded, compressed when its name asks for it. Returns 0, or -1
// after the error line.
// With `cursor`, the file is on the disk before it takes its name, and takes
// it in one step with the cursor (app/state_cursor.h); when `*nothing_new`
// is set after the export, the file is left as it was.
template <typename WriteFn>
int WriteOutputFile(const std::string& path, const std::vector<ArchiveFileEntry>& entries,
                    WriteFn write, StateCursor* cursor = nullptr,
                    const bool* nothing_new = nullptr) {
  OutputFile file;
  file.set_sync(cursor != nullptr);
  file.set_observer(cursor);
  if (IsArchiveFile(path, entries) || !file.Open(path)) {
    if (cursor != nullptr && !cursor->error().empty()) ErrorLine(cursor->error());
    ErrorLine("Failed to open file '" + path + "' for writing.");
    return -1;
  }
  const Compression compression = CompressionOf(path);
  if (compression == Compression::kNone) {
    write(file.stream());
  } else {
    // Compressed between the document's stream and the file's, by the
    // export's threads; a failure of either shows in the file's stream for
    // Commit().
    CompressingStreambuf compressor(compression, file.stream()->rdbuf(), ExportThreads());
    std::ostream plain(&compressor);
    write(&plain);
    if (!compressor.Finish() || !plain) file.stream()->setstate(std::ios::badbit);
  }
  if (nothing_new != nullptr && *nothing_new) return 0;
  // A signal during the commit waits for its end; what it interrupted is
  // then complete, and the run ends as it would have.
  DeferredSignals deferred;
  if (!file.Commit()) {
    if (cursor != nullptr && !cursor->error().empty()) ErrorLine(cursor->error());
    ErrorLine("Failed to write to '" + path + "'.");
    return -1;
  }
  if (cursor != nullptr) {
    std::string err;
    // The output and the cursor are committed; a cursor that cannot be
    // settled now is settled by the next run.
    if (!cursor->Save(&err)) ErrorLine(err);
    const std::string signal = deferred.TakeCommitted();
    if (!signal.empty())
      ErrorLine(signal + " came while the export was being committed; it is complete and "
                "committed.");
  }
  return 0;
}

// Saves the cursor of a run whose output is complete; -1 after the error line.
int SaveCursor(StateCursor* cursor) {
  DeferredSignals deferred;
  std::string err;
  if (cursor->Save(&err)) return 0;
  ErrorLine(err);
  return -1;
}

}  // namespace

int Run(int argc, char** argv) {
  Options options = ParseOptions(argc, argv);
  if (!options.parsed || options.input_path.empty()) {
    ErrorLine("Parameters are not valid.");
    ErrorLine("Try 'QorArc --help' for more information.");
    return 1;
  }
  if (options.help) {
    PrintHelp(&std::cout);
    return FinishStandardOutput();
  }
  if (options.version) {
    PrintVersion();
    return FinishStandardOutput();
  }
  if (!options.dataset_path.empty() || options.all_archives) return RunDataset(options);
  if (options.parquet && !options.scan) {
    // A binary file: never onto a terminal, never compressed a second time.
    if (options.output_path.empty() && isatty(STDOUT_FILENO)) {
      ErrorLine("A Parquet file is not written to a terminal: name a file with '-o', or redirect "
                "standard output.");
      return 1;
    }
    if (CompressionOf(options.output_path) != Compression::kNone) {
      ErrorLine("A Parquet file is compressed inside: name the '-o' file without '.gz' or '.zst'.");
      return 1;
    }
  }
  ItemFilter filter = MakeFilter(options);
  StateLock lock;
  std::unique_ptr<StateCursor> cursor;
  if (!options.state_path.empty()) {
    std::string err;
    switch (lock.Acquire(options.state_path, options.state_wait_seconds, &err)) {
      case StateLock::Result::kHeld:
        break;
      case StateLock::Result::kBusy:
        ErrorLine("State file '" + options.state_path + "' is in use by another run.");
        return kBusyStatus;
      case StateLock::Result::kFailed:
        ErrorLine(err);
        return 1;
    }
    cursor = std::make_unique<StateCursor>();
    DeferredSignals deferred;  // the settling of an earlier run's commit
    if (!cursor->Load(options.state_path, &filter, &err)) {
      ErrorLine(err);
      return 1;
    }
  }
  if (!options.scan && filter.archive_name.empty()) {
    std::error_code ec;
    if (!std::filesystem::is_regular_file(options.input_path, ec)) {
      ErrorLine("Name of the archive must be specified.");
      return -1;
    }
  }
  if (options.scan) VerboseLine("Scanning directory '" + options.input_path + "'.");

  std::vector<ArchiveFileEntry> entries;
  bool unreadable = false;
  std::string warning;  // about values the format has no form for
  WalkLines walk_lines(&unreadable);
  if (std::string err; !Discover(filter, options.input_path, &walk_lines, &entries, &err)) {
    ErrorLine(err);
    return -1;
  }
  // A complete document that lacks what could not be read, or shows null
  // for values it has no form for, or leaves them out (after the document,
  // one warning).
  auto status = [&](int code) {
    if (code != 0) return code;
    if (!warning.empty()) ErrorLine(warning);
    return unreadable || !warning.empty() ? kUnreadableStatus : 0;
  };
  if (entries.empty()) {
    ErrorLine(NothingFoundMessage(options, filter));
    auto write_empty = [&options](std::ostream* out) {
      MakeWriter(options, out)->writeEmptyResult();
    };
    int code;
    if (cursor != nullptr) {
      // Nothing found is nothing new: the cursor stays as it was, and no
      // output file is written; the empty result goes to standard output
      // when no file is named.
      code = options.output_path.empty() ? (write_empty(&std::cout), FinishStandardOutput()) : 0;
    } else if (!options.strict && !options.parquet) {
      // The empty result goes to standard output, never to a file.
      write_empty(&std::cout);
      return status(FinishStandardOutput());
    } else if (options.output_path.empty()) {
      // Unattended runs, and Parquet, whose file is no text for a terminal:
      // the -o file holds this run's result.
      write_empty(&std::cout);
      code = FinishStandardOutput();
    } else {
      code = WriteOutputFile(options.output_path, entries, write_empty);
    }
    // With --strict the status tells that nothing was found (unless worse
    // happened).
    code = status(code);
    return code == 0 && options.strict ? kNothingFoundStatus : code;
  }

  std::vector<FileStart> starts;
  if (cursor != nullptr) starts = cursor->Plan(entries, &unreadable);
  int32_t written = 0;
  if (options.output_path.empty()) {
    WriteDocument(options, filter, entries, &std::cout, &unreadable, &warning, cursor.get(),
                  starts, &written);
    int code = FinishStandardOutput();
    // Standard output cannot take back what it wrote: the cursor follows it.
    if (code == 0 && cursor != nullptr) code = SaveCursor(cursor.get());
    return status(code);
  }
  // --state: a run with nothing new leaves the output file as it was.
  bool nothing_new = false;
  int code = WriteOutputFile(
      options.output_path, entries,
      [&](std::ostream* out) {
        WriteDocument(options, filter, entries, out, &unreadable, &warning, cursor.get(),
                      starts, &written);
        nothing_new = cursor != nullptr && written == 0;
      },
      cursor.get(), &nothing_new);
  if (code == 0 && nothing_new) code = SaveCursor(cursor.get());
  return status(code);
}

}  // namespace qorarc
