#include "export/json_writer.h"

#include <string>
#include <type_traits>

#include "archive/archive_format.h"
#include "export/cut_at_nul.h"
#include "export/time_text.h"

namespace qorarc {
namespace {

// RapidJSON sizes its level stack in levels of two words each: 16 levels are
// 256 bytes, four times the deepest document written here.
constexpr size_t kLevelDepth = 256 / (2 * sizeof(size_t));

// The longest text that may take the plain path of WriteText.
constexpr size_t kPlainTextMax = 64;

// True when RapidJSON's escaping would leave s as it is: no control
// character (NUL included), quote or backslash.
bool IsPlain(std::string_view s) {
  for (unsigned char c : s)
    if (c < 0x20 || c == '"' || c == '\\') return false;
  return true;
}

// Most texts of an item (time stamp, class, type, level) need no escaping:
// those are quoted and handed to RapidJSON as they stand, the same bytes its
// escaping loop would write at a fraction of the cost. Every other text goes
// through that loop, cut at its first NUL byte.
template <typename Json>
void WriteText(Json& json, std::string_view s) {
  if (s.size() <= kPlainTextMax && IsPlain(s)) {
    char quoted[kPlainTextMax + 2];
    quoted[0] = '"';
    char* end = CopyText(quoted + 1, s);
    *end++ = '"';
    json.RawValue(quoted, static_cast<size_t>(end - quoted), rapidjson::kStringType);
    return;
  }
  s = CutAtNul(s);
  json.String(s.data(), static_cast<rapidjson::SizeType>(s.size()));
}

// A key given with its quotes, as RapidJSON's Key() would write it.
template <typename Json, size_t N>
void WriteKey(Json& json, const char (&quoted)[N]) {
  json.RawValue(quoted, N - 1, rapidjson::kStringType);
}

// The elements of a value as JSON values. A value without a form (arrays
// of times and errors, codes 25 and 27) is one null per element, so the
// export goes on; the run counts such items and warns about them
// (export/formless_items.h).
template <typename Json>
struct JsonValues {
  Json& json;

