// The text of a real number, shared by every writer.
#pragma once

#include <cstddef>

namespace qorarc {

inline constexpr size_t kRealTextSize = 32;

// Shortest text that reads back to the same double, laid out as RapidJSON's
// Writer::Double lays it out ("0.0", "1e30", "1.234e-7"), into out; returns
// the length. The value must be finite.
size_t FormatReal(double value, char* out);

}  // namespace qorarc
