#include "core/core_config.h"

#include <gtest/gtest.h>

#include <cstdlib>

#include "core/dprint.h"

namespace qorarc {
namespace {

class CoreConfigTest : public ::testing::Test {
 protected:
  void SetUp() override {
    saved_mask_ = MessageMask();
    UnsetVariables();
  }
  void TearDown() override {
    UnsetVariables();
    SetMessageMask(saved_mask_);
    SetCoreConfigValue("log.file", kDefaultLogFile);
  }
  static void UnsetVariables() {
    unsetenv("QORARC_DGN_MESSAGES");
    unsetenv("QORARC_LOG_FILE");
    unsetenv("QORARC_LOG_FILE_ENABLED");
  }
  uint32_t saved_mask_ = 0;
};

TEST_F(CoreConfigTest, MaskValues) {
  const struct {
    const char* text;
    bool valid;
    uint32_t mask;
  } kCases[] = {
      {"0x400000C0", true, 0x400000C0}, {"0X1f", true, 0x1F}, {"255", true, 255}, {"0", true, 0},
      {"00", true, 0}, {"4294967295", true, 0xFFFFFFFF}, {"0xFFFFFFFF", true, 0xFFFFFFFF},
      {"4294967296", false, 0}, {"0x100000000", false, 0}, {"", false, 0}, {"0x", false, 0},
      {"12a", false, 0}, {"0x4g", false, 0}, {"-1", false, 0}, {"+1", false, 0}, {"0x-1", false, 0},
      {" 1", false, 0}, {"1 ", false, 0},
  };
  for (const auto& c : kCases) {
    SetMessageMask(0x12345);
    EXPECT_EQ(SetCoreConfigValue("dgn.messages", c.text), c.valid) << '"' << c.text << '"';
    EXPECT_EQ(MessageMask(), c.valid ? c.mask : 0x12345u) << '"' << c.text << '"';
  }
}

TEST_F(CoreConfigTest, LogFileSwitch) {
  SetMessageMask(0x80);
  EXPECT_TRUE(SetCoreConfigValue("log.file.enabled", "1"));
  EXPECT_EQ(MessageMask(), 0x20000080u);
  EXPECT_FALSE(SetCoreConfigValue("log.file.enabled", "yes"));
  EXPECT_FALSE(SetCoreConfigValue("log.file.enabled", ""));
  EXPECT_EQ(MessageMask(), 0x20000080u);
  EXPECT_TRUE(SetCoreConfigValue("log.file.enabled", "0"));
  EXPECT_EQ(MessageMask(), 0x80u);
}

TEST_F(CoreConfigTest, LogFilePathAndUnknownKeys) {
  EXPECT_FALSE(SetCoreConfigValue("log.file", ""));
  EXPECT_EQ(LogFilePath(), "qorcore.log");
  EXPECT_TRUE(SetCoreConfigValue("log.file", "/var/log/qor/export.log"));
  EXPECT_EQ(LogFilePath(), "/var/log/qor/export.log");
  SetMessageMask(0x40);
  EXPECT_FALSE(SetCoreConfigValue("dgn.message", "0x80"));
  EXPECT_FALSE(SetCoreConfigValue("DGN.MESSAGES", "0x80"));
  EXPECT_EQ(MessageMask(), 0x40u);
}

TEST_F(CoreConfigTest, EnvironmentSwitchWinsOverMask) {
  setenv("QORARC_DGN_MESSAGES", "0x20000040", 1);
  setenv("QORARC_LOG_FILE_ENABLED", "0", 1);
  setenv("QORARC_LOG_FILE", "diag.log", 1);
  LoadCoreConfigFromEnvironment();
  EXPECT_EQ(MessageMask(), 0x40u);
  EXPECT_EQ(LogFilePath(), "diag.log");

  setenv("QORARC_DGN_MESSAGES", "0x80", 1);
  setenv("QORARC_LOG_FILE_ENABLED", "1", 1);
  LoadCoreConfigFromEnvironment();
  EXPECT_EQ(MessageMask(), 0x20000080u);
}

TEST_F(CoreConfigTest, EnvironmentIgnoresBadAndMissingValues) {
  SetMessageMask(kDefaultMessageMask);
  LoadCoreConfigFromEnvironment();
  EXPECT_EQ(MessageMask(), kDefaultMessageMask);
  EXPECT_EQ(LogFilePath(), "qorcore.log");

  setenv("QORARC_DGN_MESSAGES", "verbose", 1);
  setenv("QORARC_LOG_FILE_ENABLED", "on", 1);
  setenv("QORARC_LOG_FILE", "", 1);
  LoadCoreConfigFromEnvironment();
  EXPECT_EQ(MessageMask(), kDefaultMessageMask);
  EXPECT_EQ(LogFilePath(), "qorcore.log");
}

}  // namespace
}  // namespace qorarc
