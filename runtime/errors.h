// Result codes of the runtime and their message texts. How a code reads
// (IsWarning, IsAccepted) is in base/result_codes.h.
#pragma once

#include <cstddef>
#include <cstdint>

#include "base/result_codes.h"

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

// Registers the messages of all result codes in the resource-string table,
// at slot 1 - code. Called once per process by the first core start.
void RegisterErrorMessages();

// Writes the message of `code` into `buffer` (kErrorTextSize bytes) and
// returns `buffer`. Never fails: codes without a registered text give
// "Unknown resource <slot>". Remote codes get " on the target device".
char* GetErrorText(char* buffer, int16_t code);

}  // namespace qorarc
