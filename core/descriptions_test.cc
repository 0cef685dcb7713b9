#include "core/descriptions.h"

#include <gtest/gtest.h>

#include "core/resource_strings.h"

namespace qorarc {
namespace {

TEST(Descriptions, RegistersTheBaseTickTextOnly) {
  RegisterDescriptions();
  EXPECT_STREQ(ResourceText(2448), "Base tick (period) of the runtime core [s]");
  int registered = 0;
  for (int slot = kFirstBlockDescriptionSlot; slot <= kLastParameterDescriptionSlot; ++slot)
    if (ResourceText(slot) != nullptr) ++registered;
  EXPECT_EQ(registered, 1);
}

}  // namespace
}  // namespace qorarc
