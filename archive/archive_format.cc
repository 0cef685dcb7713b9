#include "archive/archive_format.h"

#include <bit>
#include <cstring>

namespace qorarc {

namespace {

// Big-endian loads through memcpy: records start at any byte offset, so the
// bytes are never read through a cast pointer.
uint16_t Load16(const uint8_t* p) {
  uint16_t v;
  std::memcpy(&v, p, sizeof v);
  if constexpr (std::endian::native == std::endian::little)
    v = __builtin_bswap16(v);
  return v;
}

uint32_t Load32(const uint8_t* p) {
  uint32_t v;
  std::memcpy(&v, p, sizeof v);
  if constexpr (std::endian::native == std::endian::little)
    v = __builtin_bswap32(v);
  return v;
}

uint64_t Load64(const uint8_t* p) {
  uint64_t v;
  std::memcpy(&v, p, sizeof v);
  if constexpr (std::endian::native == std::endian::little)
    v = __builtin_bswap64(v);
  return v;
}

// Copies `n` big-endian elements of type T from `src` to `dst` in host order.
template <typename T>
void LoadElements(const uint8_t* src, size_t n, uint8_t* dst) {
  for (size_t i = 0; i < n; ++i) {
    T v;
    if constexpr (sizeof(T) == 2) v = Load16(src + 2 * i);
    if constexpr (sizeof(T) == 4) v = Load32(src + 4 * i);
    if constexpr (sizeof(T) == 8) v = Load64(src + 8 * i);
    std::memcpy(dst + sizeof(T) * i, &v, sizeof v);
  }
}

// Value bytes of one element of the array codes 18-27, indexed by code - 16.
constexpr uint8_t kElementSize[12] = {0, 0, 1, 2, 4, 2, 4, 4, 8, 8, 8, 2};

constexpr size_t kDayMarkerBytes = 6;
constexpr size_t kSystemRecordBytes = 8;
constexpr size_t kItemHeaderBytes = 10;    // time, type, count, ID
constexpr size_t kStringHeaderBytes = 12;  // item header and the u16 length

DecodeResult Bad(const uint8_t* data, size_t size, uint16_t day,
                 ArchiveItem& item) {
  MarkBadRecord(data, size, day, item);
  return {RecordStatus::kBad, 0};
}

}  // namespace

// Record lengths of the codes whose length is fixed; 0 for the string, the
// arrays and the invalid codes.
// clang-format off
constexpr uint8_t kFixedLength[32] = {
    8,  10, 11, 12, 14, 12, 14, 14, 18, 18, 18, 12, 0, 0, 0, 0,
    0,  0,  0,  0,  0,  0,  0,  0,  0,  0,  0,  0,  0, 0, 0, 14};
// clang-format on

// The item is "cleared" per record without writing all 512 value bytes:
// every record sets the header fields and the text, and the first 8 value
// bytes are zeroed before the value is stored, so a scalar, an alarm word or
// a string length reads with zeros above it. An array writes exactly its
// count elements; bytes past them keep what an earlier record left, and are
// never read, since readers take at most `count` elements. That keeps the
// per-record cost to the size of the record instead of 512 bytes.
DecodeResult DecodeRecord(const uint8_t* data, size_t size, uint16_t& day,
                          ArchiveItem& item) {
  if (size == 0 || data[0] == kEndMark) return {RecordStatus::kEnd, 0};
  if (size < kDayMarkerBytes) return {RecordStatus::kTruncated, 0};

  const uint16_t high = Load16(data);
  const uint32_t low = Load32(data + 2);
  if (high & 0x8000) {
    if (high != kDayMarkerTag || low > kMaxDayNumber) {
      return Bad(data, size, day, item);
    }
    day = static_cast<uint16_t>(low);
    return {RecordStatus::kDayMarker, kDayMarkerBytes};
  }

  // Every item record has at least the time, type and count bytes.
  if (size < kSystemRecordBytes) return {RecordStatus::kTruncated, 0};
  const uint8_t type = data[6];
  const uint8_t count = data[7];
  const int code = type & 0x1F;

  // The record length first: nothing in `item` changes for a record that
  // is not whole yet.
  size_t length = kFixedLength[code];
  size_t value_bytes = 0;
  if (code == 12) {
    if (size < kStringHeaderBytes) return {RecordStatus::kTruncated, 0};
    const int32_t full_length = int32_t{kStringHeaderBytes} + Load16(data + 10);
    if (full_length > 32767) {
      // The runtime keeps the record length in a signed 16-bit result, where
      // an overlong string wraps. A wrapped length that reads as a warning
      // code ends the file quietly; -606 is the runtime's own "bad record"
      // code; anything else, a length that wraps to zero or more included,
      // is a read error.
      const auto wrapped = static_cast<int16_t>(full_length);
      if (wrapped >= 0) return {RecordStatus::kReadError, 0};
      if (static_cast<int16_t>(wrapped | 0x4000) > -100) {
        return {RecordStatus::kQuietEnd, 0};
      }
      if (wrapped == -606) return Bad(data, size, day, item);
      return {RecordStatus::kReadError, 0};
    }
    length = static_cast<size_t>(full_length);
  } else if (code >= 17 && code <= 27) {
    if (code == 17) {
      value_bytes = count == 0 ? 32 : (count + 7u) / 8u;
    } else {
      value_bytes = size_t{kElementSize[code - 16]} * count;
    }
    // Checked as the runtime does it, on a signed 16-bit record length.
    const auto record_length =
        static_cast<int16_t>(kItemHeaderBytes + value_bytes);
    if (record_length > int16_t{kItemHeaderBytes + kMaxValueBytes}) {
      return Bad(data, size, day, item);
    }
    length = kItemHeaderBytes + value_bytes;
  } else if (length == 0) {  // codes 13-16 and 28-30
    return Bad(data, size, day, item);
  }
  if (size < length) return {RecordStatus::kTruncated, 0};

  item.time_high = high;
  item.time_low = low;
  item.type = type;
  item.count = count;
  item.id = code == 0 ? 0 : Load16(data + 8);
  item.day = day;
  item.text.clear();
  std::memset(item.value, 0, 8);

  const uint8_t* value = data + kItemHeaderBytes;
  switch (code) {
    case 0:
    case 1:
      break;
    case 2:
      item.value[0] = value[0];
      break;
    case 3:
    case 5:
    case 11:
      LoadElements<uint16_t>(value, 1, item.value);
      break;
    case 4:
    case 6:
    case 7:
    case 31:
      LoadElements<uint32_t>(value, 1, item.value);
      break;
    case 8:
    case 9:
    case 10:
      LoadElements<uint64_t>(value, 1, item.value);
      break;
    case 12: {
      // The value keeps the length of the zero-terminated copy, L + 1.
      const uint32_t text_length =
          static_cast<uint32_t>(length - kStringHeaderBytes);
      const uint32_t stored_length = text_length + 1;
      std::memcpy(item.value, &stored_length, sizeof stored_length);
      item.text.assign(reinterpret_cast<const char*>(data + kStringHeaderBytes),
                       text_length);
      break;
    }
    case 19:
    case 21:
      LoadElements<uint16_t>(value, count, item.value);
      break;
    case 20:
    case 22:
    case 23:
      LoadElements<uint32_t>(value, count, item.value);
      break;
    case 24:
    case 25:
    case 26:
      LoadElements<uint64_t>(value, count, item.value);
      break;
    default:  // 17, 18 and 27 keep the stored byte order
      std::memcpy(item.value, value, value_bytes);
      break;
  }
  return {RecordStatus::kItem, length};
}

void MarkBadRecord(const uint8_t* data, size_t size, uint16_t day,
                   ArchiveItem& item) {
  // A record cut short may have fewer than six bytes; the missing ones read
  // as zero.
  uint8_t head[kDayMarkerBytes] = {};
  if (size > 0)
    std::memcpy(head, data, size < sizeof head ? size : sizeof head);
  item.time_high = Load16(head);
  item.time_low = Load32(head + 2);
  item.type = kBadRecordType;
  item.count = kBadRecordCount;
  item.id = 0;
  // Once per file at most, so the whole value is cleared.
  std::memset(item.value, 0, sizeof item.value);
  item.text.clear();
  item.day = day;
}

}  // namespace qorarc
