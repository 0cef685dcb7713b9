#include "runtime/resource_strings.h"

namespace qorarc {

namespace {

// Zero-initialised at static construction, so every slot starts empty.
const char* g_slots[kResourceSlots];
int g_count = kResourceInitialCount;

}  // namespace

void RegisterResourceStrings(const ResourceString* list) {
  for (int row = 0; row < kResourceInitialCount; ++row) {
    const ResourceString& entry = list[row];
    if (entry.index == 0) return;
    // The array holds kResourceSlots slots, so the limit itself is already
    // out of range.
    if (entry.index < 0 || entry.index >= kResourceSlots) return;
    if (g_slots[entry.index] != nullptr) return;
    g_slots[entry.index] = entry.text;
    if (entry.index >= g_count - 1) g_count = entry.index + 1;
  }
}

const char* ResourceText(int index) {
  if (index < 0 || index >= g_count) return nullptr;
  return g_slots[index];
}

int ResourceCount() { return g_count; }

}  // namespace qorarc
