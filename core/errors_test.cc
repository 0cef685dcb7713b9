#include "core/errors.h"

#include <gtest/gtest.h>

#include <string>

#include "core/resource_strings.h"

namespace qorarc {
namespace {

// Unassigned slots (codes -98 and -97) that TextsMustFitTheBuffer fills.
constexpr int kFitSlot = 99;
constexpr int kTooLongSlot = 98;

class ErrorsTest : public ::testing::Test {
 protected:
  static void SetUpTestSuite() { RegisterErrorMessages(); }

  static std::string Text(int16_t code) {
    char buffer[kErrorTextSize];
    EXPECT_EQ(GetErrorText(buffer, code), buffer);
    return buffer;
  }
};

struct TextCase {
  int16_t code;
  const char* text;
};

TEST_F(ErrorsTest, TextOfCode) {
  const TextCase kCases[] = {
      {0, "Success"}, {-1, "False"}, {-10, "No more archive items"}, {-13, "End of file"},
      {-14, "Parameter may be incorrect"}, {-100, "Not enough memory"},
      {-111, "Operating system call error "}, {-113, "Access denied by operating system "},
      {-132, "Unsufficient buffer for requested operation"}, {-201, "Class already registered"},
      {-202, "Not enough space for registry"}, {-300, "Stream overflow"}, {-307, "File open error"},
      {-406, "Communication closed unexpectedly, probably 'Too many clients'"},
      {-444, "Operation would blok"}, {-451, "Reponse mismatch"},
      {-600, "Archive seek out of buffer"}, {-605, "Archive check sum error"},
      {-608, "Maximum size of disk archive file exceeded"}, {-718, "MC - Not used"},
      {-719, "MC - Not used"}, {-902, "Invalid format"}, {-1100, "FMI Context allocation failure"},
      {-1122, "FMU has too many parameters"},
      // Remote codes: bit 14 cleared.
      {-16484, "Not enough memory on the target device"}, {-16385, "False on the target device"},
      {-16989, "Archive check sum error on the target device"},
      // Positive codes and codes past -1122 name their fixed slot.
      {5, "Unknown resource 2148"}, {1, "Unknown resource 2148"}, {32767, "Unknown resource 2148"},
      {-1123, "Unknown resource 2149"}, {-1131, "Unknown resource 2149"},
      {-16384, "Unknown resource 2149"}, {-32768, "Unknown resource 2149"},
      // Unassigned rows report their slot, remote or not.
      {-137, "Unknown resource 138"}, {-15, "Unknown resource 16"},
      {-16521, "Unknown resource 138"},
  };
  for (const TextCase& c : kCases) EXPECT_EQ(Text(c.code), c.text) << "code " << c.code;
}

// The last row of every group is registered and the code after it is not.
TEST_F(ErrorsTest, GroupsEndWhereTheTableSaysSo) {
  const TextCase kLastRows[] = {
      {-14, "Parameter may be incorrect"},
      {-136, "Object is not compatible"},
      {-220, "QORLANG compilation error"},
      {-313, "Unable to extract files"},
      {-452, "Framing error"},
      {-511, "ODE/DAE Solver error"},
      {-608, "Maximum size of disk archive file exceeded"},
      {-724, "MC - Busy, waiting for activation"},
      {-805, "Missing or insufficient license"},
      {-903, "Invalid parameter"},
      {-1002, "The search criterion returned more corresponding objects"},
  };
  for (const TextCase& c : kLastRows) {
    EXPECT_EQ(Text(c.code), c.text) << "code " << c.code;
    int next_slot = 2 - c.code;
    EXPECT_EQ(ResourceText(next_slot), nullptr) << "slot " << next_slot;
  }
}

TEST_F(ErrorsTest, AllMessagesAreRegisteredAtSlotOneMinusCode) {
  int registered = 0;
  for (int slot = 0; slot < 1200; ++slot)
    if (ResourceText(slot) != nullptr && slot != kFitSlot && slot != kTooLongSlot) ++registered;
  EXPECT_EQ(registered, 231);
  EXPECT_EQ(ResourceText(0), nullptr);
  EXPECT_STREQ(ResourceText(1), "Success");
  EXPECT_STREQ(ResourceText(601), "Archive seek out of buffer");
  // Registered, though GetErrorText never reaches them.
  EXPECT_STREQ(ResourceText(1124), "Error importing FMU new discrete states");
  EXPECT_STREQ(ResourceText(1132), "Error completing integrator step");
  EXPECT_EQ(ResourceText(1133), nullptr);
}

TEST_F(ErrorsTest, RegisteringAgainChangesNothing) {
  RegisterErrorMessages();
  EXPECT_EQ(Text(-605), "Archive check sum error");
  EXPECT_EQ(Text(-137), "Unknown resource 138");
}

TEST_F(ErrorsTest, TextsMustFitTheBuffer) {
  static const std::string kFits(127, 'f');
  static const std::string kTooLong(128, 't');
  static const ResourceString kList[] = {
      {kFitSlot, kFits.c_str()}, {kTooLongSlot, kTooLong.c_str()}, {0, nullptr}};
  RegisterResourceStrings(kList);
  EXPECT_EQ(Text(-98), kFits);
  EXPECT_EQ(Text(-97), "Unknown resource 98");
  // No room is left for the remote suffix after 127 characters.
  EXPECT_EQ(Text(-98 & ~0x4000), kFits);
  EXPECT_EQ(Text(-97 & ~0x4000), "Unknown resource 98 on the target device");
}

TEST(IsWarning, WarningClassCodes) {
  const struct {
    int16_t code;
    bool warning;
  } kCases[] = {
      {0, false},     {5, false},     {-1, true},       {-99, true},      {-100, false},
      {-605, false},  {-16385, true}, {-16483, true},   {-16484, false},  {-32768, false},
  };
  for (const auto& c : kCases) EXPECT_EQ(IsWarning(c.code), c.warning) << "code " << c.code;
}

}  // namespace
}  // namespace qorarc
