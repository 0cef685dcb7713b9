#include "parquet/parquet_page.h"

#include <algorithm>
#include <limits>
#include <span>
#include <string_view>

#include "base/zstd_compress.h"
#include "parquet/parquet_encoding.h"
#include "parquet/parquet_format.h"
#include "parquet/parquet_thrift.h"

namespace qorarc {

namespace {

namespace pq = parquet;

// The fastest level: pages of one column compress well at any level (a
// seventh of long CSV's size), and the export must keep pace with the text
// formats.
constexpr int kZstdLevel = 1;
constexpr uint64_t kMaxI32 = std::numeric_limits<int32_t>::max();

std::string Named(const ParquetColumnInfo& column) {
  return "Parquet column \"" + column.name + "\": ";
}

// Checks the page's values against its rows and the column.
bool CheckPage(const ParquetColumnInfo& column, const ParquetColumnPage& page, int64_t present,
               std::string* error) {
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
  if (column.type == ParquetType::kInt32) {
    for (int64_t v : page.integers) {
      if (v < std::numeric_limits<int32_t>::min() || v > std::numeric_limits<int32_t>::max()) {
        *error = Named(column) + std::to_string(v) + " does not fit INT32";
        return false;
      }
    }
  }
  if (column.type == ParquetType::kString && !column.dictionary.empty()) {
    for (int64_t v : page.integers) {
      if (v < 0 || static_cast<uint64_t>(v) >= column.dictionary.size()) {
        *error = Named(column) + "dictionary index " + std::to_string(v) + " outside 0.." +
                 std::to_string(column.dictionary.size() - 1);
        return false;
      }
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

// The present values, encoded, and their statistics.
void EncodeValues(const ParquetColumnInfo& column, const ParquetColumnPage& page,
                  ParquetStatistics* statistics, std::string* body) {
  switch (column.type) {
    case ParquetType::kInt32:
      pq::EncodePlainInt32(page.integers, body);
      statistics->AddIntegers(page.integers);
      break;
    case ParquetType::kInt64:
      pq::EncodePlainInt64(page.integers, body);
      statistics->AddIntegers(page.integers);
      break;
    case ParquetType::kDouble:
      pq::EncodePlainDouble(page.reals, body);
      statistics->AddReals(page.reals);
      break;
    case ParquetType::kString:
      if (column.dictionary.empty()) {
        pq::EncodePlainByteArrays(page.text, page.text_ends, body);
        uint32_t begin = 0;
        for (uint32_t end : page.text_ends) {
          statistics->AddText(std::string_view(page.text).substr(begin, end - begin));
          begin = end;
        }
      } else {
        int bit_width = pq::BitWidthFor(column.dictionary.size());
        body->push_back(static_cast<char>(bit_width));
        pq::EncodeRleHybrid(page.integers, bit_width, body);
        int64_t last = -1;
        for (int64_t index : page.integers) {
          if (index != last) statistics->AddText(column.dictionary[index]);
          last = index;
        }
      }
      break;
  }
}

// The page header and the compressed body. `write_header` writes the fields
// of the page type's own header (field `header_field` of PageHeader). False
// with *error when the body is too large for the header's sizes.
template <typename WriteHeader>
bool FinishPage(std::string_view body, int32_t page_type, int16_t header_field,
                WriteHeader write_header, EncodedPage* page, std::string* error) {
  std::string compressed;
  if (!ZstdCompress(body, kZstdLevel, &compressed, error)) return false;
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

EncodedPage EncodeDataPage(const ParquetColumnInfo& column, const ParquetColumnPage& page,
                           std::string* error) {
  EncodedPage encoded;
  if (static_cast<uint64_t>(page.rows()) > kMaxI32) {
    *error = Named(column) + "a page of more than 2^31 - 1 rows";
    return encoded;
  }
  int64_t present = 0;
  for (uint8_t d : page.defined) {
    if (d > 1) {
      *error = Named(column) + "a definition flag of " + std::to_string(d) + ", not 0 or 1";
      return encoded;
    }
    present += d;
  }
  if (!CheckPage(column, page, present, error)) return encoded;

  std::string body(pq::kLevelsLengthBytes, '\0');
  pq::EncodeRleHybrid(page.defined, pq::kDefinitionLevelBitWidth, &body);
  std::string levels_length;
  pq::PutFixed32(static_cast<uint32_t>(body.size() - pq::kLevelsLengthBytes), &levels_length);
  body.replace(0, pq::kLevelsLengthBytes, levels_length);
  encoded.statistics.nulls = page.rows() - present;
  EncodeValues(column, page, &encoded.statistics, &body);

  auto write_header = [&](pq::ThriftWriter* writer) {
    namespace data = pq::data_page_header;
    writer->I32Field(data::kNumValues, static_cast<int32_t>(page.rows()));
    writer->I32Field(data::kEncoding, column.dictionary.empty() ? pq::encoding::kPlain
                                                                : pq::encoding::kRleDictionary);
    writer->I32Field(data::kDefinitionLevelEncoding, pq::encoding::kRle);
    writer->I32Field(data::kRepetitionLevelEncoding, pq::encoding::kRle);
    encoded.statistics.Write(column.type, data::kStatistics, writer);
  };
  if (!FinishPage(body, pq::page_type::kDataPage, pq::page_header::kDataPageHeader, write_header,
                  &encoded, error)) {
    return EncodedPage();
  }
  encoded.rows = page.rows();
  return encoded;
}

EncodedPage EncodeDictionaryPage(const ParquetColumnInfo& column, std::string* error) {
  std::string text;
  std::vector<uint32_t> ends;
  for (const std::string& value : column.dictionary) {
    text += value;
    if (text.size() > std::numeric_limits<uint32_t>::max()) {
      *error = Named(column) + "a dictionary of more than 4 GiB";
      return EncodedPage();
    }
    ends.push_back(static_cast<uint32_t>(text.size()));
  }
  std::string body;
  pq::EncodePlainByteArrays(text, ends, &body);

  auto write_header = [&](pq::ThriftWriter* writer) {
    writer->I32Field(pq::dictionary_page_header::kNumValues,
                     static_cast<int32_t>(column.dictionary.size()));
    writer->I32Field(pq::dictionary_page_header::kEncoding, pq::encoding::kPlain);
  };
  EncodedPage encoded;
  if (!FinishPage(body, pq::page_type::kDictionaryPage, pq::page_header::kDictionaryPageHeader,
                  write_header, &encoded, error)) {
    return EncodedPage();
  }
  return encoded;
}

}  // namespace qorarc
