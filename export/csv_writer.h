// The CSV writer: an optional header, then one line per item, cells joined by
// one delimiter character, never quoted.
#pragma once

#include <cstdint>
#include <ostream>
#include <string>
#include <vector>

#include "archive/item_filter.h"
#include "export/export_item.h"
#include "export/range_set.h"
#include "export/writer.h"

namespace qorarc {

// Values other than these act as kComma.
enum DelimiterKind : int32_t { kComma = 0, kSemicolon = 1, kSpace = 2, kTab = 3 };

// The character of a DelimiterKind.
char DelimiterChar(int32_t kind);

// Columns of a line: 0 date, 1 time, 2 class, 3 type, 4 level, 5 ID, then
// 6 + k for value element k, so lines of different items may differ in length.
class CsvWriter : public Writer {
 public:
  // header: written as given, followed by a line feed, unless empty.
  // column_filter: the columns to keep, in the numbering above; empty keeps
  // every column.
  CsvWriter(WriterTarget out, std::string header, std::vector<IdRange> column_filter,
            int32_t delimiter);

  void beginDocument() override;
  void writeItem(const ExportItem& item) override;
  // Flushes; a CSV text has nothing after its last line, and no total.
  void endDocument(int32_t total) override;
  // The header as given, without a line feed.
  void writeEmptyResult() override;

 private:
  std::string header_;
  bool filtered_;
  // The columns to keep: one bit for each column an item can have.
  RangeSet columns_;
  char delimiter_;
};

}  // namespace qorarc
