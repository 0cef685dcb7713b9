// How a result code of the runtime reads: success, warning or failure. The
// archive reader and the option parser judge codes this way too, without the
// runtime's message table (runtime/errors.h).
//
// A result code is a signed 16-bit value: 0 success, negative failure.
// Bit 14 marks locality: codes at or below -16384 (bit 14 cleared) are the
// error `code | 0x4000` raised on the remote target device.
#pragma once

#include <cstdint>

namespace qorarc {

// True for a warning-class result: negative, and `code | 0x4000` lies in
// -1..-99. Such results may be tolerated by the caller.
inline bool IsWarning(int16_t code) {
  int local = static_cast<int16_t>(code | 0x4000);
  return code < 0 && local >= -99 && local <= -1;
}

// True when a result counts as success: 0 or above, or a warning.
inline bool IsAccepted(int code) { return code >= 0 || IsWarning(static_cast<int16_t>(code)); }

}  // namespace qorarc
