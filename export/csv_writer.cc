#include "export/csv_writer.h"

#include <charconv>
#include <cmath>
#include <string_view>
#include <utility>

#include "archive/archive_format.h"
#include "export/real_text.h"

namespace qorarc {
namespace {

// "-2147483648"
constexpr size_t kIdCellSize = 11;
// The longest cell that is not a text: a real, with room for a terminator
// from FormatReal. Integers, "on", "off", "nan" and "-inf" are shorter.
constexpr size_t kNumberCellSize = kRealTextSize + 1;

// The columns an item can have: six, then one per element of an array of
// the most value bytes, bits.
constexpr int64_t kMaxColumns = 6 + int64_t{kMaxValueBytes} * 8;

// The text of every value cell of a text value. Codes 13 to 30 (arrays of
// times and errors, the reserved codes) have no text: their cells stay empty
// and the export goes on. Any other code that reaches here is a scalar
// without a text form.
std::string_view ValueText(const ItemValue& value) {
  if (value.code == kStringCode) return CutAtNul(value.text);
  if (IsTextWithoutForm(value.code)) return {};
  return "UNKNOWN ALARM!";
}

char* WriteReal(char* out, double value) {
  // FormatReal takes finite values only. These are the texts that
  // spreadsheets and data-frame readers take for the special floats.
  if (std::isnan(value)) return CopyText(out, "nan");
  if (std::isinf(value)) return CopyText(out, value < 0 ? "-inf" : "inf");
  return out + FormatReal(value, out);
}

char* WriteValueCell(char* out, const ItemValue& value, ValueCategory category,
                     std::string_view text, int k) {
  switch (category) {
    case ValueCategory::kFlags:
      return CopyText(out, FlagElement(value, k) ? "on" : "off");
    case ValueCategory::kInteger:
      return std::to_chars(out, out + kIdCellSize, IntegerElement(value, k)).ptr;
    case ValueCategory::kReal:
      return WriteReal(out, RealElement(value, k));
    case ValueCategory::kText:
      return CopyText(out, text);
    case ValueCategory::kNone:
      break;
  }
  return out;
}

// Writes every column of an item with a value count of 0 or more. The six
// columns before the values take one reservation together.
void WriteWholeLine(PendingText& pending, char delimiter, const ExportItem& item,
                    ValueCategory category) {
  char* out = pending.Reserve(item.date.size() + item.time.size() + item.class_name.size() +
                              item.type_name.size() + item.level.size() + kIdCellSize + 5);
  out = CopyText(out, item.date);
  *out++ = delimiter;
  out = CopyText(out, item.time);
  *out++ = delimiter;
  out = CopyText(out, item.class_name);
  *out++ = delimiter;
  out = CopyText(out, item.type_name);
  *out++ = delimiter;
  out = CopyText(out, item.level);
  *out++ = delimiter;
  out = std::to_chars(out, out + kIdCellSize, item.id).ptr;
  pending.SetEnd(out);

  const std::string_view value_text =
      category == ValueCategory::kText ? ValueText(item.value) : std::string_view();
  const size_t value_room = category == ValueCategory::kText ? value_text.size() : kNumberCellSize;
  for (int32_t k = 0; k < item.value_count; ++k) {
    out = pending.Reserve(1 + value_room);
    *out++ = delimiter;
    out = WriteValueCell(out, item.value, category, value_text, k);
    pending.SetEnd(out);
  }
  out = pending.Reserve(1);
  *out++ = '\n';
  pending.SetEnd(out);
}

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

CsvWriter::CsvWriter(std::ostream* out, std::string header, std::vector<IdRange> column_filter,
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
  const ValueCategory category = CategoryOf(item.value.code);
  if (!filtered_ && item.value_count >= 0) {
    WriteWholeLine(pending_, delimiter_, item, category);
  } else {
    // Column by column, as the filter selects them.
    const std::string_view texts[5] = {item.date, item.time, item.class_name, item.type_name,
                                       item.level};
    const std::string_view value_text =
        category == ValueCategory::kText ? ValueText(item.value) : std::string_view();
    const size_t value_room =
        category == ValueCategory::kText ? value_text.size() : kNumberCellSize;
    // 64 bits: a value count near the 32-bit limit must not wrap.
    const int64_t last = int64_t{item.value_count} + 5;

    bool first = true;
    for (int64_t column = 0; column <= last; ++column) {
      if (filtered_ && !columns_.Contains(column)) continue;
      const size_t room =
          column < 5 ? texts[column].size() : column == 5 ? kIdCellSize : value_room;
      char* out = pending_.Reserve(1 + room);
      if (!first) *out++ = delimiter_;
      first = false;
      if (column < 5) {
        out = CopyText(out, texts[column]);
      } else if (column == 5) {
        out = std::to_chars(out, out + kIdCellSize, item.id).ptr;
      } else {
        out = WriteValueCell(out, item.value, category, value_text, static_cast<int>(column - 6));
      }
      pending_.SetEnd(out);
    }
    char* out = pending_.Reserve(1);
    *out++ = '\n';
    pending_.SetEnd(out);
  }
  // CSV pieces go out without a stream flush: the stream's own buffering
  // decides, and endDocument() flushes.
  if (pending_.PieceReady()) pending_.WriteTo(out_);
}

void CsvWriter::endDocument(int32_t /*total*/) { flush(); }

void CsvWriter::WriteEmptyResult() {
  pending_.SetEnd(CopyText(pending_.Reserve(header_.size()), header_));
  flush();
}

}  // namespace qorarc
