#include "parquet/parquet_dictionary.h"

#include <algorithm>
#include <string_view>
#include <utility>

#include "parquet/parquet_format.h"

namespace qorarc {

void ParquetDictionaryBuilder::Map(ParquetColumnPage* page) {
  page->indices.clear();
  page->dictionary_values = 0;
  if (plain_) return;
  const size_t before = type_ == ParquetType::kString ? values_.text_ends.size()
                                                      : values_.integers.size();
  const size_t bytes_before = plain_bytes_;
  const bool fits = type_ == ParquetType::kString ? MapTexts(page) : MapIntegers(page);
  if (!fits) {
    Truncate(before);
    plain_bytes_ = bytes_before;
    page->indices.clear();
    plain_ = true;
    return;
  }
  page->dictionary_values = static_cast<uint32_t>(
      type_ == ParquetType::kString ? values_.text_ends.size() : values_.integers.size());
  // A page with no present value needs no dictionary.
  if (page->indices.empty()) page->dictionary_values = 0;
}

bool ParquetDictionaryBuilder::MapIntegers(ParquetColumnPage* page) {
  const size_t value_bytes =
      type_ == ParquetType::kInt32 ? parquet::kInt32Bytes : parquet::kInt64Bytes;
  if (direct_.empty()) direct_.assign(kDirectEnd - kDirectBegin, 0);
  page->indices.resize(page->integers.size());
  uint32_t* index = page->indices.data();
  for (const int64_t v : page->integers) {
    bool added = false;
    if (Direct(v)) {
      int32_t& slot = direct_[static_cast<size_t>(v - kDirectBegin)];
      if (slot == 0) {
        values_.integers.push_back(v);
        slot = static_cast<int32_t>(values_.integers.size());
        added = true;
      }
      *index++ = static_cast<uint32_t>(slot - 1);
    } else {
      *index++ = HashedIndex(v, static_cast<uint32_t>(values_.integers.size()), &added);
      if (added) values_.integers.push_back(v);
    }
    // Only a value added can take the dictionary past its bounds.
    if (added) {
      plain_bytes_ += value_bytes;
      if (values_.integers.size() > max_values_ || plain_bytes_ > max_bytes_) return false;
    }
  }
  return true;
}

uint32_t ParquetDictionaryBuilder::HashedIndex(int64_t v, uint32_t index, bool* added) {
  if (2 * (hashed_ + 1) > slots_.size()) {
    std::vector<Slot> old(std::max<size_t>(1024, 2 * slots_.size()));
    old.swap(slots_);
    hashed_ = 0;
    for (const Slot& slot : old) {
      bool unused;
      if (slot.index != 0) HashedIndex(slot.value, slot.index - 1, &unused);
    }
  }
  const size_t mask = slots_.size() - 1;
  // Fibonacci hashing: the high bits of the product, spread over the table.
  for (size_t i = (static_cast<uint64_t>(v) * 0x9E3779B97F4A7C15u) >> 40 & mask;; i = (i + 1) & mask) {
    Slot& slot = slots_[i];
    if (slot.index == 0) {
      slot = {v, index + 1};
      ++hashed_;
      *added = true;
      return index;
    }
    if (slot.value == v) return slot.index - 1;
  }
}

bool ParquetDictionaryBuilder::MapTexts(ParquetColumnPage* page) {
  page->indices.reserve(page->text_ends.size());
  uint32_t begin = 0;
  for (const uint32_t end : page->text_ends) {
    const std::string_view text = std::string_view(page->text).substr(begin, end - begin);
    begin = end;
    auto [at, added] =
        text_indices_.try_emplace(std::string(text), static_cast<uint32_t>(values_.text_ends.size()));
    if (added) {
      plain_bytes_ += parquet::kByteArrayLengthBytes + text.size();
      if (text_indices_.size() > max_values_ || plain_bytes_ > max_bytes_) return false;
      values_.text.append(text);
      values_.text_ends.push_back(static_cast<uint32_t>(values_.text.size()));
    }
    page->indices.push_back(at->second);
  }
  return true;
}

void ParquetDictionaryBuilder::Truncate(size_t size) {
  if (type_ == ParquetType::kString) {
    // Forgets the keys of the values past `size`, the one not yet stored too.
    for (auto it = text_indices_.begin(); it != text_indices_.end();)
      it = it->second >= size ? text_indices_.erase(it) : std::next(it);
    values_.text.resize(size == 0 ? 0 : values_.text_ends[size - 1]);
    values_.text_ends.resize(size);
    return;
  }
  for (size_t i = size; i < values_.integers.size(); ++i) {
    const int64_t v = values_.integers[i];
    if (Direct(v)) direct_[static_cast<size_t>(v - kDirectBegin)] = 0;
  }
  values_.integers.resize(size);
  // The hashed values again, without the ones forgotten.
  slots_.assign(slots_.size(), Slot());
  hashed_ = 0;
  for (size_t i = 0; i < size; ++i) {
    const int64_t v = values_.integers[i];
    bool unused;
    if (!Direct(v)) HashedIndex(v, static_cast<uint32_t>(i), &unused);
  }
}

ParquetColumnPage ParquetDictionaryBuilder::Take() {
  for (const int64_t v : values_.integers)
    if (Direct(v)) direct_[static_cast<size_t>(v - kDirectBegin)] = 0;
  slots_.assign(slots_.size(), Slot());
  hashed_ = 0;
  text_indices_.clear();
  plain_ = false;
  plain_bytes_ = 0;
  return std::exchange(values_, ParquetColumnPage());
}

}  // namespace qorarc
