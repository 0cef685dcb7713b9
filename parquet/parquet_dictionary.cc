#include "parquet/parquet_dictionary.h"

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
  if (direct_.empty()) direct_.assign(kDirect, 0);
  page->indices.reserve(page->integers.size());
  for (const int64_t v : page->integers) {
    uint32_t index;
    if (v >= 0 && v < kDirect) {
      int32_t& slot = direct_[static_cast<size_t>(v)];
      if (slot == 0) {
        values_.integers.push_back(v);
        slot = static_cast<int32_t>(values_.integers.size());
        plain_bytes_ += value_bytes;
      }
      index = static_cast<uint32_t>(slot - 1);
    } else {
      auto [at, added] = integer_indices_.try_emplace(
          v, static_cast<uint32_t>(values_.integers.size()));
      if (added) {
        values_.integers.push_back(v);
        plain_bytes_ += value_bytes;
      }
      index = at->second;
    }
    if (values_.integers.size() > max_values_ || plain_bytes_ > max_bytes_) return false;
    page->indices.push_back(index);
  }
  return true;
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
    if (v >= 0 && v < kDirect) direct_[static_cast<size_t>(v)] = 0;
    else integer_indices_.erase(v);
  }
  values_.integers.resize(size);
}

ParquetColumnPage ParquetDictionaryBuilder::Take() {
  for (const int64_t v : values_.integers)
    if (v >= 0 && v < kDirect) direct_[static_cast<size_t>(v)] = 0;
  integer_indices_.clear();
  text_indices_.clear();
  plain_ = false;
  plain_bytes_ = 0;
  return std::exchange(values_, ParquetColumnPage());
}

}  // namespace qorarc
