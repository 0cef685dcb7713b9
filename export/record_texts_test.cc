#include <string>

#include <gtest/gtest.h>

#include "export/record_texts.h"

namespace qorarc {
namespace {

TEST(RecordTextsTest, ClassTextOfEveryCode) {
  const char* const expected[] = {
      "System",   "AlBool",   "AlByte",   "AlShort",  "AlLong",   "AlWord",
      "AlDWord",  "AlFloat",  "AlDouble", "AlTime",   "AlLarge",  "AlError",
      "AlString", "-Res 13-", "-Res 14-", "-Res 15-", "-Res 16-", "GrBool",
      "GrByte",   "GrShort",  "GrLong",   "GrWord",   "GrDWord",  "GrFloat",
      "GrDouble", "GrTime",   "GrLarge",  "GrError",  "-Res 28-", "-Res 29-",
      "-Res 30-", "AlAckn",
  };
  for (int code = 0; code < 32; ++code) {
    EXPECT_EQ(ClassText(code), expected[code]) << code;
  }
  EXPECT_EQ(ClassText(32), "????????");
  EXPECT_EQ(ClassText(255), "????????");
  EXPECT_EQ(ClassText(-1), "????????");
}

TEST(RecordTextsTest, TypeTextByCodeAndState) {
  const struct {
    int codes[4];  // value type codes sharing a table; -1 fills
    const char* states[8];
  } tables[] = {
      {{0, -1, -1, -1},
       {"Date Mark", "Executive events", "Archive events", "????", "????", "????",
        "????", "????"}},
      {{1, -1, -1, -1}, {"H->L", "L->H", "?2??", "?3??", "?4??", "?5??", "?6??", "?7??"}},
      {{2, 11, 13, 30}, {"Lo  ", "Hi  ", "LoLo", "HiHi", "data", "?5??", "?6??", "?7??"}},
      {{17, 24, 25, 27}, {"Lo  ", "Hi  ", "LoLo", "HiHi", "data", "?5??", "?6??", "?7??"}},
      {{12, -1, -1, -1}, {"Norm", "LogF", "Arch", "User", "?4??", "?5??", "?6??", "SYST"}},
      {{31, -1, -1, -1}, {"Lo/L", "Hi/H", "LoLo", "HiHi", "?4??", "?5??", "?6??", "?7??"}},
  };
  for (const auto& table : tables) {
    for (int code : table.codes) {
      if (code < 0) continue;
      for (int state = 0; state < 8; ++state) {
        const auto type = static_cast<uint8_t>(state << 5 | code);
        EXPECT_EQ(TypeText(type), table.states[state]) << "code " << code << " state " << state;
      }
    }
  }
  // The bad-record item of the reader.
  EXPECT_EQ(TypeText(0x40), "Archive events");
}

TEST(RecordTextsTest, LevelTextFromCountByte) {
  const struct {
    int count;
    const char* level;
  } cases[] = {
      {0, "Unknown"}, {1, "Write"}, {2, "Read"}, {3, "Verbose"}, {4, "Info"}, {5, "Warning"},
      {6, "Error"}, {7, "Unknown"}, {9, "Unknown"}, {10, "Os Unknown"}, {17, "Os Unknown"},
      {21, "Core Write"}, {25, "Core Warning"}, {33, "Diagnostic Verbose"}, {44, "Block Info"},
      {52, "Archive Read"}, {66, "IODriver Error"}, {69, "IODriver Unknown"}, {70, "Unknown"},
      {71, "Unknown"}, {255, "Unknown"},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(LevelText(static_cast<uint8_t>(c.count)), c.level) << c.count;
  }
}

}  // namespace
}  // namespace qorarc
