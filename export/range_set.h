// A set of numbers given as a list of inclusive ranges, for the filters that
// test every item: the item IDs of "--filter-id" and the CSV columns of
// "--csv-column-filter". Membership is one bit test for the numbers the set
// covers, whatever the number and the overlaps of the ranges.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "archive/item_filter.h"

namespace qorarc {

class RangeSet {
 public:
  // The set of the numbers in any of `ranges`, with one bit for each number
  // in [0, covered); numbers outside that are looked up in the ranges.
  RangeSet(const std::vector<IdRange>& ranges, int64_t covered);

  bool Contains(int64_t n) const {
    if (static_cast<uint64_t>(n) < static_cast<uint64_t>(covered_))
      return (bits_[static_cast<size_t>(n) >> 6] >> (n & 63)) & 1;
    return InRanges(n);
  }

  // The same answer from the ranges alone, for any number.
  bool InRanges(int64_t n) const;

 private:
  // Sets the bits of first..last, both inside [0, covered).
  void SetBits(int64_t first, int64_t last);

  std::vector<IdRange> ranges_;
  int64_t covered_;
  std::unique_ptr<uint64_t[]> bits_;
};

}  // namespace qorarc
