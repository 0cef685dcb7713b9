// Class, type and level texts of archive records; views of static storage.
#pragma once

#include <cstdint>
#include <string_view>

namespace qorarc {

// The record type name of a value type code (0-31; others give "????????"),
// without the blanks the runtime pads it with: "GrDouble", "AlBool".
std::string_view ClassText(int code);
// The state text of a type byte (code in bits 0-4, state in bits 5-7), four
// characters except for system records: "HiHi", "Lo  ", "Date Mark".
std::string_view TypeText(uint8_t type);
// The level text of a log record (code 12) from its count byte c: the source
// c / 10 followed by the level c % 10, "Core Warning" for 25, "Error" for 6;
// "Unknown" for c >= 70.
std::string_view LevelText(uint8_t count);

}  // namespace qorarc
