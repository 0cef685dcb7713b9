// The JSON writer: {"data":[{item},...]} through RapidJSON, compact or
// pretty-printed.
#pragma once

#include <cstdint>
#include <memory>
#include <ostream>
#include <string_view>

#include <rapidjson/prettywriter.h>
#include <rapidjson/writer.h>

#include "export/export_item.h"
#include "export/json_output_buffer.h"
#include "export/writer.h"

namespace qorarc {

class JsonWriter : public Writer {
 public:
  // pretty: one member or element per line, indented by 4 blanks per level.
  JsonWriter(std::ostream* out, bool pretty);
  ~JsonWriter() override;

  // {"data":[
  void beginDocument() override;
  // One object of the "data" array. Throws std::logic_error for a text value
  // of codes 17 to 30, which has no text; what was written before the throw
  // stays in the pending text, so flush() still delivers it.
  void writeItem(const ExportItem& item) override;
  // Closes the outermost object and flushes. The caller closes "data" with
  // endArray() first and may add members in between ("total_item_count").
  void endDocument() override;

  // Thin passes to the RapidJSON writer in use, for the callers that write
  // documents of their own shape (the scan listing, the item total).
  void startObject();
  void endObject();
  void startArray();
  void endArray();
  // Writes s up to its first NUL byte; serves keys and values alike.
  void writeString(std::string_view s);
  void writeInt(int32_t value);

 private:
  using CompactJson = rapidjson::Writer<JsonOutputBuffer>;
  using PrettyJson = rapidjson::PrettyWriter<JsonOutputBuffer>;

  JsonOutputBuffer buffer_;
  std::unique_ptr<CompactJson> compactJson_;  // null when pretty
  std::unique_ptr<PrettyJson> prettyJson_;    // null when compact
  bool pretty_;
};

}  // namespace qorarc
