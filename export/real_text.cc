#include "export/real_text.h"

#include <rapidjson/internal/dtoa.h>

namespace qorarc {

// RapidJSON's own shortest-text conversion, so that CSV cells and JSON
// values show a real alike. kMaxDecimalPlaces is RapidJSON's default, which
// its Writer::Double uses.
size_t FormatReal(double value, char* out) {
  constexpr int kMaxDecimalPlaces = 324;
  return static_cast<size_t>(rapidjson::internal::dtoa(value, out, kMaxDecimalPlaces) - out);
}

}  // namespace qorarc
