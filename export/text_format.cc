// Value elements and the text of real numbers. The time texts are in
// time_text.cc, the record texts in record_texts.cc and the parser in
// timestamp_parser.cc.

#include "export/text_format.h"

#include <rapidjson/internal/dtoa.h>

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

// RapidJSON's default, which its Writer::Double uses.
constexpr int kMaxDecimalPlaces = 324;

}  // namespace

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

size_t FormatReal(double value, char* out) {
  return static_cast<size_t>(rapidjson::internal::dtoa(value, out, kMaxDecimalPlaces) - out);
}

}  // namespace qorarc
