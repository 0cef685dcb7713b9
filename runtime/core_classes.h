// The classes core start-up registers, stage by stage.
//
// The runtime's object model is not part of this tool, so each class is an
// empty descriptor: a label and a GUID of its own, under the same modules
// and in the same numbers as the full runtime registers them, which keeps
// the registries, their limits and their duplicate checks as they are.
#pragma once

#include <span>

#include "runtime/registry.h"

namespace qorarc {

enum class CoreClassGroup {
  kStream,       // 1, "SYSTEM" module
  kSequence,     // 1
  kTask,         // 3
  kExecutive,    // 4
  kArchiveCore,  // 1
  kGlobal,       // 6, "DUMMY" module
  kPseudoBlock,  // 13, "PSEUDO" module
};

std::span<const ClassDescriptor> CoreClasses(CoreClassGroup group);

}  // namespace qorarc
