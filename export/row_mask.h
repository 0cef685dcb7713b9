// The rows of an item, by element index, that the reading thread has
// decided its writer leaves out (export/unwritten_samples.h): the writer is
// told, rather than deciding itself, so that its state after an item never
// depends on the items before it (export/writer.h).
#pragma once

#include <array>
#include <cstdint>

namespace qorarc {

class RowMask {
 public:
  // Indexes at or past kSize are never set: an item has fewer elements.
  static constexpr int32_t kSize = 256;

  void Clear() { words_ = {}; }
  void Set(int32_t index) {
    if (index >= 0 && index < kSize) words_[index / 64] |= uint64_t{1} << (index % 64);
  }
  bool Has(int32_t index) const {
    return index >= 0 && index < kSize && (words_[index / 64] >> (index % 64) & 1) != 0;
  }

 private:
  std::array<uint64_t, kSize / 64> words_ = {};
};

}  // namespace qorarc
