// Result codes of the runtime and their message texts.
//
// A result code is a signed 16-bit value: 0 success, negative failure.
// Bit 14 marks locality: codes at or below -16384 (bit 14 cleared) are the
// error `code | 0x4000` raised on the remote target device.
#pragma once

#include <cstddef>
#include <cstdint>

namespace qorarc {

// Result codes the core itself returns.
inline constexpr int16_t kSuccess = 0;
inline constexpr int16_t kInitializationFailed = -115;
inline constexpr int16_t kClassAlreadyRegistered = -201;
inline constexpr int16_t kRegistryFull = -202;
inline constexpr int16_t kRegistryIndexOutOfRange = -203;
inline constexpr int16_t kSymbolNotFound = -211;
inline constexpr int16_t kFileOpenError = -307;

// Size of the buffer GetErrorText writes into, terminator included.
inline constexpr size_t kErrorTextSize = 128;

// True for a warning-class result: negative, and `code | 0x4000` lies in
// -1..-99. Such results may be tolerated by the caller.
bool IsWarning(int16_t code);

// True when a result counts as success: 0 or above, or a warning.
inline bool IsAccepted(int code) { return code >= 0 || IsWarning(static_cast<int16_t>(code)); }

// Registers the messages of all result codes in the resource-string table,
// at slot 1 - code. Called once per process by the first core start.
void RegisterErrorMessages();

// Writes the message of `code` into `buffer` (kErrorTextSize bytes) and
// returns `buffer`. Never fails: codes without a registered text give
// "Unknown resource <slot>". Remote codes get " on the target device".
char* GetErrorText(char* buffer, int16_t code);

}  // namespace qorarc
