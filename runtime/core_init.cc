#include "runtime/core_init.h"

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <memory>
#include <mutex>

#include "runtime/core_classes.h"
#include "runtime/core_config.h"
#include "runtime/descriptions.h"
#include "runtime/dprint.h"
#include "runtime/errors.h"
#include "runtime/locks.h"
#include "runtime/registry.h"

namespace qorarc {

namespace {

int g_start_count = 0;
// Module count when the last start-up completed: shutdown removes every
// module registered after it. 0 until a start-up completes.
int16_t g_watermark = 0;

RecursiveLock g_rt_object_lock;
MonotonicCondition g_executive;
std::unique_ptr<std::mutex> g_dcore_lock;

void Stage(const char* message) {
  if (MessageMask() & kLevelCoreVerbose) dPrint(kLevelCoreVerbose, "%s", message);
}

// The runtime's file and timing classes need both clocks.
int InitPlatform() {
  timespec now{};
  if (clock_gettime(CLOCK_REALTIME, &now) != 0 || clock_gettime(CLOCK_MONOTONIC, &now) != 0)
    return kInitializationFailed;
  return kSuccess;
}

// Registers every class of the group, also after a failure. Returns 0 or the
// first failure.
int RegisterAll(CoreClassGroup group) {
  int failure = kSuccess;
  for (const ClassDescriptor& descriptor : CoreClasses(group)) {
    int result = RegisterClass(descriptor);
    if (result < 0 && failure == kSuccess) failure = result;
  }
  return failure;
}

// Registers the classes of the group up to the first failure.
int RegisterUntilFailure(CoreClassGroup group) {
  for (const ClassDescriptor& descriptor : CoreClasses(group)) {
    int result = RegisterClass(descriptor);
    if (result < 0) return result;
  }
  return kSuccess;
}

// First failure of two results of one stage, or 0.
int FirstFailure(int first, int second) { return first < 0 ? first : second; }

// The stages that run under the registry lock. Returns 0 or the failure that
// ended them.
int RegisterCore() {
  int result = RegisterModule("SYSTEM");
  // "SYSTEM" must be module 0; any other index means the registry was not
  // empty.
  if (result != 0) return result < 0 ? result : kInitializationFailed;

  Stage("Initializing GObject\n");
  Stage("Initializing GStream\n");
  result = RegisterAll(CoreClassGroup::kStream);
  result = FirstFailure(result, CreateRecursiveLock(&g_rt_object_lock));
  if (result < 0) return result;

  Stage("Initializing XRTObject\n");
  Stage("Initializing XBlock\n");
  Stage("Initializing XSequence\n");
  result = RegisterAll(CoreClassGroup::kSequence);
  if (result < 0) return result;

  Stage("Initializing XTask\n");
  result = RegisterAll(CoreClassGroup::kTask);
  if (result < 0) return result;

  // The executive's state belongs to the object model, which this tool does
  // not run; its lock and wake-up condition are created all the same.
  Stage("Initializing XExecutive\n");
  result = RegisterAll(CoreClassGroup::kExecutive);
  result = FirstFailure(result, CreateMonotonicCondition(&g_executive));
  if (result < 0) return result;

  Stage("Initializing ACore\n");
  result = RegisterAll(CoreClassGroup::kArchiveCore);
  if (result < 0) return result;

  Stage("Initializing DCore\n");
  g_dcore_lock = std::make_unique<std::mutex>();

  result = RegisterModule("DUMMY");
  if (result < 0) return result;

  Stage("Registering Globals\n");
  result = RegisterUntilFailure(CoreClassGroup::kGlobal);
  if (result < 0) return result;

  result = RegisterModule("PSEUDO");
  if (!IsAccepted(result)) return result;

  Stage("Initializing Pseudoblocks\n");
  result = RegisterAll(CoreClassGroup::kPseudoBlock);
  if (result < 0) return result;
  g_watermark = static_cast<int16_t>(ModuleCount());
  return kSuccess;
}

}  // namespace

int CoreStart() {
  LoadCoreConfigFromEnvironment();
  if (++g_start_count == 1) {
    RegisterErrorMessages();
    RegisterDescriptions();
  }
  int result = CreateRegistryLock();
  if (result < 0) return result;

  uint32_t mask = MessageMask();
  if (mask & kMaskLogFile) {
    const char* path = LogFilePath().c_str();
    int error = OpenLogFile(path);
    if (error != 0) {
      std::fprintf(stderr, "Unable to open log file %s: %s\n", path, std::strerror(error));
      return kFileOpenError;
    }
    if (mask & kLevelCoreInfo) WriteStartBanner();
  }
  // Console diagnostics must interleave with the program's own output in
  // the order they happen.
  if (mask & kMaskConsole) {
    std::setvbuf(stdout, nullptr, _IONBF, 0);
    std::setvbuf(stderr, nullptr, _IONBF, 0);
  }

  Stage("Initializing Version\n");
  if (mask & kLevelCoreInfo)
    dPrint(kLevelCoreInfo, "QorCore version: %d.%d.%d revision %d%s\n", kCoreVersionMajor,
           kCoreVersionMinor, kCoreVersionPatch, kCoreRevision, kCoreBuildSuffix);
  Stage("Initializing Platform\n");
  result = InitPlatform();
  if (result < 0) return result;

  TakeRegistryLock();
  result = RegisterCore();
  ReleaseRegistryLock();
  return result;
}

void CoreStop() {
  Stage("Exiting Core\n");
  TakeRegistryLock();
  for (int index = ModuleCount() - 1; index >= g_watermark; --index) UnregisterModuleAt(index);
  UnregisterModule("PSEUDO");
  UnregisterModule("DUMMY");

  Stage("Exiting DCore\n");
  g_dcore_lock.reset();
  Stage("Exiting ACore\n");
  Stage("Exiting Globals\n");
  // The full runtime destroys its core object here; this tool never
  // creates one.
  Stage("Exiting XCore\n");
  UnregisterModule("SYSTEM");
  // Every module is gone now, so the next start counts from zero again.
  g_watermark = 0;
  ReleaseRegistryLock();

  Stage("Core halted\n");
  CloseLogFile();
  if (g_start_count > 0) --g_start_count;
}

}  // namespace qorarc
