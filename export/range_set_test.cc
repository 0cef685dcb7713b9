#include "export/range_set.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <random>
#include <string>
#include <vector>

namespace qorarc {
namespace {

constexpr int32_t kMin = std::numeric_limits<int32_t>::min();
constexpr int32_t kMax = std::numeric_limits<int32_t>::max();

// Every number around and inside the covered part, and the extremes, gives
// the answer of a plain search of the ranges.
void ExpectSameAsRanges(const std::vector<IdRange>& ranges, int64_t covered) {
  const RangeSet set(ranges, covered);
  auto plain = [&](int64_t n) {
    for (const IdRange& r : ranges)
      if (r.first <= n && n <= r.last) return true;
    return false;
  };
  for (int64_t n = -70; n < covered + 70; ++n) ASSERT_EQ(set.Contains(n), plain(n)) << n;
  for (int64_t n : {int64_t{kMin}, int64_t{kMin} + 1, int64_t{kMax} - 1, int64_t{kMax},
                    int64_t{kMax} + 1})
    ASSERT_EQ(set.Contains(n), plain(n)) << n;
}

TEST(RangeSetTest, HandPickedRanges) {
  struct Case {
    const char* name;
    std::vector<IdRange> ranges;
  };
  const Case cases[] = {
      {"none", {}},
      {"one number", {{7, 7}}},
      {"overlapping", {{3, 10}, {5, 20}, {20, 20}, {0, 1}}},
      {"negative", {{-5, -1}, {-100, 2}}},
      {"everything", {{0, kMax}}},
      {"all of int32", {{kMin, kMax}}},
      {"beyond the covered part", {{60, 200}, {1000, kMax}}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    ExpectSameAsRanges(c.ranges, 130);
  }
}

TEST(RangeSetTest, RandomRangesAgreeWithTheRangeList) {
  for (uint64_t seed = 1; seed <= 200; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937_64 random(seed);
    const int64_t covered = seed % 4 == 0 ? 65536 : static_cast<int64_t>(random() % 5000);
    std::vector<IdRange> ranges(random() % 20);
    for (IdRange& r : ranges) {
      // Mostly near the covered part, sometimes anywhere in 32 bits.
      auto bound = [&] {
        return random() % 8 == 0 ? static_cast<int32_t>(random())
                                 : static_cast<int32_t>(random() % (covered + 200)) - 100;
      };
      int32_t a = bound(), b = bound();
      r = {std::min(a, b), std::max(a, b)};
    }
    ExpectSameAsRanges(ranges, covered);
  }
}

}  // namespace
}  // namespace qorarc
