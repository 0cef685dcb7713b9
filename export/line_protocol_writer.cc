#include "export/line_protocol_writer.h"

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
// The time base, 2000-01-01, in nanoseconds since 1970-01-01.
constexpr int64_t kUnixOffset =
    (kTimeBase - std::chrono::sys_days{}).count() * kNanosPerDay;
// The bytes of a line around its tags and text: measurement, index tag,
// field, time stamp, separators.
constexpr size_t kLineFrame = 64 + 2 * kIntegerSize + kRealTextSize;

// A tag value, with comma, equals sign and blank escaped by a backslash,
// a carriage return or line feed (which would end the line) written as an
// escaped blank, and a backslash at its end doubled, lest it escape what
// follows (the server reads it back as two). Needs 2 * s.size() bytes.
char* PutTagText(char* out, std::string_view s) {
  for (char c : s) {
    if (c == '\n' || c == '\r') c = ' ';
    if (c == ',' || c == '=' || c == ' ') *out++ = '\\';
    *out++ = c;
  }
  if (!s.empty() && s.back() == '\\') *out++ = '\\';
  return out;
}

// ",key=value", or nothing for an empty value. Needs 2 * value.size() + 16.
// The keys are plain words.
char* PutTag(char* out, std::string_view key, std::string_view value) {
  if (value.empty()) return out;
  *out++ = ',';
  out = CopyText(out, key);
  *out++ = '=';
  return PutTagText(out, value);
}

// A string field's value in quotes: quote and backslash escaped, carriage
// return and line feed (which would end the line) written as blanks.
// Needs 2 * s.size() + 2 bytes.
char* PutStringField(char* out, std::string_view s) {
  *out++ = '"';
  for (char c : s) {
    if (c == '\n' || c == '\r') c = ' ';
    if (c == '"' || c == '\\') *out++ = '\\';
    *out++ = c;
  }
  *out++ = '"';
  return out;
}

}  // namespace

LineProtocolWriter::LineProtocolWriter(WriterTarget out, std::string_view archive)
    : Writer(out) {
  pending_.flush_pieces = true;
  archive_tag_.resize(2 * archive.size() + 16);
  archive_tag_.resize(
      static_cast<size_t>(PutTag(archive_tag_.data(), "archive", archive) - archive_tag_.data()));
}

void LineProtocolWriter::beginDocument() {}

void LineProtocolWriter::writeItem(const ExportItem& item) {
  if (item.timestamp == 0) {
    pending_.ItemDone();
    return;
  }
  // The measurement and the tags before "index", the same on every line:
  // written once, then copied.
  char id_text[kIntegerSize];
  const std::string_view id =
      item.id >= 0 ? std::string_view(id_text, static_cast<size_t>(
                                                    std::to_chars(id_text, id_text + kIntegerSize,
                                                                  item.id).ptr - id_text))
                   : std::string_view();
  const size_t prefix_room =
      32 + archive_tag_.size() + 2 * item.class_name.size() + kIntegerSize;
  char* out = pending_.Reserve(prefix_room);
  const size_t prefix_start = pending_.size;
  out = CopyText(out, "qorarc");
  out = CopyText(out, archive_tag_);
  out = PutTag(out, "class", item.class_name);
  out = PutTag(out, "id", id);
  pending_.SetEnd(out);
  const size_t prefix_size = pending_.size - prefix_start;
  // The tags after "index" and the time stamp, the same on every line.
  char time_text[kIntegerSize];
  const size_t time_size = static_cast<size_t>(
      std::to_chars(time_text, time_text + kIntegerSize, item.timestamp + kUnixOffset).ptr -
      time_text);
  const size_t suffix_room = 32 + 2 * (item.level.size() + item.type_name.size());

  bool first = true;
  ExpandRows(item, kReading, [&](const LongRow& row) {
    if (row.cell == LongRow::Cell::kReal && !std::isfinite(row.real)) return;
    std::string_view text;
    if (row.cell == LongRow::Cell::kText) text = ShownText(row.text, &text_);
    char* out = pending_.Reserve(prefix_size + suffix_room + kLineFrame + 2 * text.size());
    if (!first) {
      // Reserve() may have moved the text: the prefix is found by its offset.
      std::memcpy(out, pending_.data.get() + prefix_start, prefix_size);
      out += prefix_size;
    }
    first = false;
    if (row.index >= 0) {
      out = CopyText(out, ",index=");
      out = std::to_chars(out, out + kIntegerSize, row.index).ptr;
    }
    out = PutTag(out, "level", item.level);
    out = PutTag(out, "type", item.type_name);
    switch (row.cell) {
      case LongRow::Cell::kFlag:
        out = CopyText(out, row.flag ? " flag=true" : " flag=false");
        break;
      case LongRow::Cell::kInteger:
        out = CopyText(out, " integer=");
        out = std::to_chars(out, out + kIntegerSize, row.integer).ptr;
        *out++ = 'i';
        break;
      case LongRow::Cell::kReal:
        out = CopyText(out, " real=");
        out += FormatReal(row.real, out);
        break;
      case LongRow::Cell::kText:
        out = CopyText(out, " text=");
        out = PutStringField(out, text);
        break;
      case LongRow::Cell::kEmpty:
        out = CopyText(out, " novalue=true");
        break;
    }
    *out++ = ' ';
    out = CopyText(out, std::string_view(time_text, time_size));
    *out++ = '\n';
    pending_.SetEnd(out);
  });
  // Every row left out: the prefix goes too.
  if (first) pending_.SetEnd(reinterpret_cast<const char*>(pending_.data.get()) + prefix_start);
  pending_.ItemDone();
}

void LineProtocolWriter::endDocument(int32_t /*total*/) { flush(); }

void LineProtocolWriter::writeEmptyResult() { flush(); }

size_t LineProtocolWriter::lineBound() const { return 256 + archive_tag_.size(); }

}  // namespace qorarc
