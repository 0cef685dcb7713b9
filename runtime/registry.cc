#include "runtime/registry.h"

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "runtime/dprint.h"
#include "runtime/errors.h"
#include "runtime/locks.h"

namespace qorarc {

namespace {

std::vector<std::string>& Modules() {
  static std::vector<std::string> modules;
  return modules;
}

std::vector<ClassEntry>& Classes() {
  static std::vector<ClassEntry> classes;
  return classes;
}

RecursiveLock g_registry_lock;

bool GuidLess(const ClassGuid& a, const ClassGuid& b) {
  return std::memcmp(a.bytes, b.bytes, sizeof a.bytes) < 0;
}

// First entry whose GUID is not less than `guid`.
std::vector<ClassEntry>::iterator LowerBound(const ClassGuid& guid) {
  std::vector<ClassEntry>& classes = Classes();
  return std::lower_bound(classes.begin(), classes.end(), guid,
                          [](const ClassEntry& entry, const ClassGuid& key) {
                            return GuidLess(entry.descriptor.guid, key);
                          });
}

bool SameGuid(const ClassGuid& a, const ClassGuid& b) {
  return std::memcmp(a.bytes, b.bytes, sizeof a.bytes) == 0;
}

}  // namespace

int RegisterModule(const char* name) {
  std::vector<std::string>& modules = Modules();
  if (modules.size() >= kMaxModules) return kRegistryFull;
  if (std::find(modules.begin(), modules.end(), name) != modules.end()) {
    if (MessageMask() & kLevelCoreError)
      dPrint(kLevelCoreError, "RegisterModule: Module \"%s\" already used!\n", name);
    return kClassAlreadyRegistered;
  }
  modules.emplace_back(name);
  return static_cast<int>(modules.size()) - 1;
}

int UnregisterModuleAt(int index) {
  std::vector<std::string>& modules = Modules();
  if (index < 0 || index >= static_cast<int>(modules.size())) return kRegistryIndexOutOfRange;
  modules.erase(modules.begin() + index);
  // The module's classes go with it, so that a later start can register
  // them again; the classes of later modules follow their module down.
  std::vector<ClassEntry>& classes = Classes();
  std::erase_if(classes, [index](const ClassEntry& entry) { return entry.module == index; });
  for (ClassEntry& entry : classes)
    if (entry.module > index) --entry.module;
  return kSuccess;
}

int UnregisterModule(const char* name) {
  std::vector<std::string>& modules = Modules();
  auto found = std::find(modules.begin(), modules.end(), name);
  if (found == modules.end()) return kSymbolNotFound;
  return UnregisterModuleAt(static_cast<int>(found - modules.begin()));
}

int RegisterClass(const ClassDescriptor& descriptor) {
  std::vector<ClassEntry>& classes = Classes();
  if (classes.size() >= kMaxClasses) return kRegistryFull;
  auto position = LowerBound(descriptor.guid);
  if (position != classes.end() && SameGuid(position->descriptor.guid, descriptor.guid)) {
    if (MessageMask() & kLevelCoreError)
      dPrint(kLevelCoreError, "RegisterClass: GUID of class \"%s\" already used!\n",
             descriptor.name);
    return kClassAlreadyRegistered;
  }
  position = classes.insert(position, {descriptor, ModuleCount() - 1});
  return static_cast<int>(position - classes.begin());
}

int ModuleCount() { return static_cast<int>(Modules().size()); }

const char* ModuleName(int index) {
  if (index < 0 || index >= ModuleCount()) return nullptr;
  return Modules()[index].c_str();
}

int ClassCount() { return static_cast<int>(Classes().size()); }

const ClassEntry* ClassAt(int position) {
  if (position < 0 || position >= ClassCount()) return nullptr;
  return &Classes()[position];
}

const ClassEntry* FindClass(const ClassGuid& guid) {
  auto position = LowerBound(guid);
  if (position == Classes().end() || !SameGuid(position->descriptor.guid, guid)) return nullptr;
  return &*position;
}

int CreateRegistryLock() { return CreateRecursiveLock(&g_registry_lock); }

void TakeRegistryLock() { TakeLock(&g_registry_lock); }

void ReleaseRegistryLock() { ReleaseLock(&g_registry_lock); }

int RegistryLockDepth() { return g_registry_lock.depth; }

}  // namespace qorarc
