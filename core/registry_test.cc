#include "core/registry.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <vector>

#include "core/dprint.h"

namespace qorarc {
namespace {

ClassGuid Guid(uint8_t high, uint8_t low = 0) {
  ClassGuid guid{};
  guid.bytes[0] = high;
  guid.bytes[15] = low;
  return guid;
}

class RegistryTest : public ::testing::Test {
 protected:
  void SetUp() override {
    saved_mask_ = MessageMask();
    ASSERT_EQ(ModuleCount(), 0);
    ASSERT_EQ(ClassCount(), 0);
  }
  void TearDown() override {
    while (ModuleCount() > 0) UnregisterModuleAt(ModuleCount() - 1);
    SetMessageMask(saved_mask_);
  }

  // Output of `action` on standard output with console diagnostics and the
  // given level bits.
  template <typename Action>
  std::string Console(uint32_t levels, Action action) {
    SetMessageMask(kMaskConsole | levels);
    ::testing::internal::CaptureStdout();
    action();
    return ::testing::internal::GetCapturedStdout();
  }

  uint32_t saved_mask_ = 0;
};

TEST_F(RegistryTest, ModulesAreNumberedInOrderUnderUniqueNames) {
  EXPECT_EQ(RegisterModule("SYSTEM"), 0);
  EXPECT_EQ(RegisterModule("DUMMY"), 1);
  EXPECT_STREQ(ModuleName(1), "DUMMY");
  EXPECT_EQ(ModuleName(2), nullptr);
  EXPECT_EQ(ModuleName(-1), nullptr);
  int result = 0;
  EXPECT_EQ(Console(kLevelCoreError, [&] { result = RegisterModule("SYSTEM"); }),
            "[ CORE  ][ ERROR ] RegisterModule: Module \"SYSTEM\" already used!\n");
  EXPECT_EQ(result, -201);
  // Without the core error bit the refusal is silent.
  EXPECT_EQ(Console(kLevelCoreVerbose, [&] { result = RegisterModule("SYSTEM"); }), "");
  EXPECT_EQ(result, -201);
  // Names compare exactly.
  EXPECT_EQ(RegisterModule("system"), 2);
  EXPECT_EQ(RegisterModule("SYSTEM "), 3);
  EXPECT_EQ(ModuleCount(), 4);
}

TEST_F(RegistryTest, ModuleRegistryHolds128) {
  for (int i = 0; i < kMaxModules; ++i) {
    char name[8];
    std::snprintf(name, sizeof name, "M%d", i);
    ASSERT_EQ(RegisterModule(name), i);
  }
  EXPECT_EQ(RegisterModule("M128"), -202);
  // The count is checked before the name.
  EXPECT_EQ(RegisterModule("M0"), -202);
  EXPECT_EQ(ModuleCount(), 128);
}

TEST_F(RegistryTest, ClassesAreSortedByGuid) {
  ASSERT_EQ(RegisterModule("SYSTEM"), 0);
  const struct {
    uint8_t guid;
    int position;
  } kInsertions[] = {{5, 0}, {1, 0}, {3, 1}, {9, 3}, {2, 1}, {0, 0}, {10, 6}};
  for (const auto& insertion : kInsertions)
    EXPECT_EQ(RegisterClass({"C", Guid(insertion.guid)}), insertion.position)
        << int(insertion.guid);
  const std::vector<uint8_t> kOrder = {0, 1, 2, 3, 5, 9, 10};
  ASSERT_EQ(ClassCount(), 7);
  for (int i = 0; i < ClassCount(); ++i) EXPECT_EQ(ClassAt(i)->descriptor.guid.bytes[0], kOrder[i]);
  EXPECT_EQ(ClassAt(7), nullptr);
  // The last byte counts as much as the first.
  EXPECT_EQ(RegisterClass({"C", Guid(3, 1)}), 4);
}

TEST_F(RegistryTest, FindClassByGuid) {
  ASSERT_EQ(RegisterModule("SYSTEM"), 0);
  for (uint8_t g : {40, 10, 30, 20}) RegisterClass({"C", Guid(g)});
  for (uint8_t g : {10, 20, 30, 40}) {
    const ClassEntry* entry = FindClass(Guid(g));
    ASSERT_NE(entry, nullptr) << int(g);
    EXPECT_EQ(entry->descriptor.guid.bytes[0], g);
  }
  for (uint8_t g : {0, 15, 50}) EXPECT_EQ(FindClass(Guid(g)), nullptr) << int(g);
}

TEST_F(RegistryTest, ClassBelongsToTheLastModule) {
  RegisterModule("SYSTEM");
  RegisterClass({"First", Guid(1)});
  RegisterModule("DUMMY");
  RegisterClass({"Second", Guid(2)});
  RegisterClass({"Third", Guid(0)});
  EXPECT_EQ(FindClass(Guid(1))->module, 0);
  EXPECT_EQ(FindClass(Guid(2))->module, 1);
  EXPECT_EQ(FindClass(Guid(0))->module, 1);
  EXPECT_STREQ(FindClass(Guid(2))->descriptor.name, "Second");
}

TEST_F(RegistryTest, DuplicateGuidIsRefusedAndLoggedWithTheNewName) {
  RegisterModule("SYSTEM");
  ASSERT_EQ(RegisterClass({"First", Guid(7)}), 0);
  int result = 0;
  EXPECT_EQ(Console(kLevelCoreError, [&] { result = RegisterClass({"Second", Guid(7)}); }),
            "[ CORE  ][ ERROR ] RegisterClass: GUID of class \"Second\" already used!\n");
  EXPECT_EQ(result, -201);
  EXPECT_EQ(Console(kLevelCoreInfo, [&] { result = RegisterClass({"Third", Guid(7)}); }), "");
  EXPECT_EQ(result, -201);
  EXPECT_EQ(ClassCount(), 1);
  EXPECT_STREQ(FindClass(Guid(7))->descriptor.name, "First");
}

TEST_F(RegistryTest, ClassRegistryHolds2048) {
  RegisterModule("SYSTEM");
  for (int i = 0; i < kMaxClasses; ++i) {
    // Descending GUIDs: every insertion goes to the front.
    ClassGuid guid = Guid(static_cast<uint8_t>(255 - i / 256), static_cast<uint8_t>(255 - i % 256));
    ASSERT_EQ(RegisterClass({"C", guid}), 0) << i;
  }
  EXPECT_EQ(RegisterClass({"C", Guid(0)}), -202);
  // The count is checked before the GUID.
  EXPECT_EQ(RegisterClass({"C", Guid(255, 255)}), -202);
  EXPECT_EQ(ClassCount(), 2048);
}

TEST_F(RegistryTest, UnregisteringTakesTheModulesClasses) {
  RegisterModule("A");
  RegisterClass({"a", Guid(3)});
  RegisterModule("B");
  RegisterClass({"b", Guid(1)});
  RegisterModule("C");
  RegisterClass({"c", Guid(2)});
  EXPECT_EQ(UnregisterModule("B"), 0);
  EXPECT_EQ(ModuleCount(), 2);
  EXPECT_STREQ(ModuleName(1), "C");
  EXPECT_EQ(FindClass(Guid(1)), nullptr);
  EXPECT_EQ(FindClass(Guid(2))->module, 1);
  EXPECT_EQ(FindClass(Guid(3))->module, 0);
  // The name is free again.
  EXPECT_EQ(RegisterModule("B"), 2);

  EXPECT_EQ(UnregisterModuleAt(0), 0);
  EXPECT_EQ(ClassCount(), 1);
  EXPECT_STREQ(ModuleName(0), "C");
  EXPECT_EQ(FindClass(Guid(2))->module, 0);
}

TEST_F(RegistryTest, UnregisteringUnknownModules) {
  RegisterModule("SYSTEM");
  EXPECT_EQ(UnregisterModule("DUMMY"), -211);
  EXPECT_EQ(UnregisterModuleAt(1), -203);
  EXPECT_EQ(UnregisterModuleAt(-1), -203);
  EXPECT_EQ(ModuleCount(), 1);
}

}  // namespace
}  // namespace qorarc
