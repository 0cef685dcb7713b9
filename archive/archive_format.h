// The byte format of ".rea" archive files, defined once and shared by the
// record decoder (archive/record_decoder.h), the archive writer
// (archive/archive_writer.h) and everything that shows a decoded value.
// docs/archive-format.md describes the same format for users of other tools.
//
// A file is a sequence of records with no header; all numbers are big-endian.
// The first byte tells the sort of record:
//
//   0xFF            end mark: nothing after it is read.
//   top bit set     day marker, 6 bytes:
//                     0  u16  tag, exactly 0x8000
//                     2  u32  day number since the time base, at most 0xFFFF
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

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>

#include "base/time_base.h"

namespace qorarc {

inline constexpr uint8_t kEndMark = 0xFF;
inline constexpr uint16_t kDayMarkerTag = 0x8000;
inline constexpr uint32_t kMaxDayNumber = 0xFFFF;

// Field offsets of an item record. A day marker's tag and day stand where
// an item's time fields do (offsets 0 and 2), so both are read the same way.
inline constexpr size_t kTimeHighOffset = 0;
inline constexpr size_t kTimeLowOffset = 2;
inline constexpr size_t kTypeOffset = 6;
inline constexpr size_t kCountOffset = 7;
inline constexpr size_t kIdOffset = 8;
inline constexpr size_t kValueOffset = 10;
inline constexpr size_t kStringLengthOffset = 10;
inline constexpr size_t kStringTextOffset = 12;

// Record and header sizes.
inline constexpr size_t kDayMarkerBytes = 6;
inline constexpr size_t kSystemRecordBytes = 8;    // time, type, count
inline constexpr size_t kItemHeaderBytes = 10;     // and the ID
inline constexpr size_t kStringHeaderBytes = 12;   // and the u16 length
inline constexpr size_t kMaxValueBytes = 512;
// The longest record the format allows: a string record of 32,767 bytes.
inline constexpr size_t kMaxRecordBytes = 32767;
// The time of day has 47 bits (bit 15 of the high half marks day markers).
inline constexpr int64_t kMaxTimeOfDay = (int64_t{1} << 47) - 1;

inline constexpr uint8_t kBadRecordType = 0x40;
inline constexpr uint8_t kBadRecordCount = 4;

// Value type codes that the format treats specially.
inline constexpr int kSystemCode = 0;
inline constexpr int kBoolCode = 1;
inline constexpr int kStringCode = 12;
inline constexpr int kBitArrayCode = 17;
inline constexpr int kFirstArrayCode = 17;
inline constexpr int kLastArrayCode = 27;
inline constexpr int kAlarmWordCode = 31;
// An array code holds elements of the scalar code this much lower.
inline constexpr int kArrayCodeOffset = 16;

enum class ValueShape : uint8_t { kNone, kScalar, kString, kArray, kInvalid };

// How the JSON document and CSV show a value: no values (system records and
// Bools), flags, integers, reals, or text.
enum class ValueCategory : uint8_t { kNone, kFlags, kInteger, kReal, kText };

// The type one element is read as: from the host-order value bytes the
// decoder leaves, or, for the arrays kept in stored order, big-endian.
enum class ElementType : uint8_t { kNone, kBit, kU8, kI16, kU16, kI32, kU32, kI64, kF32, kF64 };

// The filter's groups of items: events (left out by "--no-events"), data
// arrays ("--no-data"), and the rest, which goes with log messages
// ("--no-log").
enum class KindGroup : uint8_t { kEvent, kData, kOther };

// Everything the code knows about one value type code, in one row.
struct ValueCodeTraits {
  ValueShape shape;
  uint8_t element_size;    // value bytes of a scalar or of one array element
  ValueCategory category;  // how the JSON document and CSV show the value
  ElementType shown;       // the element as those formats read it
  ElementType exact;       // the element as stored, read without loss
  KindGroup kind;
  bool stored_order;       // array bytes kept as stored, not turned to host order
  std::string_view class_text;  // record type name, without the runtime's padding
};

// The value type codes. Codes 9 and 11 (and their arrays 25 and 27) are
// unnamed 8- and 2-byte types: the JSON document and CSV read 9 as a double,
// 11 as a short, and have no form for 25 and 27; read exactly they are the
// signed integers of their bytes. Word and DWord read exactly are unsigned;
// the document formats show DWords signed, Large as a real. Codes without a
// text form (13 to 16, 25, 27 to 30) end a JSON document's export.
// clang-format off
inline constexpr ValueCodeTraits kValueCodes[32] = {
  //  shape                size category                 shown              exact              kind              stored class
  {ValueShape::kNone,     0, ValueCategory::kNone,    ElementType::kNone, ElementType::kNone, KindGroup::kEvent, false, "System"},    //  0
  {ValueShape::kNone,     0, ValueCategory::kNone,    ElementType::kNone, ElementType::kNone, KindGroup::kEvent, false, "AlBool"},    //  1
  {ValueShape::kScalar,   1, ValueCategory::kInteger, ElementType::kU8,   ElementType::kU8,   KindGroup::kEvent, false, "AlByte"},    //  2
  {ValueShape::kScalar,   2, ValueCategory::kInteger, ElementType::kI16,  ElementType::kI16,  KindGroup::kEvent, false, "AlShort"},   //  3
  {ValueShape::kScalar,   4, ValueCategory::kInteger, ElementType::kI32,  ElementType::kI32,  KindGroup::kEvent, false, "AlLong"},    //  4
  {ValueShape::kScalar,   2, ValueCategory::kInteger, ElementType::kU16,  ElementType::kU16,  KindGroup::kEvent, false, "AlWord"},    //  5
  {ValueShape::kScalar,   4, ValueCategory::kInteger, ElementType::kI32,  ElementType::kU32,  KindGroup::kEvent, false, "AlDWord"},   //  6
  {ValueShape::kScalar,   4, ValueCategory::kReal,    ElementType::kF32,  ElementType::kF32,  KindGroup::kEvent, false, "AlFloat"},   //  7
  {ValueShape::kScalar,   8, ValueCategory::kReal,    ElementType::kF64,  ElementType::kF64,  KindGroup::kEvent, false, "AlDouble"},  //  8
  {ValueShape::kScalar,   8, ValueCategory::kReal,    ElementType::kF64,  ElementType::kI64,  KindGroup::kEvent, false, "AlTime"},    //  9
  {ValueShape::kScalar,   8, ValueCategory::kReal,    ElementType::kI64,  ElementType::kI64,  KindGroup::kEvent, false, "AlLarge"},   // 10
  {ValueShape::kScalar,   2, ValueCategory::kInteger, ElementType::kI16,  ElementType::kI16,  KindGroup::kEvent, false, "AlError"},   // 11
  {ValueShape::kString,   0, ValueCategory::kText,    ElementType::kNone, ElementType::kNone, KindGroup::kOther, false, "AlString"},  // 12
  {ValueShape::kInvalid,  0, ValueCategory::kText,    ElementType::kNone, ElementType::kNone, KindGroup::kOther, false, "-Res 13-"},  // 13
  {ValueShape::kInvalid,  0, ValueCategory::kText,    ElementType::kNone, ElementType::kNone, KindGroup::kOther, false, "-Res 14-"},  // 14
  {ValueShape::kInvalid,  0, ValueCategory::kText,    ElementType::kNone, ElementType::kNone, KindGroup::kOther, false, "-Res 15-"},  // 15
  {ValueShape::kInvalid,  0, ValueCategory::kText,    ElementType::kNone, ElementType::kNone, KindGroup::kOther, false, "-Res 16-"},  // 16
  {ValueShape::kArray,    0, ValueCategory::kFlags,   ElementType::kBit,  ElementType::kBit,  KindGroup::kData,  true,  "GrBool"},    // 17
  {ValueShape::kArray,    1, ValueCategory::kInteger, ElementType::kU8,   ElementType::kU8,   KindGroup::kData,  true,  "GrByte"},    // 18
  {ValueShape::kArray,    2, ValueCategory::kInteger, ElementType::kI16,  ElementType::kI16,  KindGroup::kData,  false, "GrShort"},   // 19
  {ValueShape::kArray,    4, ValueCategory::kInteger, ElementType::kI32,  ElementType::kI32,  KindGroup::kData,  false, "GrLong"},    // 20
  {ValueShape::kArray,    2, ValueCategory::kInteger, ElementType::kU16,  ElementType::kU16,  KindGroup::kData,  false, "GrWord"},    // 21
  {ValueShape::kArray,    4, ValueCategory::kInteger, ElementType::kI32,  ElementType::kU32,  KindGroup::kData,  false, "GrDWord"},   // 22
  {ValueShape::kArray,    4, ValueCategory::kReal,    ElementType::kF32,  ElementType::kF32,  KindGroup::kData,  false, "GrFloat"},   // 23
  {ValueShape::kArray,    8, ValueCategory::kReal,    ElementType::kF64,  ElementType::kF64,  KindGroup::kData,  false, "GrDouble"},  // 24
  {ValueShape::kArray,    8, ValueCategory::kText,    ElementType::kNone, ElementType::kI64,  KindGroup::kOther, false, "GrTime"},    // 25
  {ValueShape::kArray,    8, ValueCategory::kReal,    ElementType::kI64,  ElementType::kI64,  KindGroup::kOther, false, "GrLarge"},   // 26
  {ValueShape::kArray,    2, ValueCategory::kText,    ElementType::kNone, ElementType::kI16,  KindGroup::kOther, true,  "GrError"},   // 27
  {ValueShape::kInvalid,  0, ValueCategory::kText,    ElementType::kNone, ElementType::kNone, KindGroup::kOther, false, "-Res 28-"},  // 28
  {ValueShape::kInvalid,  0, ValueCategory::kText,    ElementType::kNone, ElementType::kNone, KindGroup::kOther, false, "-Res 29-"},  // 29
  {ValueShape::kInvalid,  0, ValueCategory::kText,    ElementType::kNone, ElementType::kNone, KindGroup::kOther, false, "-Res 30-"},  // 30
  {ValueShape::kScalar,   4, ValueCategory::kInteger, ElementType::kI32,  ElementType::kI32,  KindGroup::kEvent, false, "AlAckn"},    // 31
};
// clang-format on

// The row of a code; every code of the type byte's five bits has one.
constexpr const ValueCodeTraits& TraitsOf(int code) { return kValueCodes[code & 0x1F]; }

constexpr ValueShape ShapeOf(int code) { return TraitsOf(code).shape; }
constexpr bool IsValidCode(int code) { return ShapeOf(code) != ValueShape::kInvalid; }
constexpr ValueCategory CategoryOf(int code) { return TraitsOf(code).category; }

// Value bytes of one element: of a scalar, or of one element of the arrays
// 18-27. 0 for every other code.
constexpr size_t ElementSize(int code) { return TraitsOf(code).element_size; }

// Value bytes of an array record of `count` elements: ceil(count / 8) for a
// bit array (32 when count is 0), count x element size for the others.
constexpr size_t ArrayValueBytes(int code, uint8_t count) {
  if (code == kBitArrayCode) return count == 0 ? 32 : (count + 7u) / 8u;
  return ElementSize(code) * count;
}

// Arrays whose bytes are kept as stored rather than turned into host order:
// bits, bytes and the unnamed 2-byte type.
constexpr bool KeepsStoredOrder(int code) { return TraitsOf(code).stored_order; }

// A text value that has no text: every text code but 12. The JSON document
// has no form for it and writes null for each element (and the run warns);
// CSV shows its elements empty.
constexpr bool IsTextWithoutForm(int code) {
  return code != kStringCode && CategoryOf(code) == ValueCategory::kText;
}

// Elements an item shows: the count byte for arrays, one for scalars,
// strings and Bools, none for system records.
constexpr int32_t ValueCount(int code, uint8_t count) {
  if (code >= kFirstArrayCode) return code == kAlarmWordCode ? 1 : count;
  return code == kSystemCode ? 0 : 1;
}

// Item kinds, used by the kind switches of the item filter.
inline constexpr int32_t kKindOther = 0;      // log messages, arrays 25 to 27
inline constexpr int32_t kKindEvent = 1;      // event with a non-zero count byte
inline constexpr int32_t kKindEventZero = 2;  // event with a zero count byte
inline constexpr int32_t kKindData = 4;       // data arrays 17 to 24

// The kind of an item, from its value type code's group and count byte.
constexpr int32_t ItemKindOf(int code, uint8_t count) {
  switch (TraitsOf(code).kind) {
    case KindGroup::kData:
      return kKindData;
    case KindGroup::kEvent:
      return count != 0 ? kKindEvent : kKindEventZero;
    default:
      return kKindOther;
  }
}

// Big-endian numbers of any width through memcpy: records start at any
// byte offset, so the bytes are never read through a cast pointer.
template <typename T>
T LoadBigEndian(const uint8_t* p) {
  static_assert(sizeof(T) == 1 || sizeof(T) == 2 || sizeof(T) == 4 || sizeof(T) == 8);
  T v;
  std::memcpy(&v, p, sizeof v);
  if constexpr (sizeof(T) > 1 && std::endian::native == std::endian::little) {
    if constexpr (sizeof(T) == 2) v = std::bit_cast<T>(__builtin_bswap16(std::bit_cast<uint16_t>(v)));
    if constexpr (sizeof(T) == 4) v = std::bit_cast<T>(__builtin_bswap32(std::bit_cast<uint32_t>(v)));
    if constexpr (sizeof(T) == 8) v = std::bit_cast<T>(__builtin_bswap64(std::bit_cast<uint64_t>(v)));
  }
  return v;
}

// The inverse of LoadBigEndian: the n bytes of a host-order value of n
// bytes, most significant first.
inline void StoreBigEndian(const void* value, size_t n, uint8_t* out) {
  const auto* in = static_cast<const uint8_t*>(value);
  for (size_t i = 0; i < n; ++i)
    out[i] = std::endian::native == std::endian::little ? in[n - 1 - i] : in[i];
}

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
  int64_t time_of_day() const { return (int64_t{time_high} << 32) + time_low; }
  // Nanoseconds since the time base; 0 means "no time stamp".
  int64_t timestamp() const { return int64_t{day} * kNanosPerDay + time_of_day(); }
};

}  // namespace qorarc
