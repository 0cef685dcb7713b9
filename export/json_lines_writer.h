// The JSON Lines writer: one JSON object per item, each on a line of its
// own, no document around them. The objects are those of the JSON document
// with the time stamp in full ("2019-12-31T23:59:59.999999600Z", null for
// none), null for every value without a JSON form, and valid UTF-8 only.
#pragma once

#include <cstdint>
#include <ostream>

#include "export/export_item.h"
#include "export/time_text.h"
#include "export/writer.h"

namespace qorarc {

class JsonLinesWriter final : public Writer {
 public:
  explicit JsonLinesWriter(WriterTarget out);

  // Nothing precedes the first line.
  void beginDocument() override;
  // One line: {"ts":...,"id":...,"class":...,"type":...,"level":...,
  // "values":[...]} and a line feed, members present as in the JSON document.
  void writeItem(const ExportItem& item) override;
  // Flushes; no total.
  void endDocument(int32_t total) override;
  // Writes nothing: no items, no lines.
  void writeEmptyResult() override;
  // The time stamp is formatted here, not taken from the date and time texts.
  bool showsDateTime() const override { return false; }

 private:
  // Elements read exactly, as long CSV and Parquet read them: Words and
  // DWords unsigned, Large whole, the unnamed types as their integers.
  static constexpr ValueReading kReading = ValueReading::kExact;
  DateTextCache dates_;
};

}  // namespace qorarc
