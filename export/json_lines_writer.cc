#include "export/json_lines_writer.h"

#include <array>
#include <charconv>
#include <cmath>
#include <cstring>
#include <string_view>

#include "archive/archive_format.h"
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
// "-2147483648"
constexpr size_t kIntegerSize = 11;

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

// `n` elements of a value without a JSON form, each null.
char* PutNulls(char* out, int32_t n) {
  for (int32_t i = 0; i < n; ++i) {
    if (i > 0) *out++ = ',';
    out = CopyText(out, "null");
  }
  return out;
}

char* PutValues(char* out, const ItemValue& value, int32_t count) {
  switch (CategoryOf(value.code)) {
    case ValueCategory::kNone:
      break;
    case ValueCategory::kText:
      if (value.code == kStringCode) return PutString(out, value.text);
      if (IsTextWithoutForm(value.code)) return PutNulls(out, count);
      return PutString(out, "UNKNOWN ALARM!");
    case ValueCategory::kFlags:
      for (int32_t i = 0; i < count; ++i) {
        if (i > 0) *out++ = ',';
        out = FlagElement(value, i) ? CopyText(out, "true") : CopyText(out, "false");
      }
      break;
    case ValueCategory::kInteger:
      for (int32_t i = 0; i < count; ++i) {
        if (i > 0) *out++ = ',';
        out = std::to_chars(out, out + kIntegerSize, IntegerElement(value, i)).ptr;
      }
      break;
    case ValueCategory::kReal:
      for (int32_t i = 0; i < count; ++i) {
        if (i > 0) *out++ = ',';
        const double real = RealElement(value, i);
        out = std::isfinite(real) ? out + FormatReal(real, out) : CopyText(out, "null");
      }
      break;
  }
  return out;
}

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

JsonLinesWriter::JsonLinesWriter(std::ostream* out) : Writer(out) {}

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
    out = PutValues(out, item.value, item.value_count);
    *out++ = ']';
  }
  *out++ = '}';
  *out++ = '\n';
  pending_.SetEnd(out);
  // Whole pieces go out with a stream flush, so that a reader of a pipe
  // gets the lines as they come.
  if (pending_.PieceReady()) flush();
}

void JsonLinesWriter::endDocument(int32_t /*total*/) { flush(); }

void JsonLinesWriter::WriteEmptyResult() { flush(); }

}  // namespace qorarc
