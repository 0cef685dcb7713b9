// The byte format of ".rea" archive files, and the decoder of one record.
//
// A file is a sequence of records with no header; all numbers are big-endian.
// The first byte tells the sort of record:
//
//   0xFF            end mark: nothing after it is read.
//   top bit set     day marker, 6 bytes:
//                     0  u16  tag, exactly 0x8000
//                     2  u32  day number since 2000-01-01, at most 0xFFFF
//   top bit clear   item record:
//                     0  u16  time of day, high 16 bits (bit 15 clear)
//                     2  u32  time of day, low 32 bits (ns since midnight)
//                     6  u8   type: value type code in bits 0-4,
//                             state code in bits 5-7
//                     7  u8   count: elements of an array, else carried along
//                     8  u16  item ID (absent for code 0)
//                    10  ...  value, by value type code:
//
//   code   value                        value bytes          record length
//   0      none (system record)         -                    8
//   1      Bool (state code is the edge) 0                   10
//   2      Byte (U8)                    1                    11
//   3, 5   Short (I16), Word (U16)      2                    12
//   4, 6   Long (I32), DWord (U32)      4                    14
//   7      Float (F32)                  4                    14
//   8, 9   Double (F64), unnamed 8-byte 8                    18
//   10     Large (I64)                  8                    18
//   11     unnamed 2-byte               2                    12
//   12     String: u16 length L, text   2 + L                12 + L
//   17     array of bits                ceil(count/8), 32 if count is 0
//   18-27  arrays of the types 2-11     count x element size 10 + value bytes
//   31     alarm/event word (u32)       4                    14
//
// Codes 13-16 and 28-30 are invalid. An array holds at most 512 value bytes.
// Scalars and the elements of arrays 19-26 are converted to host byte order;
// arrays 17, 18 and 27 keep the bytes as stored. A string record longer than
// 32,767 bytes does not fit the format's signed 16-bit record length.
//
// A bad record (a broken day marker, an invalid code, an oversized array, a
// string whose wrapped length is -606, or a record cut short by the end of
// the file) is handed on once as an item of type 0x40 ("Archive events") with
// count 4 and ID 0, keeping the time fields of its first six bytes; the rest
// of the file is not read.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace qorarc {

inline constexpr int64_t kNanosPerDay = 86'400'000'000'000;
inline constexpr uint8_t kEndMark = 0xFF;
inline constexpr uint16_t kDayMarkerTag = 0x8000;
inline constexpr uint32_t kMaxDayNumber = 0xFFFF;
inline constexpr size_t kMaxValueBytes = 512;
// The longest record the format allows: a string record of 32,767 bytes.
inline constexpr size_t kMaxRecordBytes = 32767;
inline constexpr uint8_t kBadRecordType = 0x40;
inline constexpr uint8_t kBadRecordCount = 4;

// One decoded item record. Fields a record does not use are zero.
struct ArchiveItem {
  uint16_t time_high = 0;
  uint32_t time_low = 0;
  uint8_t type = 0;
  uint8_t count = 0;
  uint16_t id = 0;
  // Scalars at the start, arrays element by element, in host byte order;
  // code 12 keeps the length of its zero-terminated text, L + 1, as a u32.
  // The first 8 bytes are zero where the value is shorter; bytes past the
  // `count` elements of an array are left from earlier records, unread.
  alignas(8) uint8_t value[kMaxValueBytes] = {};
  // Code 12: the text, copied out of the file (std::string keeps the zero);
  // empty for every other code.
  std::string text;
  uint16_t day = 0;

  int code() const { return type & 0x1F; }
  int state() const { return type >> 5; }
  int64_t time_of_day() const {
    return (int64_t{time_high} << 32) + time_low;
  }
  // Nanoseconds since 2000-01-01 00:00:00; 0 means "no time stamp".
  int64_t timestamp() const { return int64_t{day} * kNanosPerDay + time_of_day(); }
};

enum class RecordStatus {
  kItem,        // `item` holds a decoded item record
  kDayMarker,   // `day` was updated
  kEnd,         // end mark, or no bytes left
  kTruncated,   // the record runs past the bytes given: read more, or, at the
                // end of the file, call MarkBadRecord and stop
  kBad,         // `item` holds the bad-record item; stop reading the file
  kQuietEnd,    // overlong string whose length reads as a warning: stop quietly
  kReadError,   // overlong string: stop and report a read error
};

struct DecodeResult {
  RecordStatus status;
  size_t length;  // bytes the record occupies (kItem, kDayMarker)
};

// Decodes the record at the start of data[0, size). `day` is the day number
// in force; a day marker changes it, an item record copies it into `item`.
// Never reads past data + size.
DecodeResult DecodeRecord(const uint8_t* data, size_t size, uint16_t& day,
                          ArchiveItem& item);

// Turns `item` into the bad-record item for the record at data[0, size).
void MarkBadRecord(const uint8_t* data, size_t size, uint16_t day,
                   ArchiveItem& item);

}  // namespace qorarc
