#include "core/core_classes.h"

#include <gtest/gtest.h>

#include <cstring>
#include <vector>

namespace qorarc {
namespace {

TEST(CoreClasses, GroupSizes) {
  const struct {
    CoreClassGroup group;
    size_t size;
  } kGroups[] = {
      {CoreClassGroup::kStream, 1},    {CoreClassGroup::kSequence, 1},
      {CoreClassGroup::kTask, 3},      {CoreClassGroup::kExecutive, 4},
      {CoreClassGroup::kArchiveCore, 1}, {CoreClassGroup::kGlobal, 6},
      {CoreClassGroup::kPseudoBlock, 13},
  };
  for (const auto& g : kGroups)
    EXPECT_EQ(CoreClasses(g.group).size(), g.size) << static_cast<int>(g.group);
}

TEST(CoreClasses, GuidsAndNamesAreDistinct) {
  std::vector<ClassDescriptor> all;
  for (CoreClassGroup group :
       {CoreClassGroup::kStream, CoreClassGroup::kSequence, CoreClassGroup::kTask,
        CoreClassGroup::kExecutive, CoreClassGroup::kArchiveCore, CoreClassGroup::kGlobal,
        CoreClassGroup::kPseudoBlock})
    for (const ClassDescriptor& descriptor : CoreClasses(group)) all.push_back(descriptor);
  ASSERT_EQ(all.size(), 29u);
  for (size_t i = 0; i < all.size(); ++i)
    for (size_t j = i + 1; j < all.size(); ++j) {
      EXPECT_NE(std::memcmp(all[i].guid.bytes, all[j].guid.bytes, 16), 0) << i << ' ' << j;
      EXPECT_STRNE(all[i].name, all[j].name);
    }
}

}  // namespace
}  // namespace qorarc
