// How a decoded value shows: its category (none, flags, integers, reals or
// text) and its elements, read from the value bytes in host byte order that
// the record decoder leaves (archive/archive_format.h).
#pragma once

#include <cstdint>
#include <string_view>

namespace qorarc {

// The stored value of an item: its value type code and a view of its value
// bytes. Nothing is owned.
struct ItemValue {
  uint8_t code = 0;                  // value type code, 0 to 31
  const uint8_t* payload = nullptr;  // the value bytes
  std::string_view text;             // the text of a code 12 value
};

enum class ValueCategory { kNone = 0, kFlags = 1, kInteger = 2, kReal = 3, kText = 4 };

// The category of a code. Codes 13 to 16 and 25 to 30 are texts without a
// text form: arrays of times and errors and the reserved codes.
ValueCategory CategoryOf(int code);

// True for the text codes that have no text: every text code but 12.
inline bool IsTextWithoutForm(int code) {
  return code != 12 && CategoryOf(code) == ValueCategory::kText;
}

// Element accessors; i counts from 0 and must be below the item's value
// count. Codes without such elements give -1, -1.0 and false.
int32_t IntegerElement(const ItemValue& value, int i);
double RealElement(const ItemValue& value, int i);
bool FlagElement(const ItemValue& value, int i);

}  // namespace qorarc
