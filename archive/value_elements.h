// How a decoded value shows: its elements, read from the value bytes that
// the record decoder leaves, by the row of its code in the table of value
// codes (archive/archive_format.h). Every writer walks a value's elements
// through VisitValue(), so the meaning of the codes lives in that table and
// here only.
#pragma once

#include <cstdint>
#include <cstring>
#include <string_view>
#include <type_traits>

#include "archive/archive_format.h"

namespace qorarc {

// The stored value of an item: its value type code and a view of its value
// bytes. Nothing is owned.
struct ItemValue {
  uint8_t code = 0;                  // value type code, 0 to 31
  const uint8_t* payload = nullptr;  // the value bytes
  std::string_view text;             // the text of a code 12 value
};

// How elements are read: as the JSON document and CSV show them (DWords
// signed, Large as a real, no form for the unnamed arrays), or exactly, as
// the formats of our own (JSON Lines, long CSV, Parquet) carry them.
enum class ValueReading { kShown, kExact };

// Shown for a value of the text category that is not a string record and
// still has a form: no code has one today; the text stays the runtime's.
inline constexpr std::string_view kUnknownAlarmText = "UNKNOWN ALARM!";

namespace value_elements_internal {

// Element i of a payload in host byte order. The payload has no alignment
// promise, hence the copy.
template <typename T>
T Element(const uint8_t* payload, int i) {
  T element;
  std::memcpy(&element, payload + sizeof(T) * static_cast<size_t>(i), sizeof(T));
  return element;
}

// Element i of an array kept in stored (big-endian) order, or of host order.
template <typename T>
T OrderedElement(const uint8_t* payload, int i, bool stored_order) {
  return stored_order ? LoadBigEndian<T>(payload + sizeof(T) * static_cast<size_t>(i))
                      : Element<T>(payload, i);
}

template <typename T, typename Visitor>
void VisitNumbers(const ItemValue& value, int32_t count, bool stored_order, bool as_real,
                  Visitor& visitor) {
  for (int32_t i = 0; i < count; ++i) {
    const T element = OrderedElement<T>(value.payload, i, stored_order);
    if constexpr (std::is_floating_point_v<T>) {
      visitor.Real(i, static_cast<double>(element));
    } else {
      if (as_real) {
        visitor.Real(i, static_cast<double>(element));
      } else {
        visitor.Integer(i, static_cast<int64_t>(element));
      }
    }
  }
}

}  // namespace value_elements_internal

// Walks the `count` elements of `value` (count is the item's value count;
// nothing happens for 0 or less). The visitor has:
//   Flag(int i, bool)        each element of a bit array;
//   Integer(int i, int64_t)  each integer element (shown: fits 32 bits);
//   Real(int i, double)      each real element, NaN and infinities included;
//   Text(std::string_view)   once, for a string record's text (uncut);
//   Formless(int32_t count)  once, for a value that has no form as read:
//                            a text array, or codes 25 and 27 when shown.
template <typename Visitor>
void VisitValue(const ItemValue& value, int32_t count, ValueReading reading, Visitor& visitor) {
  using namespace value_elements_internal;
  if (count <= 0) return;
  const ValueCodeTraits& traits = TraitsOf(value.code);
  if (value.code == kStringCode) {
    visitor.Text(value.text);
    return;
  }
  const ElementType type = reading == ValueReading::kExact ? traits.exact : traits.shown;
  // Scalars have one element whatever the count byte says.
  if (traits.shape != ValueShape::kArray) count = 1;
  const bool stored = traits.stored_order;
  // Large shows as a real in the document formats; read exactly it stays whole.
  const bool as_real = reading == ValueReading::kShown && traits.category == ValueCategory::kReal;
  switch (type) {
    case ElementType::kNone:
      if (IsTextWithoutForm(value.code)) {
        visitor.Formless(count);
      } else if (traits.category == ValueCategory::kText) {
        visitor.Text(kUnknownAlarmText);
      }
      return;
    case ElementType::kBit:
      for (int32_t i = 0; i < count; ++i) visitor.Flag(i, (value.payload[i / 8] >> (i % 8)) & 1);
      return;
    case ElementType::kU8:
      return VisitNumbers<uint8_t>(value, count, stored, as_real, visitor);
    case ElementType::kI16:
      return VisitNumbers<int16_t>(value, count, stored, as_real, visitor);
    case ElementType::kU16:
      return VisitNumbers<uint16_t>(value, count, stored, as_real, visitor);
    case ElementType::kI32:
      return VisitNumbers<int32_t>(value, count, stored, as_real, visitor);
    case ElementType::kU32:
      return VisitNumbers<uint32_t>(value, count, stored, as_real, visitor);
    case ElementType::kI64:
      return VisitNumbers<int64_t>(value, count, stored, as_real, visitor);
    case ElementType::kF32:
      return VisitNumbers<float>(value, count, stored, as_real, visitor);
    case ElementType::kF64:
      return VisitNumbers<double>(value, count, stored, as_real, visitor);
  }
}

// Single elements as the JSON document and CSV show them; i counts from 0
// (scalars ignore it). Codes without such elements give -1, -1.0 and false.
int32_t IntegerElement(const ItemValue& value, int i);
double RealElement(const ItemValue& value, int i);
bool FlagElement(const ItemValue& value, int i);

}  // namespace qorarc
