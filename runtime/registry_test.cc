#include "runtime/registry.h"

#include <gtest/gtest.h>

#include <string>

#include "runtime/dprint.h"

namespace qorarc {
namespace {

ClassGuid Guid(uint8_t first, uint8_t last = 0) {
  return {{first, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, last}};
}

class RegistryTest : public ::testing::Test {
 protected:
  void TearDown() override {
    while (ModuleCount() > 0) UnregisterModuleAt(0);
    SetMessageMask(saved_mask_);
  }
  const uint32_t saved_mask_ = MessageMask();
};

// A second registration is refused, and reported only with the core error bit.
TEST_F(RegistryTest, DuplicatesAreRefused) {
  RegisterModule("SYSTEM");
  ASSERT_EQ(RegisterClass({"First", Guid(7)}), 0);
  for (uint32_t levels : {kLevelCoreError, kLevelCoreInfo | kLevelCoreVerbose}) {
    SetMessageMask(kMaskConsole | levels);
    ::testing::internal::CaptureStdout();
    EXPECT_EQ(RegisterModule("SYSTEM"), -201);
    EXPECT_EQ(RegisterClass({"Second", Guid(7)}), -201);
    EXPECT_EQ(::testing::internal::GetCapturedStdout(),
              levels != kLevelCoreError
                  ? ""
                  : "[ CORE  ][ ERROR ] RegisterModule: Module \"SYSTEM\" already used!\n"
                    "[ CORE  ][ ERROR ] RegisterClass: GUID of class \"Second\" already used!\n");
  }
  EXPECT_EQ(ClassCount(), 1);
  EXPECT_STREQ(FindClass(Guid(7))->descriptor.name, "First");
}

// Full at 128 modules and 2048 classes; the count is checked before the name
// or GUID.
TEST_F(RegistryTest, RegistriesHoldTheirLimit) {
  for (int i = 0; i < kMaxModules; ++i) ASSERT_EQ(RegisterModule(std::to_string(i).c_str()), i);
  EXPECT_EQ(RegisterModule("128"), -202);
  EXPECT_EQ(RegisterModule("0"), -202);
  // Descending GUIDs: every insertion goes to the front.
  for (int i = 0; i < kMaxClasses; ++i)
    ASSERT_EQ(RegisterClass({"C", Guid(255 - i / 256, 255 - i % 256)}), 0) << i;
  EXPECT_EQ(RegisterClass({"C", Guid(0)}), -202);
  EXPECT_EQ(RegisterClass({"C", Guid(255, 255)}), -202);
}

TEST_F(RegistryTest, ClassesAreSortedByGuidAndGoWithTheirModule) {
  ASSERT_EQ(RegisterModule("A"), 0);
  const struct {
    uint8_t guid;
    int position;
  } kInsertions[] = {{5, 0}, {1, 0}, {3, 1}, {9, 3}, {0, 0}, {10, 5}};
  for (const auto& c : kInsertions)
    EXPECT_EQ(RegisterClass({"C", Guid(c.guid)}), c.position) << int(c.guid);
  ASSERT_EQ(RegisterModule("B"), 1);
  // The last byte counts as much as the first.
  EXPECT_EQ(RegisterClass({"C", Guid(3, 1)}), 3);
  ASSERT_EQ(RegisterModule("C"), 2);
  EXPECT_EQ(RegisterClass({"C", Guid(4)}), 4);
  ASSERT_EQ(ClassCount(), 8);
  EXPECT_EQ(ClassAt(7)->descriptor.guid.bytes[0], 10);
  EXPECT_EQ(ClassAt(8), nullptr);
  for (uint8_t missing : {2, 50}) EXPECT_EQ(FindClass(Guid(missing)), nullptr) << int(missing);
  EXPECT_EQ(ModuleName(3), nullptr);
  EXPECT_EQ(ModuleName(-1), nullptr);
  // A module's classes go with it; those of later modules follow their module down.
  EXPECT_EQ(UnregisterModule("B"), 0);
  EXPECT_STREQ(ModuleName(1), "C");
  EXPECT_EQ(FindClass(Guid(3, 1)), nullptr);
  EXPECT_EQ(FindClass(Guid(3))->module, 0);
  EXPECT_EQ(FindClass(Guid(4))->module, 1);
  EXPECT_EQ(ClassCount(), 7);
  EXPECT_EQ(UnregisterModule("B"), -211);
  EXPECT_EQ(UnregisterModuleAt(2), -203);
  EXPECT_EQ(UnregisterModuleAt(-1), -203);
}

}  // namespace
}  // namespace qorarc
