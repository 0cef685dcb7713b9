#include "export/range_set.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <vector>

namespace qorarc {
namespace {

constexpr int32_t kMin = std::numeric_limits<int32_t>::min();
constexpr int32_t kMax = std::numeric_limits<int32_t>::max();

// Every number around and inside the covered part, and the extremes, gives
// the answer of a plain search of the ranges. The bit set has words of 64
// bits: the ranges start and end on either side of word edges.
TEST(RangeSetTest, SameAsTheRanges) {
  const struct {
    const char* what;
    std::vector<IdRange> ranges;
    int64_t covered;
  } cases[] = {
      {"none", {}, 130},
      {"one number", {{7, 7}}, 130},
      {"word edges", {{63, 64}, {127, 128}}, 130},
      {"into the next word", {{60, 70}}, 130},
      {"across a whole word", {{1, 190}}, 256},
      {"whole words", {{0, 63}, {128, 255}}, 256},
      {"overlapping", {{3, 10}, {5, 20}, {20, 20}, {0, 1}}, 130},
      {"negative", {{-5, -1}, {-100, 2}}, 130},
      {"all of int32", {{kMin, kMax}}, 130},
      {"beyond the covered part", {{60, 200}, {1000, kMax}}, 130},
      {"nothing covered", {{0, 5}}, 0},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    const RangeSet set(c.ranges, c.covered);
    auto plain = [&](int64_t n) {
      for (const IdRange& r : c.ranges)
        if (r.first <= n && n <= r.last) return true;
      return false;
    };
    for (int64_t n = -70; n < c.covered + 70; ++n) ASSERT_EQ(set.Contains(n), plain(n)) << n;
    for (int64_t n : {int64_t{kMin}, int64_t{kMax}, int64_t{kMax} + 1})
      ASSERT_EQ(set.Contains(n), plain(n)) << n;
  }
}

}  // namespace
}  // namespace qorarc
