// The item as the writers see it: its texts and a view of its stored value.
#pragma once

#include <cstdint>
#include <string_view>

namespace qorarc {

// The stored value of an item: its value type code and a view of its value
// bytes in host byte order (see archive/archive_format.h). Nothing is owned.
struct ItemValue {
  uint8_t code = 0;                  // value type code, 0 to 31
  const uint8_t* payload = nullptr;  // the value bytes
  bool has_text = false;             // code 12 with a text (even an empty one)
  std::string_view text;             // the text of a code 12 value
};

// How the writers show the elements of a value, decided by its code.
enum class ValueCategory { kNone = 0, kFlags = 1, kInteger = 2, kReal = 3, kText = 4 };

inline ValueCategory CategoryOf(const ItemValue& value) {
  switch (value.code) {
    case 17:
      return ValueCategory::kFlags;
    case 2: case 3: case 4: case 5: case 6: case 11: case 31:
    case 18: case 19: case 20: case 21: case 22:
      return ValueCategory::kInteger;
    case 7: case 8: case 9: case 10: case 23: case 24: case 26:
      return ValueCategory::kReal;
    case 12:
      return value.has_text ? ValueCategory::kText : ValueCategory::kNone;
    case 13: case 14: case 15: case 16: case 25: case 27: case 28: case 29: case 30:
      return ValueCategory::kText;
    default:  // 0, 1 (a Bool shows no values) and unused codes
      return ValueCategory::kNone;
  }
}

// Item kinds, used by the kind switches of the item filter.
inline constexpr int32_t kKindOther = 0;       // log messages, arrays 25 to 27
inline constexpr int32_t kKindEvent = 1;       // event with a non-zero count byte
inline constexpr int32_t kKindEventZero = 2;   // event with a zero count byte
inline constexpr int32_t kKindData = 4;        // data arrays 17 to 24

// Texts are views of static tables or of buffers owned by whoever builds the
// item; they stay valid for the writeItem call only.
struct ExportItem {
  int32_t kind = kKindOther;
  std::string_view date;       // "2021-03-04", or "---" without a time stamp
  std::string_view time;       // "05:06:07.123456", or "---"
  std::string_view className;  // "GrDouble"; may be empty
  std::string_view typeName;   // "HiHi", "Lo  "; may be empty
  std::string_view level;      // "Core Warning"; may be empty
  int32_t id = -1;             // negative: the item has no ID
  int32_t valueCount = 0;      // 0 or less: no values
  ItemValue value;
};

}  // namespace qorarc
