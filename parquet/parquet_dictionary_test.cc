#include "parquet/parquet_dictionary.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

namespace qorarc {
namespace {

ParquetColumnPage Integers(std::vector<int64_t> values) {
  ParquetColumnPage page;
  page.defined.assign(values.size(), 1);
  page.integers = std::move(values);
  return page;
}

ParquetColumnPage Texts(const std::vector<std::string>& values) {
  ParquetColumnPage page;
  for (const std::string& v : values) {
    page.defined.push_back(1);
    page.text += v;
    page.text_ends.push_back(static_cast<uint32_t>(page.text.size()));
  }
  return page;
}

// Pages mapped in order onto one chunk's dictionary of at most 4 values or
// 30 PLAIN bytes (an INT32 value 4 bytes, a text 4 + its length): what each
// page gets, and the dictionary the chunk ends with.
TEST(ParquetDictionaryTest, PagesOfAChunk) {
  const struct {
    const char* what;
    ParquetType type;
    std::vector<ParquetColumnPage> pages;
    std::vector<std::vector<uint32_t>> indices;  // per page; none: PLAIN
    std::vector<uint32_t> dictionary_values;     // per page
    ParquetColumnPage dictionary;
  } cases[] = {
      {"repeats share an index; small, large and negative numbers alike",
       ParquetType::kInt32, {Integers({7, -1, 7, 70000}), Integers({70000, -1})},
       {{0, 1, 0, 2}, {2, 1}}, {3, 3}, Integers({7, -1, 70000})},
      {"the fifth value: that page and the later ones PLAIN, the dictionary as before it",
       ParquetType::kInt32, {Integers({1, 2, -3}), Integers({1, 70000, 5}), Integers({1})},
       {{0, 1, 2}, {}, {}}, {3, 0, 0}, Integers({1, 2, -3})},
      {"exactly 4 values fit", ParquetType::kInt32, {Integers({1, 2}), Integers({3, 4, 4})},
       {{0, 1}, {2, 3, 3}}, {2, 4}, Integers({1, 2, 3, 4})},
      {"INT64 values count 8 bytes: the fourth passes 30", ParquetType::kInt64,
       {Integers({1, 2, 3}), Integers({4})}, {{0, 1, 2}, {}}, {3, 0}, Integers({1, 2, 3})},
      {"texts, the empty one too", ParquetType::kString, {Texts({"b", "", "b"}), Texts({"a", ""})},
       {{0, 1, 0}, {2, 1}}, {2, 3}, Texts({"b", "", "a"})},
      {"texts past 30 bytes", ParquetType::kString,
       {Texts({"0123456789", "x"}), Texts({"x", "0123456789A"})}, {{0, 1}, {}}, {2, 0},
       Texts({"0123456789", "x"})},
      {"a page of nulls needs no dictionary", ParquetType::kInt32,
       {ParquetColumnPage{.defined = {0, 0}}, Integers({9})}, {{}, {0}}, {0, 1}, Integers({9})},
  };
  for (const auto& c : cases) {
    ParquetDictionaryBuilder builder(c.type, 4, 30);
    for (size_t p = 0; p < c.pages.size(); ++p) {
      ParquetColumnPage page = c.pages[p];
      builder.Map(&page);
      EXPECT_EQ(page.indices, c.indices[p]) << c.what << ", page " << p;
      EXPECT_EQ(page.dictionary_values, c.dictionary_values[p]) << c.what << ", page " << p;
    }
    const ParquetColumnPage dictionary = builder.Take();
    EXPECT_EQ(dictionary.integers, c.dictionary.integers) << c.what;
    EXPECT_EQ(dictionary.text, c.dictionary.text) << c.what;
    EXPECT_EQ(dictionary.text_ends, c.dictionary.text_ends) << c.what;
    // The next chunk starts empty and takes a dictionary again.
    ParquetColumnPage next = c.type == ParquetType::kString ? Texts({"z"}) : Integers({70000});
    builder.Map(&next);
    EXPECT_EQ(next.indices, std::vector<uint32_t>{0}) << c.what;
    EXPECT_EQ(next.dictionary_values, 1u) << c.what;
  }
}

}  // namespace
}  // namespace qorarc
