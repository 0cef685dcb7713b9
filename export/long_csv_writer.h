// The long CSV writer: a fixed header, then one row per value element,
// quoted as RFC 4180 asks, so that any CSV reader loads it:
//   ts,id,class,type,level,index,value,text
#pragma once

#include <cstdint>
#include <ostream>
#include <string>

#include "export/export_item.h"
#include "export/time_text.h"
#include "export/writer.h"

namespace qorarc {

class LongCsvWriter final : public Writer {
 public:
  // delimiter: a DelimiterKind (export/csv_writer.h).
  LongCsvWriter(WriterTarget out, int32_t delimiter);

  // The header line.
  void beginDocument() override;
  // The rows of one item: one per element of flags, integers or reals (the
  // element in "value"), one for a string record (its text in "text"), one
  // per element of a text array without a form (both empty), and one with
  // "index", "value" and "text" empty for any other item.
  void writeItem(const ExportItem& item) override;
  // Flushes; no total.
  void endDocument(int32_t total) override;
  // The header line alone.
  void writeEmptyResult() override;
  // The time stamp is formatted here, not taken from the date and time texts.
  bool showsDateTime() const override { return false; }

 private:
  void WriteHeader();

  char delimiter_;
  // Elements read exactly, as JSON Lines and Parquet read them: Words and
  // DWords unsigned, Large whole, the unnamed types as their integers.
  static constexpr ValueReading kReading = ValueReading::kExact;
  DateTextCache dates_;
  std::string text_;  // the repaired text of a string record
};

}  // namespace qorarc
