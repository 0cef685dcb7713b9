// Description texts of the runtime's blocks and executive parameters, kept in
// the resource-string table beside the result-code messages.
#pragma once

namespace qorarc {

// Slot ranges of the two description lists.
inline constexpr int kFirstBlockDescriptionSlot = 1200;
inline constexpr int kLastBlockDescriptionSlot = 1711;
inline constexpr int kFirstParameterDescriptionSlot = 2400;
inline constexpr int kLastParameterDescriptionSlot = 2477;

// Registers the block and parameter descriptions this build carries. Called
// once per process by the first core start, after the error messages.
void RegisterDescriptions();

}  // namespace qorarc
