#include "core/core_init.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

#include "core/core_config.h"
#include "core/dprint.h"
#include "core/errors.h"
#include "core/registry.h"
#include "core/resource_strings.h"

namespace qorarc {
namespace {

// The start-up and shutdown lines, in order, are checked end to end
// (tests/core_console_test.cc); these tests show what the registry holds
// and how start-up fails.
class CoreInitTest : public ::testing::Test {
 protected:
  void SetUp() override {
    unsetenv("QORARC_DGN_MESSAGES");
    unsetenv("QORARC_LOG_FILE");
    unsetenv("QORARC_LOG_FILE_ENABLED");
    saved_mask_ = MessageMask();
    ASSERT_EQ(ModuleCount(), 0);
  }
  void TearDown() override {
    unsetenv("QORARC_DGN_MESSAGES");
    SetMessageMask(saved_mask_);
    SetCoreConfigValue("log.file", kDefaultLogFile);
  }

  // Runs CoreStart with the mask, capturing both outputs.
  int Start(uint32_t mask) {
    SetMessageMask(mask);
    ::testing::internal::CaptureStdout();
    ::testing::internal::CaptureStderr();
    int result = CoreStart();
    out_ = ::testing::internal::GetCapturedStdout();
    err_ = ::testing::internal::GetCapturedStderr();
    return result;
  }

  void Stop() {
    ::testing::internal::CaptureStdout();
    ::testing::internal::CaptureStderr();
    CoreStop();
    out_ = ::testing::internal::GetCapturedStdout();
    err_ = ::testing::internal::GetCapturedStderr();
  }

  uint32_t saved_mask_ = 0;
  std::string out_;
  std::string err_;
};

TEST_F(CoreInitTest, SilentStartRegistersTheCoreAgainAfterStop) {
  ASSERT_EQ(Start(kDefaultMessageMask), 0);
  EXPECT_EQ(out_, "");
  EXPECT_EQ(err_, "");
  ASSERT_EQ(ModuleCount(), 3);
  EXPECT_STREQ(ModuleName(0), "SYSTEM");
  EXPECT_STREQ(ModuleName(1), "DUMMY");
  EXPECT_STREQ(ModuleName(2), "PSEUDO");
  EXPECT_EQ(ClassCount(), 29);
  int per_module[3] = {};
  for (int i = 0; i < ClassCount(); ++i) ++per_module[ClassAt(i)->module];
  EXPECT_EQ(per_module[0], 10);
  EXPECT_EQ(per_module[1], 6);
  EXPECT_EQ(per_module[2], 13);
  EXPECT_EQ(RegistryLockDepth(), 0);
  char text[kErrorTextSize];
  EXPECT_STREQ(GetErrorText(text, -605), "Archive check sum error");
  EXPECT_STREQ(ResourceText(2448), "Base tick (period) of the runtime core [s]");

  Stop();
  EXPECT_EQ(out_, "");
  EXPECT_EQ(err_, "");
  EXPECT_EQ(ModuleCount(), 0);
  EXPECT_EQ(ClassCount(), 0);
  EXPECT_EQ(RegistryLockDepth(), 0);

  ASSERT_EQ(Start(kDefaultMessageMask), 0);
  EXPECT_EQ(ModuleCount(), 3);
  EXPECT_EQ(ClassCount(), 29);
  Stop();
}

TEST_F(CoreInitTest, ShutdownRemovesModulesRegisteredAfterStart) {
  ASSERT_EQ(Start(kDefaultMessageMask), 0);
  ASSERT_EQ(RegisterModule("EXTRA"), 3);
  ClassDescriptor extra{"Extra", {{0xEE}}};
  ASSERT_GE(RegisterClass(extra), 0);
  Stop();
  EXPECT_EQ(ModuleCount(), 0);
  EXPECT_EQ(ClassCount(), 0);
}

TEST_F(CoreInitTest, SystemRegisteredTwiceEndsStartUp) {
  ASSERT_EQ(RegisterModule("SYSTEM"), 0);
  EXPECT_EQ(Start(kMaskConsole | kLevelCoreError | kLevelCoreVerbose), -201);
  EXPECT_EQ(out_,
            "[ CORE  ][VERBOSE] Initializing Version\n"
            "[ CORE  ][VERBOSE] Initializing Platform\n"
            "[ CORE  ][ ERROR ] RegisterModule: Module \"SYSTEM\" already used!\n");
  EXPECT_EQ(ModuleCount(), 1);
  EXPECT_EQ(ClassCount(), 0);
  EXPECT_EQ(RegistryLockDepth(), 0);
  Stop();
  EXPECT_EQ(ModuleCount(), 0);
}

TEST_F(CoreInitTest, SystemMustBeTheFirstModule) {
  ASSERT_EQ(RegisterModule("EARLY"), 0);
  EXPECT_EQ(Start(kDefaultMessageMask), -115);
  EXPECT_EQ(ModuleCount(), 2);
  EXPECT_EQ(ClassCount(), 0);
  Stop();
  EXPECT_EQ(ModuleCount(), 0);
}

TEST_F(CoreInitTest, UnopenableLogFileEndsStartUp) {
  SetCoreConfigValue("log.file", "/nonexistent-qorarc-dir/qorcore.log");
  EXPECT_EQ(Start(kMaskLogFile | kMaskConsole | kLevelCoreVerbose | kLevelCoreInfo), -307);
  EXPECT_EQ(err_,
            "Unable to open log file /nonexistent-qorarc-dir/qorcore.log: "
            "No such file or directory\n");
  EXPECT_EQ(out_, "");
  EXPECT_EQ(ModuleCount(), 0);
  Stop();
}

}  // namespace
}  // namespace qorarc
