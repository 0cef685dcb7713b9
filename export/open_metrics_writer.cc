#include "export/open_metrics_writer.h"

#include <charconv>
#include <cmath>
#include <cstring>

#include "archive/archive_format.h"
#include "base/time_base.h"
#include "export/long_rows.h"
#include "export/real_text.h"
#include "export/utf8_text.h"

namespace qorarc {
namespace {

// "-9223372036854775808"
constexpr size_t kIntegerSize = 20;
// The time base, 2000-01-01, in milliseconds since 1970-01-01.
constexpr int64_t kUnixOffsetMillis =
    (kTimeBase - std::chrono::sys_days{}).count() * kNanosPerDay / 1'000'000;
// The bytes of a line around its archive, class and type labels: name,
// braces, the id and index labels, value, time stamp, separators.
constexpr size_t kLineFrame = 64 + 3 * kIntegerSize + kRealTextSize;
constexpr std::string_view kTypeLine = "# TYPE qorarc_value gauge\n";
constexpr std::string_view kEndLine = "# EOF\n";

// A label value: backslash, double quote and line feed escaped. Needs
// 2 * s.size() bytes.
char* PutLabelText(char* out, std::string_view s) {
  for (char c : s) {
    if (c == '\n') {
      *out++ = '\\';
      *out++ = 'n';
      continue;
    }
    if (c == '\\' || c == '"') *out++ = '\\';
    *out++ = c;
  }
  return out;
}

// `key="value",`, or nothing for an empty value. Needs 2 * value.size() +
// 16 bytes. The keys are plain words.
char* PutLabel(char* out, std::string_view key, std::string_view value) {
  if (value.empty()) return out;
  out = CopyText(out, key);
  *out++ = '=';
  *out++ = '"';
  out = PutLabelText(out, value);
  *out++ = '"';
  *out++ = ',';
  return out;
}

}  // namespace

OpenMetricsWriter::OpenMetricsWriter(WriterTarget out, std::string_view archive) : Writer(out) {
  pending_.flush_pieces = true;
  std::string repaired(kMaxRepairGrowth * archive.size(), '\0');
  repaired.resize(static_cast<size_t>(CopyValidUtf8(repaired.data(), archive) - repaired.data()));
  archive_label_.resize(2 * repaired.size() + 16);
  archive_label_.resize(static_cast<size_t>(
      PutLabel(archive_label_.data(), "archive", repaired) - archive_label_.data()));
}

void OpenMetricsWriter::beginDocument() {
  char* out = pending_.Reserve(kTypeLine.size());
  pending_.SetEnd(CopyText(out, kTypeLine));
}

void OpenMetricsWriter::writeItem(const ExportItem& item) {
  if (item.timestamp == 0) {
    pending_.ItemDone();
    return;
  }
  // The time stamp, the same on every line: seconds, the millisecond, and
  // half a millisecond.
  const int64_t millis = item.timestamp / 1'000'000 + kUnixOffsetMillis;
  char time_text[kIntegerSize + 8];
  char* t = std::to_chars(time_text, time_text + kIntegerSize, millis / 1000).ptr;
  const int64_t fraction = millis % 1000;
  *t++ = '.';
  *t++ = static_cast<char>('0' + fraction / 100);
  *t++ = static_cast<char>('0' + fraction / 10 % 10);
  *t++ = static_cast<char>('0' + fraction % 10);
  *t++ = '5';
  const std::string_view time(time_text, static_cast<size_t>(t - time_text));
  const size_t room =
      archive_label_.size() + 2 * (item.class_name.size() + item.type_name.size()) + kLineFrame;

  ExpandRows(item, ValueReading::kExact, [&](const LongRow& row) {
    if (row.cell != LongRow::Cell::kFlag && row.cell != LongRow::Cell::kInteger &&
        row.cell != LongRow::Cell::kReal)
      return;
    if (item.left_out != nullptr && item.left_out->Has(row.index)) return;
    char* out = pending_.Reserve(room);
    out = CopyText(out, "qorarc_value{");
    out = CopyText(out, archive_label_);
    if (item.id >= 0) {
      out = CopyText(out, "id=\"");
      out = std::to_chars(out, out + kIntegerSize, item.id).ptr;
      out = CopyText(out, "\",");
    }
    out = PutLabel(out, "class", item.class_name);
    out = PutLabel(out, "type", item.type_name);
    out = CopyText(out, "index=\"");
    out = std::to_chars(out, out + kIntegerSize, row.index).ptr;
    out = CopyText(out, "\"} ");
    switch (row.cell) {
      case LongRow::Cell::kFlag:
        *out++ = row.flag ? '1' : '0';
        break;
      case LongRow::Cell::kInteger:
        out = std::to_chars(out, out + kIntegerSize, row.integer).ptr;
        break;
      default:
        if (std::isnan(row.real)) {
          out = CopyText(out, "NaN");
        } else if (std::isinf(row.real)) {
          out = CopyText(out, row.real > 0 ? "+Inf" : "-Inf");
        } else {
          out += FormatReal(row.real, out);
        }
        break;
    }
    *out++ = ' ';
    out = CopyText(out, time);
    *out++ = '\n';
    pending_.SetEnd(out);
  });
  pending_.ItemDone();
}

void OpenMetricsWriter::endDocument(int32_t /*total*/) {
  char* out = pending_.Reserve(kEndLine.size());
  pending_.SetEnd(CopyText(out, kEndLine));
  flush();
}

void OpenMetricsWriter::writeEmptyResult() {
  beginDocument();
  endDocument(0);
}

size_t OpenMetricsWriter::lineBound() const { return 256 + archive_label_.size(); }

}  // namespace qorarc