  void Flag(int, bool f) { json.Bool(f); }
  void Integer(int, int64_t v) { json.Int(static_cast<int>(v)); }
  // RapidJSON refuses NaN and infinity after writing the separator, which
  // leaves an empty slot ("[1.0,,2.0]"); the export goes on.
  void Real(int, double v) { json.Double(v); }
  void Text(std::string_view text) { WriteText(json, text); }
  void Formless(int32_t count) {
    for (int32_t i = 0; i < count; ++i) json.Null();
  }
};

template <typename Json>
void WriteItemTo(Json& json, const ExportItem& item) {
  json.StartObject();

  // date "T" time "Z". The texts come from FormatDate and FormatTime, whose
  // lengths the buffer covers; the bounds only keep a wrong caller inside it.
  const std::string_view date = item.date.substr(0, kDateTextSize);
  const std::string_view time = item.time.substr(0, kTimeTextSize);
  char ts[kDateTextSize + kTimeTextSize + 2];
  char* end = CopyText(ts, date);
  *end++ = 'T';
  end = CopyText(end, time);
  *end++ = 'Z';
  WriteKey(json, "\"ts\"");
  WriteText(json, std::string_view(ts, static_cast<size_t>(end - ts)));

  if (item.id >= 0) {
    WriteKey(json, "\"id\"");
    json.Int(item.id);
  }
  if (!item.class_name.empty()) {
    WriteKey(json, "\"class\"");
    WriteText(json, item.class_name);
  }
  if (!item.type_name.empty()) {
    WriteKey(json, "\"type\"");
    WriteText(json, item.type_name);
  }
  if (!item.level.empty()) {
    WriteKey(json, "\"level\"");
    WriteText(json, item.level);
  }
  if (item.value_count > 0) {
    WriteKey(json, "\"values\"");
    json.StartArray();
    JsonValues<Json> values{json};
    VisitValue(item.value, item.value_count, ValueReading::kShown, values);
    json.EndArray();
  }

  json.EndObject();
}

// Where RapidJSON, writing an item's text, looks whether a piece is ready:
// before each structural character and line feed (put one by one), and
// before each token and run of blanks (put after one reservation for the
// whole run): a string with its quotes, a number, true or false, an indent.
size_t NextJsonCheck(std::string_view text, size_t from) {
  const size_t n = text.size();
  size_t i = 0;
  while (i < n) {
    if (i >= from) return i;
    const char c = text[i];
    if (c == '"') {
      for (++i; i < n && text[i] != '"'; ++i)
        if (text[i] == '\\') ++i;
      ++i;
    } else if (c == ' ') {
      while (i < n && text[i] == ' ') ++i;
    } else if (std::string_view(",:{}[]\n").find(c) != std::string_view::npos) {
      ++i;
    } else {
      while (i < n && std::string_view(",:{}[]\n \"").find(text[i]) == std::string_view::npos) ++i;
    }
  }
  return std::string_view::npos;
}

// The scan's dates: date and time of a day start, without the blanks that
// a year below 1000 is padded with.
std::string ScanDateText(int64_t day_start) {
  const std::string text = TimestampText(day_start);
  const size_t first = text.find_first_not_of(" \t");
  return first == std::string::npos ? std::string() : text.substr(first);
}

}  // namespace

template <typename Json>
JsonWriter<Json>::JsonWriter(WriterTarget out, bool with_total)
    : Writer(out), buffer_{&pending_}, json_(buffer_, nullptr, kLevelDepth),
      with_total_(with_total) {
  pending_.next_check = NextJsonCheck;
  pending_.flush_pieces = true;
  if constexpr (std::is_same_v<Json, rapidjson::PrettyWriter<JsonOutputBuffer>>) {
    json_.SetIndent(' ', 4);
    json_.SetFormatOptions(rapidjson::kFormatDefault);
  }
  json_.SetMaxDecimalPlaces(Json::kDefaultMaxDecimalPlaces);
}

template <typename Json>
JsonWriter<Json>::~JsonWriter() = default;

template <typename Json>
void JsonWriter<Json>::beginDocument() {
  json_.StartObject();
  WriteKey(json_, "\"data\"");
  json_.StartArray();
}

template <typename Json>
void JsonWriter<Json>::writeItem(const ExportItem& item) {
  WriteItemTo(json_, item);
}

template <typename Json>
void JsonWriter<Json>::endDocument(int32_t total) {
  json_.EndArray();
  if (with_total_) {
    WriteKey(json_, "\"total_item_count\"");
    json_.Int(total);
  }
  json_.EndObject();
  flush();
}

template <typename Json>
void JsonWriter<Json>::writeEmptyResult() {
  // Always this text, compact or pretty: it is not built by RapidJSON.
  constexpr std::string_view kEmptyResult = "{\"data\": []}\n";
  pending_.SetEnd(CopyText(pending_.Reserve(kEmptyResult.size()), kEmptyResult));
  flush();
}

template <typename Json>
void JsonWriter<Json>::writeScanList(const ArchiveSpans& archives) {
  json_.StartArray();
  for (const auto& [name, span] : archives) {
    json_.StartObject();
    WriteKey(json_, "\"name\"");
    WriteText(json_, name);
    WriteKey(json_, "\"first_date\"");
    WriteText(json_, ScanDateText(span.first));
    WriteKey(json_, "\"last_date\"");
    WriteText(json_, ScanDateText(span.second));
    json_.EndObject();
  }
  json_.EndArray();
  flush();
}

template class JsonWriter<rapidjson::Writer<JsonOutputBuffer>>;
template class JsonWriter<rapidjson::PrettyWriter<JsonOutputBuffer>>;

std::unique_ptr<Writer> MakeJsonWriter(WriterTarget out, bool pretty, bool with_total) {
  if (pretty) return std::make_unique<PrettyJsonWriter>(out, with_total);
  return std::make_unique<CompactJsonWriter>(out, with_total);
}

void WriteScanList(std::ostream* out, bool pretty, const ArchiveSpans& archives) {
  if (pretty) {
    PrettyJsonWriter(out, false).writeScanList(archives);
  } else {
    CompactJsonWriter(out, false).writeScanList(archives);
  }
}

}  // namespace qorarc
