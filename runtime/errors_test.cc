// The resource-string table and the error texts registered in it.
#include "runtime/errors.h"

#include <gtest/gtest.h>

#include <string>

#include "runtime/resource_strings.h"

namespace qorarc {
namespace {

// The text of `code`; registering the messages again changes nothing.
std::string Text(int16_t code) {
  RegisterErrorMessages();
  char buffer[kErrorTextSize];
  EXPECT_EQ(GetErrorText(buffer, code), buffer);
  return buffer;
}

// Warnings are the codes -1 to -99, local or remote.
TEST(GetErrorText, TextAndWarningClassOfCode) {
  const struct {
    int16_t code;
    const char* text;
    bool warning;
  } kCases[] = {
      {0, "Success", false}, {-1, "False", true}, {-14, "Parameter may be incorrect", true},
      {-99, "Unknown resource 100", true}, {-100, "Not enough memory", false},
      {-111, "Operating system call error ", false}, {-1122, "FMU has too many parameters", false},
      // Remote codes: bit 14 cleared.
      {-16385, "False on the target device", true}, {-16483, "Unknown resource 100", true},
      {-16484, "Not enough memory on the target device", false},
      // Positive codes and codes past -1122 name their fixed slot.
      {1, "Unknown resource 2148", false}, {-1123, "Unknown resource 2149", false},
      {-16384, "Unknown resource 2149", false}, {-32768, "Unknown resource 2149", false},
      // Unassigned rows report their slot, remote or not.
      {-15, "Unknown resource 16", true}, {-137, "Unknown resource 138", false},
      {-16521, "Unknown resource 138", false},
  };
  for (const auto& c : kCases) {
    EXPECT_EQ(Text(c.code), c.text) << "code " << c.code;
    EXPECT_EQ(IsWarning(c.code), c.warning) << "code " << c.code;
  }
}

TEST(GetErrorText, AllMessagesAreRegisteredAtSlotOneMinusCode) {
  Text(0);
  int registered = 0;
  // Slots 98 and 99 are TextsMustFitTheBuffer's.
  for (int slot = 0; slot < 1200; ++slot)
    registered += ResourceText(slot) != nullptr && slot != 98 && slot != 99;
  EXPECT_EQ(registered, 231);
  // Registered, though GetErrorText never reaches it.
  EXPECT_STREQ(ResourceText(1132), "Error completing integrator step");
}

// Unassigned slots 99 and 98 (codes -98 and -97) hold texts of 127 and 128 characters.
TEST(GetErrorText, TextsMustFitTheBuffer) {
  static const std::string kFits(127, 'f');
  static const std::string kTooLong(128, 't');
  static const ResourceString kList[] = {{99, kFits.c_str()}, {98, kTooLong.c_str()}, {0, nullptr}};
  RegisterResourceStrings(kList);
  EXPECT_EQ(Text(-98), kFits);
  EXPECT_EQ(Text(-97), "Unknown resource 98");
  // No room is left for the remote suffix after 127 characters.
  EXPECT_EQ(Text(-98 & ~0x4000), kFits);
  EXPECT_EQ(Text(-97 & ~0x4000), "Unknown resource 98 on the target device");
}

// Each list registers its first row and stops before its third; nothing in
// the runtime registers slots 9000-9407.
TEST(ResourceStrings, RegistrationStops) {
  const struct {
    const char* what;
    ResourceString rows[4];
  } kCases[] = {
      {"at the end row", {{9001, "in"}, {0, nullptr}, {9002, "no"}}},
      {"at an occupied slot", {{9003, "in"}, {9001, "again"}, {9004, "no"}, {0, nullptr}}},
      {"at an index past the array", {{9005, "in"}, {9408, "out"}, {9006, "no"}, {0, nullptr}}},
      {"at a negative index", {{9007, "in"}, {-5, "out"}, {9008, "no"}, {0, nullptr}}},
  };
  for (const auto& c : kCases) {
    SCOPED_TRACE(c.what);
    RegisterResourceStrings(c.rows);
    EXPECT_STREQ(ResourceText(c.rows[0].index), "in");
    EXPECT_EQ(ResourceText(c.rows[2].index), nullptr);
  }
  EXPECT_STREQ(ResourceText(9001), "in");
}

// Slots from 9400 on count only once one of them is registered.
TEST(ResourceStrings, CountGrowsOnlyPastTheInitialSlots) {
  const ResourceString beyond[] = {{9400, "first beyond"}, {0, nullptr}};
  const ResourceString last[] = {{9407, "last slot"}, {0, nullptr}};
  EXPECT_EQ(ResourceCount(), kResourceInitialCount);
  RegisterResourceStrings(beyond);
  EXPECT_EQ(ResourceCount(), 9401);
  EXPECT_STREQ(ResourceText(9400), "first beyond");
  RegisterResourceStrings(last);
  EXPECT_EQ(ResourceCount(), kResourceSlots);
  EXPECT_STREQ(ResourceText(9407), "last slot");
}

}  // namespace
}  // namespace qorarc
