#include "export/json_lines_writer.h"

#include <array>
#include <charconv>
#include <cmath>
#include <cstring>
#include <string_view>

#include "archive/archive_format.h"
#include "export/cut_at_nul.h"
#include "export/real_text.h"
#include "export/utf8_text.h"

namespace qorarc {
namespace {

// Written by hand rather than through RapidJSON: its writer neither replaces
// bytes that are not UTF-8 nor writes null for NaN, and it flushes the
// stream at the end of every top-level value, which here is every line.

// The most bytes a text byte takes escaped ("\u001F") or replaced (U+FFFD).
constexpr size_t kMaxEscapedByte = 6;
// The most bytes of one value element: a real and its comma.
constexpr size_t kMaxElementSize = kRealTextSize + 1;
// "-9223372036854775808"
constexpr size_t kIntegerSize = 20;

// What each byte becomes in a JSON string: 0 as it is, 1 a two-character
// escape, 2 a \u00XX escape, 3 the start of a multi-byte sequence (or a bad
// byte).
constexpr std::array<uint8_t, 256> kByteClass = [] {
  std::array<uint8_t, 256> table{};
  for (int c = 0; c < 0x20; ++c) table[c] = 2;
  for (int c : {'\b', '\t', '\n', '\f', '\r', '"', '\\'}) table[c] = 1;
  for (int c = 0x80; c < 0x100; ++c) table[c] = 3;
  return table;
}();

char ShortEscape(unsigned char c) {
  switch (c) {
    case '\b':
      return 'b';
    case '\t':
      return 't';
    case '\n':
      return 'n';
    case '\f':
      return 'f';
    case '\r':
      return 'r';
    default:
      return static_cast<char>(c);  // '"' and '\\'
  }
}

// s as a JSON string, quotes included, cut at its first NUL byte; control
// characters escaped as the JSON document escapes them, bytes outside
// well-formed UTF-8 replaced by U+FFFD. Needs kMaxEscapedByte * s.size() + 2
// bytes.
char* PutString(char* out, std::string_view s) {
  s = CutAtNul(s);
  *out++ = '"';
  const auto* p = reinterpret_cast<const unsigned char*>(s.data());
  const unsigned char* const end = p + s.size();
  while (p < end) {
    const unsigned char c = *p;
    switch (kByteClass[c]) {
      case 0:
        *out++ = static_cast<char>(c);
        ++p;
        break;
      case 1:
        *out++ = '\\';
        *out++ = ShortEscape(c);
        ++p;
        break;
      case 2:
        std::memcpy(out, "\\u00", 4);
        out[4] = "0123456789ABCDEF"[c >> 4];
        out[5] = "0123456789ABCDEF"[c & 0xF];
        out += 6;
        ++p;
        break;
      default:
        CopyUtf8Sequence(&p, end, &out);
    }
  }
  *out++ = '"';
  return out;
}

// The elements of a value as JSON values: null for those without a JSON
// form (NaN, infinities, text arrays).
struct LineValues {
  char* out;

  void Separate(int i) {
    if (i > 0) *out++ = ',';
  }
  void Flag(int i, bool f) {
    Separate(i);
    out = CopyText(out, f ? "true" : "false");
  }
  void Integer(int i, int64_t v) {
    Separate(i);
    out = std::to_chars(out, out + kIntegerSize, v).ptr;
  }
  void Real(int i, double v) {
    Separate(i);
    out = std::isfinite(v) ? out + FormatReal(v, out) : CopyText(out, "null");
  }
  void Text(std::string_view text) { out = PutString(out, text); }
  void Formless(int32_t count) {
    for (int32_t i = 0; i < count; ++i) {
      Separate(i);
      out = CopyText(out, "null");
    }
  }
};

// An upper bound of the bytes of an item's line.
size_t LineRoom(const ExportItem& item) {
  size_t room = 64 + kUtcTextSize + kIntegerSize;  // keys, quotes, commas, braces
  room += kMaxEscapedByte * (item.class_name.size() + item.type_name.size() + item.level.size());
  if (item.value_count > 0) {
    room += static_cast<size_t>(item.value_count) * kMaxElementSize;
    if (item.value.code == kStringCode) room += kMaxEscapedByte * item.value.text.size();
  }
  return room;
}

}  // namespace

JsonLinesWriter::JsonLinesWriter(WriterTarget out) : Writer(out) {
  // Whole pieces go out with a stream flush, so that a reader of a pipe
  // gets the lines as they come.
  pending_.flush_pieces = true;
}

void JsonLinesWriter::beginDocument() {}

void JsonLinesWriter::writeItem(const ExportItem& item) {
  char* out = pending_.Reserve(LineRoom(item));
  if (item.timestamp == 0) {
    out = CopyText(out, "{\"ts\":null");
  } else {
    out = CopyText(out, "{\"ts\":\"");
    out += FormatUtcTimestamp(item.timestamp, &dates_, out);
    *out++ = '"';
  }
  if (item.id >= 0) {
    out = CopyText(out, ",\"id\":");
    out = std::to_chars(out, out + kIntegerSize, item.id).ptr;
  }
  if (!item.class_name.empty()) {
    out = CopyText(out, ",\"class\":");
    out = PutString(out, item.class_name);
  }
  if (!item.type_name.empty()) {
    out = CopyText(out, ",\"type\":");
    out = PutString(out, item.type_name);
  }
  if (!item.level.empty()) {
    out = CopyText(out, ",\"level\":");
    out = PutString(out, item.level);
  }
  if (item.value_count > 0) {
    out = CopyText(out, ",\"values\":[");
    LineValues values{out};
    VisitValue(item.value, item.value_count, kReading, values);
    out = values.out;
    *out++ = ']';
  }
  *out++ = '}';
  *out++ = '\n';
  pending_.SetEnd(out);
  pending_.ItemDone();
}

void JsonLinesWriter::endDocument(int32_t /*total*/) { flush(); }

void JsonLinesWriter::writeEmptyResult() { flush(); }

}  // namespace qorarc
