// Pseudo-random numbers for test archives and the archive generator,
// reduced to ranges by plain arithmetic, which the standard fixes (its
// distributions differ between implementations): a seed gives the same
// archive everywhere.
#pragma once

#include <cstdint>
#include <random>

namespace qorarc::testing {

struct Random {
  std::mt19937_64 engine;
  uint64_t Bits() { return engine(); }
  // 0 to n - 1; n > 0.
  uint64_t Below(uint64_t n) { return engine() % n; }
  // lo to hi inclusive.
  int64_t Between(int64_t lo, int64_t hi) {
    return lo + static_cast<int64_t>(Below(static_cast<uint64_t>(hi - lo) + 1));
  }
  bool OneIn(uint64_t n) { return Below(n) == 0; }
};

}  // namespace qorarc::testing
