// The process-wide table of indexed runtime texts: result-code messages,
// block descriptions and parameter descriptions share one slot array.
#pragma once

namespace qorarc {

// One row of a registration list. A row with index 0 ends the list.
struct ResourceString {
  int index;
  const char* text;  // static text, never freed
};

// Size of the slot array and the initial count of slots in use.
inline constexpr int kResourceSlots = 9408;
inline constexpr int kResourceInitialCount = 9400;

// Registers the rows of `list` in order, up to the terminating row or at
// most kResourceInitialCount rows. Stops silently at an index outside the
// array or at a slot that is already occupied; the remaining rows stay
// unregistered.
void RegisterResourceStrings(const ResourceString* list);

// The text in slot `index`, or null when the slot is empty, the index is
// negative or not below the current count.
const char* ResourceText(int index);

// Number of slots in use (never below kResourceInitialCount).
int ResourceCount();

}  // namespace qorarc
