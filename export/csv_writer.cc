#include "export/csv_writer.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <string_view>
#include <utility>

#include "archive/archive_format.h"
#include "export/cut_at_nul.h"
#include "export/real_text.h"

namespace qorarc {
namespace {

// "-2147483648"; a value cell's integer, shown, fits 32 bits too.
constexpr size_t kIdCellSize = 11;
// The longest cell that is not a text: a real, with room for a terminator
// from FormatReal. Integers, "on", "off", "nan" and "-inf" are shorter.
constexpr size_t kNumberCellSize = kRealTextSize + 1;

// The columns an item can have: six, then one per element of an array of
// the most value bytes, bits.
constexpr int64_t kMaxColumns = 6 + int64_t{kMaxValueBytes} * 8;

char* WriteReal(char* out, double value) {
  // FormatReal takes finite values only. These are the texts that
  // spreadsheets and data-frame readers take for the special floats.
  if (std::isnan(value)) return CopyText(out, "nan");
  if (std::isinf(value)) return CopyText(out, value < 0 ? "-inf" : "inf");
  return out + FormatReal(value, out);
}

// Writes the value cells of an item, columns 6 + k, as the element visitor
// hands over the elements; a value shows a cell per element, empty where
// the value has no element of that form (a Bool, a text array). `columns`
// null keeps every column.
struct ValueCells {
  PendingText& pending;
  char delimiter;
  const RangeSet* columns;
  bool first;
  int32_t count;     // the item's value count
  int32_t next = 0;  // the next value cell to write

  template <typename Put>
  void Cell(int32_t k, size_t room, Put put) {
    Fill(k);
    next = k + 1;
    if (columns != nullptr && !columns->Contains(int64_t{6} + k)) return;
    char* out = pending.Reserve(1 + room);
    if (!first) *out++ = delimiter;
    first = false;
    pending.SetEnd(put(out));
  }
  // Empty cells up to, not including, cell k.
  void Fill(int32_t k) {
    while (next < k) Cell(next, 0, [](char* out) { return out; });
  }

  void Flag(int k, bool f) {
    Cell(k, 3, [f](char* out) { return CopyText(out, f ? "on" : "off"); });
  }
  void Integer(int k, int64_t v) {
    Cell(k, kIdCellSize, [v](char* out) { return std::to_chars(out, out + kIdCellSize, v).ptr; });
  }
  void Real(int k, double v) {
    Cell(k, kNumberCellSize, [v](char* out) { return WriteReal(out, v); });
  }
  // A text shows in every value cell, whatever the count.
  void Text(std::string_view text) {
    text = CutAtNul(text);
    for (int32_t k = 0; k < count; ++k)
      Cell(k, text.size(), [text](char* out) { return CopyText(out, text); });
  }
  void Formless(int32_t count) { Fill(count); }
};

}  // namespace

char DelimiterChar(int32_t kind) {
  switch (kind) {
    case kSemicolon:
      return ';';
    case kSpace:
      return ' ';
    case kTab:
      return '\t';
    default:
      return ',';
  }
}

CsvWriter::CsvWriter(WriterTarget out, std::string header, std::vector<IdRange> column_filter,
                     int32_t delimiter)
    : Writer(out),
      header_(std::move(header)),
      filtered_(!column_filter.empty()),
      columns_(column_filter, kMaxColumns),
      delimiter_(DelimiterChar(delimiter)) {}

void CsvWriter::beginDocument() {
  if (header_.empty()) return;
  char* out = CopyText(pending_.Reserve(header_.size() + 1), header_);
  *out++ = '\n';
  pending_.SetEnd(out);
}

void CsvWriter::writeItem(const ExportItem& item) {
  bool first = true;
  if (!filtered_ && item.value_count >= 0) {
    // The six columns before the values take one reservation together.
    char* out = pending_.Reserve(item.date.size() + item.time.size() + item.class_name.size() +
                                 item.type_name.size() + item.level.size() + kIdCellSize + 5);
    for (std::string_view text :
         {item.date, item.time, item.class_name, item.type_name, item.level}) {
      out = CopyText(out, text);
      *out++ = delimiter_;
    }
    pending_.SetEnd(std::to_chars(out, out + kIdCellSize, item.id).ptr);
    first = false;
  } else {
    // Column by column, as the filter selects them.
    const std::string_view texts[5] = {item.date, item.time, item.class_name, item.type_name,
                                       item.level};
    // A negative count shortens the line from the end: columns 0 to count + 5.
    const int64_t last = std::min<int64_t>(5, int64_t{item.value_count} + 5);
    for (int64_t column = 0; column <= last; ++column) {
      if (filtered_ && !columns_.Contains(column)) continue;
      char* out = pending_.Reserve(1 + (column < 5 ? texts[column].size() : kIdCellSize));
      if (!first) *out++ = delimiter_;
      first = false;
      out = column < 5 ? CopyText(out, texts[column])
                       : std::to_chars(out, out + kIdCellSize, item.id).ptr;
      pending_.SetEnd(out);
    }
  }
  ValueCells cells{pending_, delimiter_, filtered_ ? &columns_ : nullptr, first,
                   item.value_count};
  VisitValue(item.value, item.value_count, ValueReading::kShown, cells);
  cells.Fill(item.value_count);
  char* out = pending_.Reserve(1);
  *out++ = '\n';
  pending_.SetEnd(out);
  // CSV pieces go out without a stream flush: the stream's own buffering
  // decides, and endDocument() flushes.
  pending_.ItemDone();
}

void CsvWriter::endDocument(int32_t /*total*/) { flush(); }

void CsvWriter::writeEmptyResult() {
  pending_.SetEnd(CopyText(pending_.Reserve(header_.size()), header_));
  flush();
}

}  // namespace qorarc
