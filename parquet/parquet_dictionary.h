// The dictionary of one column chunk, built page by page as the pages are
// filled: each page's present values become indices into it. Pages are
// mapped in file order on one thread, so the dictionary, and with it every
// byte of the file, depends on the values alone.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <unordered_map>
#include <vector>

#include "parquet/parquet_column.h"

namespace qorarc {

class ParquetDictionaryBuilder {
 public:
  // The bounds of a dictionary: its PLAIN bytes, and its values (indices of
  // at most 16 bits). Past them a dictionary costs more than it saves.
  static constexpr size_t kMaxBytes = 1024 * 1024;
  static constexpr size_t kMaxValues = 65536;

  explicit ParquetDictionaryBuilder(ParquetType type, size_t max_values = kMaxValues,
                                    size_t max_bytes = kMaxBytes)
      : type_(type), max_values_(max_values), max_bytes_(max_bytes) {}

  // Sets page->indices and page->dictionary_values from the page's present
  // values (integers, or texts without a fixed dictionary), adding the values
  // the dictionary lacks. When they would take it past its bounds, the
  // dictionary stays as it was, the page keeps no indices (PLAIN), and so do
  // the chunk's later pages: the chunk falls back to PLAIN from that page on.
  void Map(ParquetColumnPage* page);

  // The dictionary's values, in index order, as a page's values (integers,
  // or text and text_ends); empty when no page was mapped. A new chunk
  // begins, with an empty dictionary.
  ParquetColumnPage Take();

 private:
  bool MapIntegers(ParquetColumnPage* page);
  bool MapTexts(ParquetColumnPage* page);
  // Forgets the values from `size` on.
  void Truncate(size_t size);

  ParquetType type_;
  size_t max_values_, max_bytes_;
  bool plain_ = false;  // fallen back for the rest of the chunk
  ParquetColumnPage values_;
  size_t plain_bytes_ = 0;
  // Small integers, negative ones too, are looked up directly, the others
  // hashed.
  static constexpr int64_t kDirectBegin = -32768;
  static constexpr int64_t kDirectEnd = 65536;
  static bool Direct(int64_t v) { return v >= kDirectBegin && v < kDirectEnd; }
  std::vector<int32_t> direct_;  // index + 1, 0 for none
  // The others: open addressing, at most half full.
  struct Slot {
    int64_t value = 0;
    uint32_t index = 0;  // + 1, 0 for none
  };
  std::vector<Slot> slots_;
  size_t hashed_ = 0;
  // The index of `v`, added as `index` when absent.
  uint32_t HashedIndex(int64_t v, uint32_t index, bool* added);
  std::unordered_map<std::string, uint32_t> text_indices_;
};

}  // namespace qorarc
