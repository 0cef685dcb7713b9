// libFuzzer target: the input bytes are one ".rea" file, exported in process
// the way the program exports a single file: decoded, filtered, and written
// as compact JSON, pretty JSON and CSV, once with no filter and once with a
// narrow one. Beyond the sanitizers' own checks it stops on outputs that
// disagree with each other:
//   - pretty JSON without its layout blanks is the compact JSON;
//   - the compact JSON is a valid document once the empty slots of NaN and
//     infinite reals are filled;
//   - JSON and CSV count the same items under the same filter.
//   - with threads, the pretty JSON and the CSV are the same as without;
//   - every JSON Lines line is strict JSON, one per item written;
//   - the items the JSON document has no form for (codes 25 and 27, written
//     as nulls) are counted the same with and without threads.
#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include <rapidjson/document.h>

#include "archive/archive_format.h"
#include "archive/item_filter.h"
#include "archive/archive_writer.h"
#include "archive/discovery.h"
#include "archive/read_state.h"
#include "export/csv_writer.h"
#include "export/item_processor.h"
#include "export/json_lines_writer.h"
#include "export/json_writer.h"
#include "export/line_protocol_writer.h"
#include "export/open_metrics_writer.h"
#include "export/parallel_output.h"

namespace qorarc {
namespace {

[[noreturn]] void Fail(const char* what, const std::string& a, const std::string& b) {
  std::fprintf(stderr, "export_fuzzer: %s\n--- first:\n%s\n--- second:\n%s\n", what, a.c_str(),
               b.c_str());
  std::abort();
}

// The file the bytes are written to: one per process, in memory, rewritten
// for each input and opened by the reader through its /proc path.
class InputFile {
 public:
  InputFile() : fd_(memfd_create("export_fuzzer.rea", 0)) {
    if (fd_ < 0) {
      std::perror("export_fuzzer: memfd_create");
      std::abort();
    }
    path_ = "/proc/self/fd/" + std::to_string(fd_);
  }
  ~InputFile() { close(fd_); }

  const std::string& Write(const uint8_t* data, size_t size) {
    if (ftruncate(fd_, 0) != 0 || pwrite(fd_, data, size, 0) != static_cast<ssize_t>(size)) {
      std::perror("export_fuzzer: write");
      std::abort();
    }
    return path_;
  }

