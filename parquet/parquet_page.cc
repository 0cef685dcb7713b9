#include "parquet/parquet_page.h"

#include <algorithm>
#include <limits>
#include <span>
#include <string_view>
#include <utility>
#include <vector>

#include "base/zstd_compress.h"
#include "parquet/parquet_encoding.h"
#include "parquet/parquet_format.h"
#include "parquet/parquet_thrift.h"

namespace qorarc {

namespace {

namespace pq = parquet;

constexpr uint64_t kMaxI32 = std::numeric_limits<int32_t>::max();

std::string Named(const ParquetColumnInfo& column) {
  return "Parquet column \"" + column.name + "\": ";
}

// The smallest and the largest of `values` ({0, 0} for none), in one pass
// with four bounds each, so that the comparisons do not wait on each other.
template <typename T>
std::pair<T, T> Bounds(std::span<const T> values) {
  if (values.empty()) return {0, 0};
  constexpr size_t kLanes = 4;
  T lo[kLanes], hi[kLanes];
  for (size_t j = 0; j < kLanes; ++j) lo[j] = hi[j] = values[0];
  size_t i = 0;
  for (; i + kLanes <= values.size(); i += kLanes) {
    for (size_t j = 0; j < kLanes; ++j) {
      lo[j] = std::min(lo[j], values[i + j]);
      hi[j] = std::max(hi[j], values[i + j]);
    }
  }
  for (; i < values.size(); ++i) {
    lo[0] = std::min(lo[0], values[i]);
    hi[0] = std::max(hi[0], values[i]);
  }
  for (size_t j = 1; j < kLanes; ++j) {
    lo[0] = std::min(lo[0], lo[j]);
    hi[0] = std::max(hi[0], hi[j]);
  }
  return {lo[0], hi[0]};
}

// Checks the page's values against its rows and the column; `bounds`: those
// of page.integers.
bool CheckPage(const ParquetColumnInfo& column, const ParquetColumnPage& page, int64_t present,
               std::pair<int64_t, int64_t> bounds, std::string* error) {
  size_t values = 0;
  switch (column.type) {
    case ParquetType::kInt32:
    case ParquetType::kInt64: values = page.integers.size(); break;
    case ParquetType::kDouble: values = page.reals.size(); break;
    case ParquetType::kString:
      values = column.dictionary.empty() ? page.text_ends.size() : page.integers.size();
      break;
  }
  if (values != static_cast<uint64_t>(present)) {
    *error = Named(column) + std::to_string(values) + " values for " + std::to_string(present) +
             " present rows";
    return false;
  }
  if (page.dictionary_values > 0) {
    if (column.encoding != ParquetEncoding::kChunkDictionary) {
      *error = Named(column) + "dictionary indices on a column without a chunk dictionary";
      return false;
    }
    if (page.indices.size() != values) {
      *error = Named(column) + std::to_string(page.indices.size()) + " dictionary indices for " +
               std::to_string(values) + " values";
      return false;
    }
    const auto [lo, hi] = Bounds<uint32_t>(page.indices);
    if (hi >= page.dictionary_values) {
      *error = Named(column) + "dictionary index " + std::to_string(hi) + " outside 0.." +
               std::to_string(page.dictionary_values - 1);
      return false;
    }
  }
  if (column.type == ParquetType::kInt32) {
    const auto [lo, hi] = bounds;
    if (lo < std::numeric_limits<int32_t>::min() || hi > std::numeric_limits<int32_t>::max()) {
      const int64_t v = lo < std::numeric_limits<int32_t>::min() ? lo : hi;
      *error = Named(column) + std::to_string(v) + " does not fit INT32";
      return false;
    }
  }
  if (column.type == ParquetType::kString && !column.dictionary.empty()) {
    const auto [lo, hi] = bounds;
    if (lo < 0 || static_cast<uint64_t>(hi) >= column.dictionary.size()) {
      *error = Named(column) + "dictionary index " + std::to_string(lo < 0 ? lo : hi) +
               " outside 0.." + std::to_string(column.dictionary.size() - 1);
      return false;
    }
  }
  if (column.type == ParquetType::kString && column.dictionary.empty()) {
    uint32_t begin = 0;
    for (uint32_t end : page.text_ends) {
      if (end < begin || end > page.text.size()) {
        *error = Named(column) + "text end " + std::to_string(end) + " outside " +
                 std::to_string(begin) + ".." + std::to_string(page.text.size());
        return false;
      }
      begin = end;
    }
  }
  return true;
}

// The present values, encoded, and their statistics; returns the encoding.
// `bounds`: those of page.integers.
int32_t EncodeValues(const ParquetColumnInfo& column, const ParquetColumnPage& page,
                     std::pair<int64_t, int64_t> bounds, ParquetStatistics* statistics,
                     std::string* body) {
  const bool fixed = !column.dictionary.empty();
  if (fixed) {
    // The bounds are those of the texts used: each compared once.
    thread_local std::vector<uint8_t> used;
    used.assign(column.dictionary.size(), 0);
    for (int64_t index : page.integers) used[static_cast<size_t>(index)] = 1;
    for (size_t i = 0; i < used.size(); ++i)
      if (used[i]) statistics->AddText(column.dictionary[i]);
  } else if (column.type == ParquetType::kString) {
    uint32_t begin = 0;
    for (uint32_t end : page.text_ends) {
      statistics->AddText(std::string_view(page.text).substr(begin, end - begin));
      begin = end;
    }
  } else if (column.type == ParquetType::kDouble) {
    statistics->AddReals(page.reals);
  } else if (!page.integers.empty()) {
    statistics->AddBounds(bounds.first, bounds.second);
  }

  if (page.dictionary_values > 0) {
    const int bit_width = pq::BitWidthFor(page.dictionary_values);
    body->push_back(static_cast<char>(bit_width));
    pq::EncodeRleHybrid(page.indices, bit_width, body);
    return pq::encoding::kRleDictionary;
  }
  if (fixed && column.encoding != ParquetEncoding::kChunkDictionary) {
    const int bit_width = pq::BitWidthFor(column.dictionary.size());
    body->push_back(static_cast<char>(bit_width));
    pq::EncodeRleHybrid(page.integers, bit_width, body);
    return pq::encoding::kRleDictionary;
  }
  switch (column.type) {
    case ParquetType::kInt32:
    case ParquetType::kInt64:
      if (column.encoding == ParquetEncoding::kDeltaBinaryPacked) {
        pq::EncodeDeltaBinaryPacked(page.integers, body);
        return pq::encoding::kDeltaBinaryPacked;
      }
      if (column.type == ParquetType::kInt32) {
        pq::EncodePlainInt32(page.integers, body);
      } else {
        pq::EncodePlainInt64(page.integers, body);
      }
      break;
    case ParquetType::kDouble: pq::EncodePlainDouble(page.reals, body); break;
    case ParquetType::kString:
      if (fixed) {
        // A chunk dictionary that fell back: the texts themselves.
        for (int64_t index : page.integers) {
          const std::string& text = column.dictionary[static_cast<size_t>(index)];
          pq::PutFixed32(static_cast<uint32_t>(text.size()), body);
          body->append(text);
        }
      } else {
        pq::EncodePlainByteArrays(page.text, page.text_ends, body);
      }
      break;
  }
  return pq::encoding::kPlain;
}

// The page header and the compressed body. `write_header` writes the fields
// of the page type's own header (field `header_field` of PageHeader). False
// with *error when the body is too large for the header's sizes.
template <typename WriteHeader>
bool FinishPage(std::string_view body, const ParquetColumnInfo& column, int32_t page_type, int16_t header_field,
                WriteHeader write_header, EncodedPage* page, std::string* error) {
  // Kept per thread: a page's buffer is large, and a new one costs its
  // memory's first touch every time.
  thread_local std::string compressed;
  compressed.clear();
  if (!ZstdCompress(body, column.zstd_level, column.zstd_min_match, &compressed, error))
    return false;
  if (body.size() > kMaxI32 || compressed.size() > kMaxI32) {
    *error = "a Parquet page of more than 2^31 - 1 bytes";
    return false;
  }
  pq::ThriftWriter writer(&page->bytes);
  writer.BeginStruct();
  writer.I32Field(pq::page_header::kType, page_type);
  writer.I32Field(pq::page_header::kUncompressedPageSize, static_cast<int32_t>(body.size()));
  writer.I32Field(pq::page_header::kCompressedPageSize, static_cast<int32_t>(compressed.size()));
  writer.BeginStructField(header_field);
  write_header(&writer);
  writer.EndStruct();
  writer.EndStruct();
  page->uncompressed_bytes = page->bytes.size() + body.size();
  page->bytes.append(compressed);
  return true;
}

}  // namespace

bool EncodeDataPage(const ParquetColumnInfo& column, const ParquetColumnPage& page,
                    EncodedPage* out, std::string* error) {
  *out = EncodedPage();
  EncodedPage encoded;
  if (static_cast<uint64_t>(page.rows()) > kMaxI32) {
    *error = Named(column) + "a page of more than 2^31 - 1 rows";
    return false;
  }
  int64_t present = 0;
  uint8_t all = 0;
  for (uint8_t d : page.defined) {
    present += d;
    all |= d;
  }
  if (all > 1) {
    const uint8_t d = *std::find_if(page.defined.begin(), page.defined.end(),
                                    [](uint8_t d) { return d > 1; });
    *error = Named(column) + "a definition flag of " + std::to_string(d) + ", not 0 or 1";
    return false;
  }
  const std::pair<int64_t, int64_t> bounds = Bounds<int64_t>(page.integers);
  if (!CheckPage(column, page, present, bounds, error)) return false;

  thread_local std::string body;
  body.assign(pq::kLevelsLengthBytes, '\0');
  pq::EncodeRleHybrid(page.defined, pq::kDefinitionLevelBitWidth, &body);
  std::string levels_length;
  pq::PutFixed32(static_cast<uint32_t>(body.size() - pq::kLevelsLengthBytes), &levels_length);
  body.replace(0, pq::kLevelsLengthBytes, levels_length);
  encoded.statistics.nulls = page.rows() - present;
  encoded.encoding = EncodeValues(column, page, bounds, &encoded.statistics, &body);

  auto write_header = [&](pq::ThriftWriter* writer) {
    namespace data = pq::data_page_header;
    writer->I32Field(data::kNumValues, static_cast<int32_t>(page.rows()));
    writer->I32Field(data::kEncoding, encoded.encoding);
    writer->I32Field(data::kDefinitionLevelEncoding, pq::encoding::kRle);
    writer->I32Field(data::kRepetitionLevelEncoding, pq::encoding::kRle);
    encoded.statistics.Write(column.type, data::kStatistics, writer);
  };
  if (!FinishPage(body, column, pq::page_type::kDataPage, pq::page_header::kDataPageHeader, write_header,
                  &encoded, error)) {
    return false;
  }
  encoded.rows = page.rows();
  *out = std::move(encoded);
  return true;
}

bool EncodeDictionaryPage(const ParquetColumnInfo& column, EncodedPage* out, std::string* error) {
  ParquetColumnPage values;
  for (const std::string& value : column.dictionary) {
    values.text += value;
    if (values.text.size() > std::numeric_limits<uint32_t>::max()) {
      *error = Named(column) + "a dictionary of more than 4 GiB";
      *out = EncodedPage();
      return false;
    }
    values.text_ends.push_back(static_cast<uint32_t>(values.text.size()));
  }
  return EncodeDictionaryPage(column, values, out, error);
}

bool EncodeDictionaryPage(const ParquetColumnInfo& column, const ParquetColumnPage& values,
                          EncodedPage* out, std::string* error) {
  *out = EncodedPage();
  if (!column.dictionary.empty() && !values.integers.empty()) {
    // Indices into a fixed dictionary: the texts they stand for.
    ParquetColumnPage texts;
    for (int64_t index : values.integers) {
      if (index < 0 || static_cast<uint64_t>(index) >= column.dictionary.size()) {
        *error = Named(column) + "dictionary index " + std::to_string(index) + " outside 0.." +
                 std::to_string(column.dictionary.size() - 1);
        return false;
      }
      texts.text += column.dictionary[static_cast<size_t>(index)];
      texts.text_ends.push_back(static_cast<uint32_t>(texts.text.size()));
    }
    return EncodeDictionaryPage(column, texts, out, error);
  }
  std::string body;
  size_t count = 0;
  switch (column.type) {
    case ParquetType::kInt32: pq::EncodePlainInt32(values.integers, &body); break;
    case ParquetType::kInt64: pq::EncodePlainInt64(values.integers, &body); break;
    case ParquetType::kDouble: pq::EncodePlainDouble(values.reals, &body); break;
    case ParquetType::kString: pq::EncodePlainByteArrays(values.text, values.text_ends, &body); break;
  }
  switch (column.type) {
    case ParquetType::kInt32:
    case ParquetType::kInt64: count = values.integers.size(); break;
    case ParquetType::kDouble: count = values.reals.size(); break;
    case ParquetType::kString: count = values.text_ends.size(); break;
  }
  if (count > kMaxI32) {
    *error = Named(column) + "a dictionary of more than 2^31 - 1 values";
    return false;
  }

  auto write_header = [&](pq::ThriftWriter* writer) {
    writer->I32Field(pq::dictionary_page_header::kNumValues, static_cast<int32_t>(count));
    writer->I32Field(pq::dictionary_page_header::kEncoding, pq::encoding::kPlain);
  };
  EncodedPage encoded;
  if (!FinishPage(body, column, pq::page_type::kDictionaryPage, pq::page_header::kDictionaryPageHeader,
                  write_header, &encoded, error)) {
    return false;
  }
  *out = std::move(encoded);
  return true;
}

}  // namespace qorarc
