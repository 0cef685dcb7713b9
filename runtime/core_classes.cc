#include "runtime/core_classes.h"

#include <cstdint>

namespace qorarc {

namespace {

// GUIDs share twelve bytes and differ in group and number, so they are
// distinct by construction and sort by group, then number.
constexpr ClassGuid CoreGuid(uint8_t group, uint8_t number) {
  return {{0x51, 0x6f, 0x72, 0x43, 0x6f, 0x72, 0x65, 0x2d, 0x63, 0x6c, 0x61, 0x73, 0x73, 0x00,
           group, number}};
}

constexpr ClassDescriptor kStream[] = {{"GStream", CoreGuid(1, 1)}};
constexpr ClassDescriptor kSequence[] = {{"XSequence", CoreGuid(2, 1)}};
constexpr ClassDescriptor kTask[] = {
    {"XTask.1", CoreGuid(3, 1)},
    {"XTask.2", CoreGuid(3, 2)},
    {"XTask.3", CoreGuid(3, 3)},
};
constexpr ClassDescriptor kExecutive[] = {
    {"XExecutive.1", CoreGuid(4, 1)},
    {"XExecutive.2", CoreGuid(4, 2)},
    {"XExecutive.3", CoreGuid(4, 3)},
    {"XExecutive.4", CoreGuid(4, 4)},
};
constexpr ClassDescriptor kArchiveCore[] = {{"ACore", CoreGuid(5, 1)}};
constexpr ClassDescriptor kGlobal[] = {
    {"Global.1", CoreGuid(6, 1)}, {"Global.2", CoreGuid(6, 2)}, {"Global.3", CoreGuid(6, 3)},
    {"Global.4", CoreGuid(6, 4)}, {"Global.5", CoreGuid(6, 5)}, {"Global.6", CoreGuid(6, 6)},
};
constexpr ClassDescriptor kPseudoBlock[] = {
    {"Pseudo.1", CoreGuid(7, 1)},   {"Pseudo.2", CoreGuid(7, 2)},   {"Pseudo.3", CoreGuid(7, 3)},
    {"Pseudo.4", CoreGuid(7, 4)},   {"Pseudo.5", CoreGuid(7, 5)},   {"Pseudo.6", CoreGuid(7, 6)},
    {"Pseudo.7", CoreGuid(7, 7)},   {"Pseudo.8", CoreGuid(7, 8)},   {"Pseudo.9", CoreGuid(7, 9)},
    {"Pseudo.10", CoreGuid(7, 10)}, {"Pseudo.11", CoreGuid(7, 11)}, {"Pseudo.12", CoreGuid(7, 12)},
    {"Pseudo.13", CoreGuid(7, 13)},
};

}  // namespace

std::span<const ClassDescriptor> CoreClasses(CoreClassGroup group) {
  switch (group) {
    case CoreClassGroup::kStream: return kStream;
    case CoreClassGroup::kSequence: return kSequence;
    case CoreClassGroup::kTask: return kTask;
    case CoreClassGroup::kExecutive: return kExecutive;
    case CoreClassGroup::kArchiveCore: return kArchiveCore;
    case CoreClassGroup::kGlobal: return kGlobal;
    case CoreClassGroup::kPseudoBlock: return kPseudoBlock;
  }
  return {};
}

}  // namespace qorarc
