#include "archive/value_elements.h"

#include <array>
#include <cstring>

namespace qorarc {
namespace {

// Element i of a payload in host byte order. The payload has no alignment
// promise, hence the copy.
template <typename T>
T Element(const uint8_t* payload, int i) {
  T element;
  std::memcpy(&element, payload + sizeof(T) * static_cast<size_t>(i), sizeof(T));
  return element;
}

constexpr std::array<ValueCategory, 32> kCategories = [] {
  std::array<ValueCategory, 32> table{};  // kNone: 0, 1 (a Bool shows no values)
  table[17] = ValueCategory::kFlags;
  for (int code : {2, 3, 4, 5, 6, 11, 31, 18, 19, 20, 21, 22}) table[code] = ValueCategory::kInteger;
  for (int code : {7, 8, 9, 10, 23, 24, 26}) table[code] = ValueCategory::kReal;
  for (int code : {12, 13, 14, 15, 16, 25, 27, 28, 29, 30}) table[code] = ValueCategory::kText;
  return table;
}();

}  // namespace

ValueCategory CategoryOf(int code) {
  return code >= 0 && code < 32 ? kCategories[static_cast<size_t>(code)] : ValueCategory::kNone;
}

int32_t IntegerElement(const ItemValue& value, int i) {
  const uint8_t* payload = value.payload;
  switch (value.code) {
    case 2:
      return Element<uint8_t>(payload, 0);
    case 3:
    case 11:
      return Element<int16_t>(payload, 0);
    case 4:
    case 6:
    case 31:
      return Element<int32_t>(payload, 0);
    case 5:
      return Element<uint16_t>(payload, 0);
    case 18:
      return Element<uint8_t>(payload, i);
    case 19:
      return Element<int16_t>(payload, i);
    case 20:
    case 22:  // DWord arrays too are shown as signed
      return Element<int32_t>(payload, i);
    case 21:
      return Element<uint16_t>(payload, i);
    default:
      return -1;
  }
}

double RealElement(const ItemValue& value, int i) {
  const uint8_t* payload = value.payload;
  switch (value.code) {
    case 7:
      return Element<float>(payload, 0);
    case 8:
    case 9:
      return Element<double>(payload, 0);
    case 10:
      return static_cast<double>(Element<int64_t>(payload, 0));
    case 23:
      return Element<float>(payload, i);
    case 24:
      return Element<double>(payload, i);
    case 26:
      return static_cast<double>(Element<int64_t>(payload, i));
    default:
      return -1.0;
  }
}

bool FlagElement(const ItemValue& value, int i) {
  if (value.code != 17) return false;
  return (value.payload[i / 8] >> (i % 8)) & 1;
}

}  // namespace qorarc
