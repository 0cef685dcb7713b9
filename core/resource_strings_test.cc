#include "core/resource_strings.h"

#include <gtest/gtest.h>

namespace qorarc {
namespace {

// The table is process-wide; these tests use slots 9000-9407, which nothing
// else in the runtime registers.

TEST(ResourceStrings, RegistersRowsUntilTheEndRow) {
  static constexpr ResourceString kList[] = {
      {9001, "one"}, {9002, "two"}, {0, nullptr}, {9003, "after the end"}};
  RegisterResourceStrings(kList);
  EXPECT_STREQ(ResourceText(9001), "one");
  EXPECT_STREQ(ResourceText(9002), "two");
  EXPECT_EQ(ResourceText(9003), nullptr);
}

TEST(ResourceStrings, StopsAtAnOccupiedSlot) {
  static constexpr ResourceString kFirst[] = {{9010, "first"}, {0, nullptr}};
  static constexpr ResourceString kSecond[] = {
      {9011, "a"}, {9012, "b"}, {9010, "again"}, {9013, "c"}, {0, nullptr}};
  RegisterResourceStrings(kFirst);
  RegisterResourceStrings(kSecond);
  EXPECT_STREQ(ResourceText(9011), "a");
  EXPECT_STREQ(ResourceText(9012), "b");
  EXPECT_STREQ(ResourceText(9010), "first");
  EXPECT_EQ(ResourceText(9013), nullptr);
}

TEST(ResourceStrings, StopsAtAnIndexOutsideTheArray) {
  static constexpr ResourceString kTooHigh[] = {{9020, "in"}, {9408, "out"}, {9021, "no"}, {0, nullptr}};
  static constexpr ResourceString kNegative[] = {{-5, "out"}, {9022, "no"}, {0, nullptr}};
  RegisterResourceStrings(kTooHigh);
  RegisterResourceStrings(kNegative);
  EXPECT_STREQ(ResourceText(9020), "in");
  EXPECT_EQ(ResourceText(9021), nullptr);
  EXPECT_EQ(ResourceText(9022), nullptr);
  EXPECT_EQ(ResourceText(9408), nullptr);
  EXPECT_EQ(ResourceText(-5), nullptr);
}

TEST(ResourceStrings, CountGrowsOnlyPastTheInitialSlots) {
  EXPECT_GE(ResourceCount(), kResourceInitialCount);
  static constexpr ResourceString kBelow[] = {{9399, "last initial"}, {0, nullptr}};
  RegisterResourceStrings(kBelow);
  EXPECT_STREQ(ResourceText(9399), "last initial");
  EXPECT_EQ(ResourceCount(), kResourceInitialCount);

  static constexpr ResourceString kBeyond[] = {{9404, "beyond"}, {0, nullptr}};
  RegisterResourceStrings(kBeyond);
  EXPECT_EQ(ResourceCount(), 9405);
  EXPECT_STREQ(ResourceText(9404), "beyond");

  static constexpr ResourceString kLast[] = {{9407, "last slot"}, {0, nullptr}};
  RegisterResourceStrings(kLast);
  EXPECT_EQ(ResourceCount(), kResourceSlots);
  EXPECT_STREQ(ResourceText(9407), "last slot");
}

}  // namespace
}  // namespace qorarc
