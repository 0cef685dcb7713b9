#include "archive/record_decoder.h"

#include <cstring>

#include "base/result_codes.h"

namespace qorarc {
namespace {

// Copies `n` big-endian elements of type T from `src` to `dst` in host order.
template <typename T>
void LoadElements(const uint8_t* src, size_t n, uint8_t* dst) {
  for (size_t i = 0; i < n; ++i) {
    const T v = LoadBigEndian<T>(src + sizeof(T) * i);
    std::memcpy(dst + sizeof(T) * i, &v, sizeof v);
  }
}

DecodeResult Bad(const uint8_t* data, size_t size, uint16_t day, ArchiveItem* item) {
  MarkBadRecord(data, size, day, item);
  return {RecordStatus::kBad, 0};
}

// The length of a string record, or the status that ends the file when the
// string is too long for the format.
DecodeResult StringRecordLength(const uint8_t* data, size_t size, uint16_t day,
                                ArchiveItem* item) {
  const int32_t full_length =
      int32_t{kStringHeaderBytes} + LoadBigEndian<uint16_t>(data + kStringLengthOffset);
  if (full_length <= int32_t{kMaxRecordBytes})
    return {RecordStatus::kItem, static_cast<size_t>(full_length)};
  // The runtime keeps the record length in a signed 16-bit result, where an
  // overlong string wraps. A wrapped length that reads as a warning ends the
  // file quietly; -606 is the runtime's own "bad record" code; anything
  // else, a length that wraps to zero or more included, is a read error.
  const auto wrapped = static_cast<int16_t>(full_length);
  if (wrapped >= 0) return {RecordStatus::kReadError, 0};
  if (IsWarning(wrapped)) return {RecordStatus::kQuietEnd, 0};
  if (wrapped == -606) return Bad(data, size, day, item);
  return {RecordStatus::kReadError, 0};
}

}  // namespace

// The item is "cleared" per record without writing all 512 value bytes:
// every record sets the header fields and the text, and the first 8 value
// bytes are zeroed before the value is stored, so a scalar, an alarm word or
// a string length reads with zeros above it. An array writes exactly its
// count elements; bytes past them keep what an earlier record left, and are
// never read, since readers take at most `count` elements. That keeps the
// per-record cost to the size of the record instead of 512 bytes.
DecodeResult DecodeRecord(const uint8_t* data, size_t size, uint16_t* day, ArchiveItem* item) {
  if (size == 0 || data[0] == kEndMark) return {RecordStatus::kEnd, 0};
  if (size < kDayMarkerBytes) return {RecordStatus::kTruncated, 0};

  const auto high = LoadBigEndian<uint16_t>(data + kTimeHighOffset);
  const auto low = LoadBigEndian<uint32_t>(data + kTimeLowOffset);
  if (high & 0x8000) {
    // The tag and the day of a day marker are the same bytes as the time.
    if (high != kDayMarkerTag || low > kMaxDayNumber) return Bad(data, size, *day, item);
    *day = static_cast<uint16_t>(low);
    return {RecordStatus::kDayMarker, kDayMarkerBytes};
  }

  // Every item record has at least the time, type and count bytes.
  if (size < kSystemRecordBytes) return {RecordStatus::kTruncated, 0};
  const uint8_t type = data[kTypeOffset];
  const uint8_t count = data[kCountOffset];
  const int code = type & 0x1F;

  // The record length first: nothing in `item` changes for a record that
  // is not whole yet.
  size_t length = 0;
  size_t value_bytes = ElementSize(code);
  switch (ShapeOf(code)) {
    case ValueShape::kInvalid:
      return Bad(data, size, *day, item);
    case ValueShape::kNone:
      length = code == kSystemCode ? kSystemRecordBytes : kItemHeaderBytes;
      break;
    case ValueShape::kScalar:
      length = kItemHeaderBytes + value_bytes;
      break;
    case ValueShape::kString: {
      if (size < kStringHeaderBytes) return {RecordStatus::kTruncated, 0};
      const DecodeResult result = StringRecordLength(data, size, *day, item);
      if (result.status != RecordStatus::kItem) return result;
      length = result.length;
      break;
    }
    case ValueShape::kArray: {
      value_bytes = ArrayValueBytes(code, count);
      // Checked as the runtime does it, on a signed 16-bit record length.
      const auto record_length = static_cast<int16_t>(kItemHeaderBytes + value_bytes);
      if (record_length > int16_t{kItemHeaderBytes + kMaxValueBytes})
        return Bad(data, size, *day, item);
      length = kItemHeaderBytes + value_bytes;
      break;
    }
  }
  if (size < length) return {RecordStatus::kTruncated, 0};

  item->time_high = high;
  item->time_low = low;
  item->type = type;
  item->count = count;
  item->id = code == kSystemCode ? 0 : LoadBigEndian<uint16_t>(data + kIdOffset);
  item->day = *day;
  item->text.clear();
  std::memset(item->value, 0, 8);

  const uint8_t* value = data + kValueOffset;
  const size_t elements = ShapeOf(code) == ValueShape::kArray ? count : 1;
  if (code == kStringCode) {
    // The value keeps the length of the zero-terminated copy, L + 1.
    const auto text_length = static_cast<uint32_t>(length - kStringHeaderBytes);
    const uint32_t stored_length = text_length + 1;
    std::memcpy(item->value, &stored_length, sizeof stored_length);
    item->text.assign(reinterpret_cast<const char*>(data + kStringTextOffset), text_length);
  } else if (KeepsStoredOrder(code) || value_bytes == 1) {
    std::memcpy(item->value, value, value_bytes);
  } else if (value_bytes != 0) {
    switch (ElementSize(code)) {
      case 2:
        LoadElements<uint16_t>(value, elements, item->value);
        break;
      case 4:
        LoadElements<uint32_t>(value, elements, item->value);
        break;
      default:
        LoadElements<uint64_t>(value, elements, item->value);
        break;
    }
  }
  return {RecordStatus::kItem, length};
}

void MarkBadRecord(const uint8_t* data, size_t size, uint16_t day, ArchiveItem* item) {
  // A record cut short may have fewer than six bytes; the missing ones read
  // as zero.
  uint8_t head[kDayMarkerBytes] = {};
  if (size > 0) std::memcpy(head, data, size < sizeof head ? size : sizeof head);
  item->time_high = LoadBigEndian<uint16_t>(head + kTimeHighOffset);
  item->time_low = LoadBigEndian<uint32_t>(head + kTimeLowOffset);
  item->type = kBadRecordType;
  item->count = kBadRecordCount;
  item->id = 0;
  // Once per file at most, so the whole value is cleared.
  std::memset(item->value, 0, sizeof item->value);
  item->text.clear();
  item->day = day;
}

}  // namespace qorarc
