#include "export/long_csv_writer.h"

#include <charconv>
#include <cmath>
#include <cstring>
#include <string_view>

#include "archive/archive_format.h"
#include "export/csv_writer.h"
#include "export/long_rows.h"
#include "export/real_text.h"
#include "export/utf8_text.h"

namespace qorarc {
namespace {

// "-9223372036854775808"
constexpr size_t kIntegerSize = 20;
// The longest value cell: a real (FormatReal may write a terminator).
constexpr size_t kValueSize = kRealTextSize + 1;

bool NeedsQuotes(std::string_view s, char delimiter) {
  for (char c : s)
    if (c == delimiter || c == '"' || c == '\n' || c == '\r') return true;
  return false;
}

// A cell, quoted when it holds the delimiter, a quote or a line break, with
// its quotes doubled. Needs 2 * s.size() + 2 bytes.
char* PutCell(char* out, std::string_view s, char delimiter) {
  if (!NeedsQuotes(s, delimiter)) return CopyText(out, s);
  *out++ = '"';
  for (char c : s) {
    if (c == '"') *out++ = '"';
    *out++ = c;
  }
  *out++ = '"';
  return out;
}

char* PutReal(char* out, double value) {
  // The texts that CSV readers (Python's float(), pandas, spreadsheets)
  // take for the special values.
  if (std::isnan(value)) return CopyText(out, "NaN");
  if (std::isinf(value)) return CopyText(out, value < 0 ? "-Infinity" : "Infinity");
  return out + FormatReal(value, out);
}

}  // namespace

LongCsvWriter::LongCsvWriter(WriterTarget out, int32_t delimiter)
    : Writer(out), delimiter_(DelimiterChar(delimiter)) {}

void LongCsvWriter::WriteHeader() {
  constexpr std::string_view kNames[] = {"ts",    "id",    "class", "type",
                                         "level", "index", "value", "text"};
  char* out = pending_.Reserve(64);
  for (std::string_view name : kNames) {
    if (name != kNames[0]) *out++ = delimiter_;
    out = CopyText(out, name);
  }
  *out++ = '\n';
  pending_.SetEnd(out);
}

void LongCsvWriter::beginDocument() { WriteHeader(); }

void LongCsvWriter::writeItem(const ExportItem& item) {
  // The five cells before the index, the same on every row: written once,
  // then copied.
  const size_t prefix_room = kUtcTextSize + kIntegerSize + 5 +
                             2 * (item.class_name.size() + item.type_name.size() +
                                  item.level.size()) + 6;
  char* out = pending_.Reserve(prefix_room);
  const size_t prefix_start = pending_.size;
  if (item.timestamp != 0) out += FormatUtcTimestamp(item.timestamp, &dates_, out);
  *out++ = delimiter_;
  if (item.id >= 0) out = std::to_chars(out, out + kIntegerSize, item.id).ptr;
  *out++ = delimiter_;
  out = PutCell(out, item.class_name, delimiter_);
  *out++ = delimiter_;
  out = PutCell(out, item.type_name, delimiter_);
  *out++ = delimiter_;
  out = PutCell(out, item.level, delimiter_);
  *out++ = delimiter_;
  pending_.SetEnd(out);
  const size_t prefix_size = pending_.size - prefix_start;

  bool first = true;
  ExpandRows(item, kReading, [&](const LongRow& row) {
    std::string_view text;
    if (row.cell == LongRow::Cell::kText) text = ShownText(row.text, &text_);
    char* out = pending_.Reserve(prefix_size + kIntegerSize + kValueSize + 2 * text.size() + 5);
    if (!first) {
      // Reserve() may have moved the text: the prefix is found by its offset.
      std::memcpy(out, pending_.data.get() + prefix_start, prefix_size);
      out += prefix_size;
    }
    first = false;
    if (row.index >= 0) out = std::to_chars(out, out + kIntegerSize, row.index).ptr;
    *out++ = delimiter_;
    switch (row.cell) {
      case LongRow::Cell::kFlag:
        *out++ = row.flag ? '1' : '0';
        break;
      case LongRow::Cell::kInteger:
        out = std::to_chars(out, out + kIntegerSize, row.integer).ptr;
        break;
      case LongRow::Cell::kReal:
        out = PutReal(out, row.real);
        break;
      default:
        break;
    }
    *out++ = delimiter_;
    out = PutCell(out, text, delimiter_);
    *out++ = '\n';
    pending_.SetEnd(out);
  });
  pending_.ItemDone();
}

void LongCsvWriter::endDocument(int32_t /*total*/) { flush(); }

void LongCsvWriter::writeEmptyResult() {
  WriteHeader();
  flush();
}

}  // namespace qorarc
