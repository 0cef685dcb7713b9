// Start-up, shutdown and the settings they read. The lines they write, in
// order, are checked end to end (tests/core_console_test.cc).
#include "runtime/core_init.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdlib>

#include "runtime/core_config.h"
#include "runtime/dprint.h"
#include "runtime/registry.h"
#include "runtime/resource_strings.h"

namespace qorarc {
namespace {

// Every test starts and ends without settings from the environment.
class CoreTest : public ::testing::Test {
 protected:
  void SetUp() override { TearDown(); }
  void TearDown() override {
    for (const char* name : {"QORARC_DGN_MESSAGES", "QORARC_LOG_FILE", "QORARC_LOG_FILE_ENABLED"})
      unsetenv(name);
    SetMessageMask(saved_mask_);
    SetCoreConfigValue("log.file", kDefaultLogFile);
  }
  const uint32_t saved_mask_ = MessageMask();
};

TEST_F(CoreTest, StartRegistersTheCoreAndStopTakesEveryModule) {
  SetMessageMask(kDefaultMessageMask);
  ASSERT_EQ(CoreStart(), 0);
  const char* const kModules[] = {"SYSTEM", "DUMMY", "PSEUDO"};
  ASSERT_EQ(ModuleCount(), 3);
  for (int i = 0; i < 3; ++i) EXPECT_STREQ(ModuleName(i), kModules[i]);
  std::array<int, 3> per_module{};
  for (int i = 0; i < ClassCount(); ++i) ++per_module[ClassAt(i)->module];
  EXPECT_EQ(per_module, (std::array<int, 3>{10, 6, 13}));
  EXPECT_EQ(RegistryLockDepth(), 0);
  EXPECT_STREQ(ResourceText(606), "Archive check sum error");
  // The only description this build carries.
  EXPECT_STREQ(ResourceText(2448), "Base tick (period) of the runtime core [s]");
  // Modules registered after start-up go at shutdown too, and the next start
  // registers everything again.
  ASSERT_EQ(RegisterModule("EXTRA"), 3);
  ASSERT_GE(RegisterClass({"Extra", {{0xEE}}}), 0);
  CoreStop();
  EXPECT_EQ(ModuleCount(), 0);
  EXPECT_EQ(ClassCount(), 0);
  ASSERT_EQ(CoreStart(), 0);
  EXPECT_EQ(ClassCount(), 29);
  CoreStop();
}

// Start-up ends at the first failure, and shutdown still takes every module.
// The message on standard error is checked end to end.
TEST_F(CoreTest, FailedStartUps) {
  const struct {
    const char* what;
    const char* first_module;  // registered before the start, or null
    uint32_t mask;
    int status;
  } kCases[] = {
      {"SYSTEM registered before", "SYSTEM", kDefaultMessageMask, -201},
      {"another module first", "EARLY", kDefaultMessageMask, -115},
      {"unopenable log file", nullptr, kMaskLogFile, -307},
  };
  SetCoreConfigValue("log.file", "/nonexistent-qorarc-dir/qorcore.log");
  for (const auto& c : kCases) {
    SCOPED_TRACE(c.what);
    ASSERT_TRUE(c.first_module == nullptr || RegisterModule(c.first_module) == 0);
    SetMessageMask(c.mask);
    ::testing::internal::CaptureStderr();
    EXPECT_EQ(CoreStart(), c.status);
    ::testing::internal::GetCapturedStderr();
    EXPECT_EQ(ClassCount(), 0);
    EXPECT_EQ(RegistryLockDepth(), 0);
    CoreStop();
    EXPECT_EQ(ModuleCount(), 0);
  }
}

// "dgn.messages" takes a whole 32-bit number, decimal or hexadecimal after
// "0x", "log.file.enabled" 1 or 0; anything else, and unknown keys, leave the
// mask as it was.
TEST_F(CoreTest, MaskSettings) {
  const struct {
    const char* value;
    bool valid;
    uint32_t mask;
    const char* key = "dgn.messages";
  } kCases[] = {
      {"0x400000C0", true, 0x400000C0}, {"0X1f", true, 0x1F}, {"255", true, 255},
      {"4294967295", true, 0xFFFFFFFF}, {"4294967296", false, 0}, {"0x100000000", false, 0},
      {"", false, 0}, {"0x", false, 0}, {"12a", false, 0}, {"-1", false, 0}, {"+1", false, 0},
      {" 1", false, 0}, {"1 ", false, 0},
      {"1", true, 0x20012345, "log.file.enabled"}, {"yes", false, 0, "log.file.enabled"},
      {"0x80", false, 0, "dgn.message"}, {"0x80", false, 0, "DGN.MESSAGES"},
  };
  for (const auto& c : kCases) {
    SetMessageMask(0x12345);
    EXPECT_EQ(SetCoreConfigValue(c.key, c.value), c.valid) << c.key << " \"" << c.value << '"';
    EXPECT_EQ(MessageMask(), c.valid ? c.mask : 0x12345u) << c.key << " \"" << c.value << '"';
  }
}

// The log file switch is applied after the mask, so it wins; values that
// cannot be read are dropped.
TEST_F(CoreTest, SettingsFromTheEnvironment) {
  setenv("QORARC_DGN_MESSAGES", "0x20000040", 1);
  setenv("QORARC_LOG_FILE_ENABLED", "0", 1);
  setenv("QORARC_LOG_FILE", "diag.log", 1);
  LoadCoreConfigFromEnvironment();
  EXPECT_EQ(MessageMask(), 0x40u);
  EXPECT_EQ(LogFilePath(), "diag.log");
  setenv("QORARC_DGN_MESSAGES", "verbose", 1);
  setenv("QORARC_LOG_FILE_ENABLED", "on", 1);
  setenv("QORARC_LOG_FILE", "", 1);
  LoadCoreConfigFromEnvironment();
  EXPECT_EQ(MessageMask(), 0x40u);
  EXPECT_EQ(LogFilePath(), "diag.log");
}

}  // namespace
}  // namespace qorarc
