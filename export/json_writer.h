// The JSON writer: {"data":[{item},...]} through RapidJSON, compact or
// pretty-printed, and the scan listing. Compact and pretty are the same
// writer over RapidJSON's Writer or PrettyWriter, chosen once.
#pragma once

#include <cstdint>
#include <memory>
#include <ostream>
#include <string_view>

#include <rapidjson/prettywriter.h>
#include <rapidjson/writer.h>

#include "archive/discovery.h"
#include "export/export_item.h"
#include "export/json_output_buffer.h"
#include "export/writer.h"

namespace qorarc {

// Json: rapidjson::Writer or rapidjson::PrettyWriter (one member or element
// per line, indented by 4 blanks per level) over a JsonOutputBuffer.
template <typename Json>
class JsonWriter final : public Writer {
 public:
  // with_total: endDocument() adds "total_item_count".
  JsonWriter(WriterTarget out, bool with_total);
  ~JsonWriter() override;

  // {"data":[
  void beginDocument() override;
  // One object of the "data" array; the elements of a value without a form
  // (codes 25 and 27) are null.
  void writeItem(const ExportItem& item) override;
  // ] and, when asked for, "total_item_count"; then } and flush().
  void endDocument(int32_t total) override;
  // {"data": []} and a line feed.
  void writeEmptyResult() override;

  // The scan listing: an array of {"name", "first_date", "last_date"}.
  void writeScanList(const ArchiveSpans& archives);

 private:
  JsonOutputBuffer buffer_;
  Json json_;
  bool with_total_;
};

using CompactJsonWriter = JsonWriter<rapidjson::Writer<JsonOutputBuffer>>;
using PrettyJsonWriter = JsonWriter<rapidjson::PrettyWriter<JsonOutputBuffer>>;

std::unique_ptr<Writer> MakeJsonWriter(WriterTarget out, bool pretty, bool with_total);

// Writes the scan listing of `archives` to `*out` and flushes it.
void WriteScanList(std::ostream* out, bool pretty, const ArchiveSpans& archives);

extern template class JsonWriter<rapidjson::Writer<JsonOutputBuffer>>;
extern template class JsonWriter<rapidjson::PrettyWriter<JsonOutputBuffer>>;

}  // namespace qorarc
