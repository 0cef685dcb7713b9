// The runtime's module and class registries. Modules are numbered in
// registration order; classes are kept sorted by GUID and belong to the
// module registered last before them.
//
// Registration is not locked here: callers hold the registry lock
// (TakeRegistryLock) around it, as core start-up and shutdown do.
#pragma once

#include <cstdint>

namespace qorarc {

inline constexpr int kMaxModules = 128;
inline constexpr int kMaxClasses = 2048;

struct ClassGuid {
  uint8_t bytes[16];
};

// What the registry keeps of a class: its name and GUID. The runtime's
// creation and kind information is not part of this tool.
struct ClassDescriptor {
  const char* name;
  ClassGuid guid;
};

struct ClassEntry {
  ClassDescriptor descriptor;
  int module;  // index of the owning module, -1 when none was registered
};

// Returns the new module's index, -202 when 128 modules exist, or -201 for
// a name already in use (logged at level 0x10 when the mask wants it).
int RegisterModule(const char* name);

// Removes a module and its classes; later modules move down by one.
// Returns 0, -203 for an index out of range or -211 for an unknown name.
int UnregisterModuleAt(int index);
int UnregisterModule(const char* name);

// Returns the position at which the class was inserted, -202 when 2048
// classes exist, or -201 for a GUID already in use (logged at level 0x10
// when the mask wants it).
int RegisterClass(const ClassDescriptor& descriptor);

int ModuleCount();
const char* ModuleName(int index);  // null when out of range
int ClassCount();
const ClassEntry* ClassAt(int position);  // null when out of range
const ClassEntry* FindClass(const ClassGuid& guid);  // null when absent

// The registry lock: recursive, with priority inheritance. Create returns 0
// or -115; the depth counts how often the lock is held.
int CreateRegistryLock();
void TakeRegistryLock();
void ReleaseRegistryLock();
int RegistryLockDepth();

}  // namespace qorarc
