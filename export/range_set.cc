#include "export/range_set.h"

#include <algorithm>

namespace qorarc {

RangeSet::RangeSet(const std::vector<IdRange>& ranges, int64_t covered)
    : ranges_(ranges),
      covered_(std::max<int64_t>(covered, 0)),
      bits_(new uint64_t[static_cast<size_t>(covered_ + 63) / 64]()) {
  for (const IdRange& range : ranges_) {
    // Only the part inside [0, covered) sets bits; 64-bit bounds, so that
    // a range up to INT32_MAX cannot overflow.
    const int64_t first = std::max<int64_t>(range.first, 0);
    const int64_t last = std::min<int64_t>(range.last, covered_ - 1);
    if (first <= last) SetBits(first, last);
  }
}

void RangeSet::SetBits(int64_t first, int64_t last) {
  const size_t first_word = static_cast<size_t>(first) >> 6;
  const size_t last_word = static_cast<size_t>(last) >> 6;
  const uint64_t head = ~uint64_t{0} << (first & 63);
  const uint64_t tail = ~uint64_t{0} >> (63 - (last & 63));
  if (first_word == last_word) {
    bits_[first_word] |= head & tail;
    return;
  }
  bits_[first_word] |= head;
  for (size_t w = first_word + 1; w < last_word; ++w) bits_[w] = ~uint64_t{0};
  bits_[last_word] |= tail;
}

bool RangeSet::InRanges(int64_t n) const {
  for (const IdRange& range : ranges_)
    if (range.first <= n && n <= range.last) return true;
  return false;
}

}  // namespace qorarc
