#include "export/json_writer.h"

#include <stdexcept>

#include "export/text_format.h"

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

// The single string of a text value: the text of a string record. Codes 13
// to 30 (arrays of times and errors, the reserved codes) have no text: the
// export ends here, and the driver reports this message. Any other code
// that reaches here is a scalar without a text form.
template <typename Json>
void WriteTextValue(Json& json, const ItemValue& value) {
  if (value.code == 12) {
    WriteText(json, value.text);
  } else if (value.code >= 13 && value.code <= 30) {
    throw std::logic_error("basic_string: construction from null is not valid");
  } else {
    WriteText(json, "UNKNOWN ALARM!");
  }
}

template <typename Json>
void WriteValues(Json& json, const ItemValue& value, int32_t count) {
  switch (CategoryOf(value)) {
    case ValueCategory::kNone:
      break;
    case ValueCategory::kText:
      WriteTextValue(json, value);
      break;
    case ValueCategory::kFlags:
      for (int32_t i = 0; i < count; ++i) json.Bool(FlagElement(value, i));
      break;
    case ValueCategory::kInteger:
      for (int32_t i = 0; i < count; ++i) json.Int(IntegerElement(value, i));
      break;
    case ValueCategory::kReal:
      // RapidJSON refuses NaN and infinity after writing the separator, which
      // leaves an empty slot ("[1.0,,2.0]"); the export goes on.
      for (int32_t i = 0; i < count; ++i) json.Double(RealElement(value, i));
      break;
  }
}

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
  if (!item.className.empty()) {
    WriteKey(json, "\"class\"");
    WriteText(json, item.className);
  }
  if (!item.typeName.empty()) {
    WriteKey(json, "\"type\"");
    WriteText(json, item.typeName);
  }
  if (!item.level.empty()) {
    WriteKey(json, "\"level\"");
    WriteText(json, item.level);
  }
  if (item.valueCount > 0) {
    WriteKey(json, "\"values\"");
    json.StartArray();
    WriteValues(json, item.value, item.valueCount);
    json.EndArray();
  }

  json.EndObject();
}

}  // namespace

JsonWriter::JsonWriter(std::ostream* out, bool pretty)
    : Writer(out), buffer_{out, &pending_}, pretty_(pretty) {
  if (pretty) {
    prettyJson_ = std::make_unique<PrettyJson>(buffer_, nullptr, kLevelDepth);
    prettyJson_->SetIndent(' ', 4);
    prettyJson_->SetFormatOptions(rapidjson::kFormatDefault);
    prettyJson_->SetMaxDecimalPlaces(PrettyJson::kDefaultMaxDecimalPlaces);
  } else {
    compactJson_ = std::make_unique<CompactJson>(buffer_, nullptr, kLevelDepth);
    compactJson_->SetMaxDecimalPlaces(CompactJson::kDefaultMaxDecimalPlaces);
  }
}

JsonWriter::~JsonWriter() = default;

void JsonWriter::beginDocument() {
  startObject();
  writeString("data");
  startArray();
}

void JsonWriter::writeItem(const ExportItem& item) {
  if (pretty_) {
    WriteItemTo(*prettyJson_, item);
  } else {
    WriteItemTo(*compactJson_, item);
  }
}

void JsonWriter::endDocument() {
  endObject();
  flush();
}

void JsonWriter::startObject() {
  if (pretty_) {
    prettyJson_->StartObject();
  } else {
    compactJson_->StartObject();
  }
}

void JsonWriter::endObject() {
  if (pretty_) {
    prettyJson_->EndObject();
  } else {
    compactJson_->EndObject();
  }
}

void JsonWriter::startArray() {
  if (pretty_) {
    prettyJson_->StartArray();
  } else {
    compactJson_->StartArray();
  }
}

void JsonWriter::endArray() {
  if (pretty_) {
    prettyJson_->EndArray();
  } else {
    compactJson_->EndArray();
  }
}

void JsonWriter::writeString(std::string_view s) {
  if (pretty_) {
    WriteText(*prettyJson_, s);
  } else {
    WriteText(*compactJson_, s);
  }
}

void JsonWriter::writeInt(int32_t value) {
  if (pretty_) {
    prettyJson_->Int(value);
  } else {
    compactJson_->Int(value);
  }
}

}  // namespace qorarc
