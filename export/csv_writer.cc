#include "export/csv_writer.h"

#include <charconv>
#include <cmath>
#include <string_view>
#include <utility>

#include "export/text_format.h"

namespace qorarc {
namespace {

// "-2147483648"
constexpr size_t kIdCellSize = 11;
// The longest cell that is not a text: a real, with room for a terminator
// from FormatReal. Integers, "on", "off", "nan" and "-inf" are shorter.
constexpr size_t kNumberCellSize = kRealTextSize + 1;

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

// The text of every value cell of a text value. Codes 13 to 30 (arrays of
// times and errors, the reserved codes) have no text: their cells stay empty
// and the export goes on. Any other code that reaches here is a scalar
// without a text form.
std::string_view ValueText(const ItemValue& value) {
  if (value.code == 12) return CutAtNul(value.text);
  if (value.code >= 13 && value.code <= 30) return {};
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
  char* out = pending.reserve(item.date.size() + item.time.size() + item.className.size() +
                              item.typeName.size() + item.level.size() + kIdCellSize + 5);
  out = CopyText(out, item.date);
  *out++ = delimiter;
  out = CopyText(out, item.time);
  *out++ = delimiter;
  out = CopyText(out, item.className);
  *out++ = delimiter;
  out = CopyText(out, item.typeName);
  *out++ = delimiter;
  out = CopyText(out, item.level);
  *out++ = delimiter;
  out = std::to_chars(out, out + kIdCellSize, item.id).ptr;
  pending.setEnd(out);

  const std::string_view valueText =
      category == ValueCategory::kText ? ValueText(item.value) : std::string_view();
  const size_t valueRoom = category == ValueCategory::kText ? valueText.size() : kNumberCellSize;
  for (int32_t k = 0; k < item.valueCount; ++k) {
    out = pending.reserve(1 + valueRoom);
    *out++ = delimiter;
    out = WriteValueCell(out, item.value, category, valueText, k);
    pending.setEnd(out);
  }
  out = pending.reserve(1);
  *out++ = '\n';
  pending.setEnd(out);
}

}  // namespace

CsvWriter::CsvWriter(std::ostream* out, std::string header,
                     std::vector<ColumnRange> columnFilter, int32_t delimiter)
    : Writer(out),
      header_(std::move(header)),
      columnFilter_(std::move(columnFilter)),
      delimiter_(DelimiterChar(delimiter)) {}

void CsvWriter::beginDocument() {
  if (header_.empty()) return;
  char* out = CopyText(pending_.reserve(header_.size() + 1), header_);
  *out++ = '\n';
  pending_.setEnd(out);
}

bool CsvWriter::selected(int64_t column) const {
  for (const ColumnRange& range : columnFilter_) {
    if (range.first <= column && column <= range.last) return true;
  }
  return false;
}

void CsvWriter::writeItem(const ExportItem& item) {
  const ValueCategory category = CategoryOf(item.value);
  if (columnFilter_.empty() && item.valueCount >= 0) {
    WriteWholeLine(pending_, delimiter_, item, category);
  } else {
    // Column by column, as the filter selects them.
    const std::string_view texts[5] = {item.date, item.time, item.className, item.typeName,
                                       item.level};
    const std::string_view valueText =
        category == ValueCategory::kText ? ValueText(item.value) : std::string_view();
    const size_t valueRoom =
        category == ValueCategory::kText ? valueText.size() : kNumberCellSize;
    const bool filtered = !columnFilter_.empty();
    // 64 bits: a value count near the 32-bit limit must not wrap.
    const int64_t last = int64_t{item.valueCount} + 5;

    bool first = true;
    for (int64_t column = 0; column <= last; ++column) {
      if (filtered && !selected(column)) continue;
      const size_t room =
          column < 5 ? texts[column].size() : column == 5 ? kIdCellSize : valueRoom;
      char* out = pending_.reserve(1 + room);
      if (!first) *out++ = delimiter_;
      first = false;
      if (column < 5) {
        out = CopyText(out, texts[column]);
      } else if (column == 5) {
        out = std::to_chars(out, out + kIdCellSize, item.id).ptr;
      } else {
        out = WriteValueCell(out, item.value, category, valueText, static_cast<int>(column - 6));
      }
      pending_.setEnd(out);
    }
    char* out = pending_.reserve(1);
    *out++ = '\n';
    pending_.setEnd(out);
  }
  // CSV pieces go out without a stream flush: the stream's own buffering
  // decides, and endDocument() flushes.
  if (pending_.pieceReady()) pending_.writeTo(out_);
}

void CsvWriter::endDocument() { flush(); }

}  // namespace qorarc