 private:
  int fd_;
  std::string path_;
};

struct Output {
  std::string text;
  int32_t count = 0;
  int64_t formless = 0;  // items of codes 25 and 27 written
};

enum class Format { kCompact, kPretty, kCsv, kJsonLines, kLineProtocol, kOpenMetrics };

// `threaded`: three threads and batches of two items, so that batch edges
// fall everywhere.
Output Export(const ItemFilter& filter, const std::vector<IdRange>& columns, bool count_all,
              Format format, const std::vector<ArchiveFileEntry>& files, bool threaded = false) {
  std::ostringstream stream;
  // The smallest buffer the reader allows, so that inputs of some ten
  // kilobytes already slide it.
  AReadState state(2 * kMaxRecordBytes);
  Output output;
  PendingText text(&stream);
  auto make_writer = [&](PendingText* out) -> std::unique_ptr<Writer> {
    switch (format) {
      case Format::kCsv:
        return std::make_unique<CsvWriter>(out, "", columns, columns.empty() ? kComma : kTab);
      case Format::kJsonLines:
        return std::make_unique<JsonLinesWriter>(out);
      case Format::kOpenMetrics:
        return std::make_unique<OpenMetricsWriter>(out, "fuzz\"\n\\");
      case Format::kLineProtocol:
        return std::make_unique<LineProtocolWriter>(out, "fuzz, a=b\\");
      default:
        return MakeJsonWriter(out, format == Format::kPretty, true);
    }
  };
  std::unique_ptr<Writer> writer = make_writer(&text);
  std::unique_ptr<ItemOutput> items;
  if (threaded) {
    items = std::make_unique<ParallelOutput>(writer.get(), &text, make_writer,
                                             ParallelOutput::Settings{
                                                 .threads = 3,
                                                 .batch_items = 2,
                                                 .batch_bytes = 4096});
  } else {
    items = std::make_unique<DirectOutput>(writer.get());
  }
  ItemProcessor processor(&filter, count_all, items.get());
  if (format == Format::kLineProtocol) processor.CountUnwrittenPoints();
  if (format == Format::kOpenMetrics) processor.CountUnwrittenSamples();
  writer->beginDocument();
  state.Export(files, &processor, &processor);
  items->Finish();
  writer->endDocument(processor.count());
  output.count = processor.count();
  output.formless = processor.formless().count();
  output.text = stream.str();
  return output;
}

// Drops the blanks and line feeds that pretty-printing adds outside strings.
std::string WithoutLayout(const std::string& pretty) {
  std::string compact;
  bool in_string = false;
  for (size_t i = 0; i < pretty.size(); ++i) {
    char c = pretty[i];
    if (in_string) {
      compact.push_back(c);
      if (c == '\\' && i + 1 < pretty.size()) {
        compact.push_back(pretty[++i]);
      } else if (c == '"') {
        in_string = false;
      }
    } else if (c != ' ' && c != '\n') {
      compact.push_back(c);
      in_string = c == '"';
    }
  }
  return compact;
}

// Puts null into every empty slot that a NaN or infinite real leaves ("[,",
// ",," and ",]" outside strings), so that the rest can be parsed.
std::string WithSlotsFilled(const std::string& json) {
  std::string filled;
  bool in_string = false;
  for (size_t i = 0; i < json.size(); ++i) {
    char c = json[i];
    filled.push_back(c);
    if (in_string) {
      if (c == '\\' && i + 1 < json.size())
        filled.push_back(json[++i]);
      else if (c == '"')
        in_string = false;
      continue;
    }
    in_string = c == '"';
    char next = i + 1 < json.size() ? json[i + 1] : '\0';
    if ((c == '[' || c == ',') && next == ',') filled += "null";
    if (c == ',' && next == ']') filled += "null";
  }
  return filled;
}

void CheckExport(const ItemFilter& filter, const std::vector<IdRange>& columns, bool count_all,
                 const std::vector<ArchiveFileEntry>& files) {
  Output compact = Export(filter, columns, count_all, Format::kCompact, files);
  Output pretty = Export(filter, columns, count_all, Format::kPretty, files);
  Output csv = Export(filter, columns, count_all, Format::kCsv, files);
  const Output points = Export(filter, columns, count_all, Format::kLineProtocol, files);
  const Output samples = Export(filter, columns, count_all, Format::kOpenMetrics, files);
  for (Format format :
       {Format::kPretty, Format::kCsv, Format::kLineProtocol, Format::kOpenMetrics}) {
    const Output& direct = format == Format::kCsv            ? csv
                           : format == Format::kLineProtocol ? points
                           : format == Format::kOpenMetrics  ? samples
                                                             : pretty;
    const Output threaded = Export(filter, columns, count_all, format, files, true);
    if (threaded.text != direct.text || threaded.formless != direct.formless ||
        threaded.count != direct.count)
      Fail("the export with threads differs", threaded.text, direct.text);
  }
  // Every JSON Lines line is strict JSON in valid UTF-8, one per item.
  const Output lines = Export(filter, columns, count_all, Format::kJsonLines, files);
  size_t line_count = 0;
  for (size_t start = 0; start < lines.text.size(); ++line_count) {
    const size_t end = lines.text.find('\n', start);
    if (end == std::string::npos) Fail("a JSON Lines line without its line feed", lines.text, "");
    rapidjson::Document line;
    line.Parse<rapidjson::kParseValidateEncodingFlag>(lines.text.data() + start, end - start);
    if (line.HasParseError() || !line.IsObject())
      Fail("a JSON Lines line does not parse", lines.text.substr(start, end - start), "");
    start = end + 1;
  }
  // Every line protocol line is one point of the measurement, ending in its
  // time stamp: a text or tag that broke a line would leave a line without.
  for (size_t start = 0; start < points.text.size();) {
    const size_t end = points.text.find('\n', start);
    const std::string line = points.text.substr(start, end - start);
    const size_t blank = line.rfind(' ');
    if (end == std::string::npos || !line.starts_with("qorarc,archive=fuzz\\,\\ a\\=b\\\\") ||
        blank == std::string::npos || blank + 1 == line.size() ||
        line.find_first_not_of("-0123456789", blank + 1) != std::string::npos)
      Fail("a line protocol line is not one point", line, "");
    start = end + 1;
  }
  // OpenMetrics: the family's TYPE line, samples with a time stamp each,
  // "# EOF" last; no blank line, no line break inside a label.
  if (!samples.text.starts_with("# TYPE qorarc_value gauge\n") ||
      !samples.text.ends_with("# EOF\n"))
    Fail("an OpenMetrics document without its TYPE line or # EOF", samples.text, "");
  for (size_t start = samples.text.find('\n') + 1; start + 6 < samples.text.size();) {
    const size_t end = samples.text.find('\n', start);
    const std::string line = samples.text.substr(start, end - start);
    const size_t blank = line.rfind(' ');
    if (!line.starts_with("qorarc_value{archive=\"fuzz\\\"\\n\\\\\"") || line.find('}') == std::string::npos ||
        blank == std::string::npos ||
        line.find_first_not_of("0123456789.", blank + 1) != std::string::npos)
      Fail("an OpenMetrics line is not one sample with its time stamp", line, "");
    start = end + 1;
  }
  const int32_t limit = filter.item_count_limit;
  const size_t written = static_cast<size_t>(limit >= 0 && lines.count > limit ? limit : lines.count);
  if (line_count != written) Fail("JSON Lines has not one line per item", lines.text, "");
  if (WithoutLayout(pretty.text) != compact.text)
    Fail("pretty and compact JSON differ", pretty.text, compact.text);
  if (compact.count != csv.count)
    Fail("JSON and CSV count different items", compact.text, csv.text);
  rapidjson::Document document;
  std::string filled = WithSlotsFilled(compact.text);
  document.Parse(filled.c_str(), filled.size());
  if (document.HasParseError()) Fail("the JSON document does not parse", filled, "");
}

}  // namespace
}  // namespace qorarc

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace qorarc;
  static InputFile input;
  std::vector<ArchiveFileEntry> files = {{input.Write(data, size), "", "", 0}};

  ItemFilter all;
  CheckExport(all, {}, false, files);

  // Items of the seeds' days, a few IDs, no log messages, at most three
  // written and the rest counted; CSV keeps the date, time and two values.
  ItemFilter narrow;
  narrow.item_count_limit = 3;
  narrow.from_time = DayNumber(2019, 5, 3) * kNanosPerDay + TimeOfDay(6, 0, 0);
  narrow.until_time = DayNumber(2019, 5, 4) * kNanosPerDay + TimeOfDay(18, 0, 0);
  narrow.no_log = true;
  narrow.id_ranges = {{0, 20}, {100, 300}};
  CheckExport(narrow, {{0, 1}, {6, 7}}, true, files);
  return 0;
}
