#include "parquet/parquet_file_assembler.h"

#include <gtest/gtest.h>
#include <zstd.h>

#include <bit>
#include <cmath>
#include <limits>
#include <string>
#include <utility>
#include <vector>

#include "parquet/parquet_encoding.h"
#include "parquet/parquet_thrift.h"

namespace qorarc {
namespace {

using namespace std::string_literals;

constexpr double kInf = std::numeric_limits<double>::infinity();
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

std::string Varint(int64_t value) {
  std::string out;
  parquet::PutVarint(parquet::ZigZag(value), &out);
  return out;
}

// A page header of `type` with the page type's own header `tail` (its
// fields and stop byte), for a body of `body_size` bytes compressed to
// `compressed_size`.
std::string PageHeader(int type, size_t body_size, size_t compressed_size, int16_t tail_field,
                       const std::string& tail) {
  std::string header = "\x15";
  header += Varint(type);
  header += '\x15';
  header += Varint(body_size);
  header += '\x15';
  header += Varint(compressed_size);
  header += static_cast<char>((tail_field - 3) << 4 | 0xC);
  header += tail;
  header += '\0';
  return header;
}

// Splits a page into its header, checked against the expected one, and its
// body, decompressed. The compressed size is taken to fit one byte.
void ExpectPage(const EncodedPage& page, int type, int16_t tail_field, const std::string& tail,
                const std::string& body, const char* what) {
  std::string header = PageHeader(type, body.size(), 0, tail_field, tail);
  ASSERT_GT(page.bytes.size(), header.size()) << what;
  size_t compressed = page.bytes.size() - header.size();
  ASSERT_LT(compressed, 64u) << what;
  header = PageHeader(type, body.size(), compressed, tail_field, tail);
  EXPECT_EQ(page.bytes.substr(0, header.size()), header) << what;
  std::string decompressed(body.size() + 16, '\0');
  size_t size = ZSTD_decompress(decompressed.data(), decompressed.size(),
                                page.bytes.data() + header.size(), compressed);
  ASSERT_FALSE(ZSTD_isError(size)) << what;
  decompressed.resize(size);
  EXPECT_EQ(decompressed, body) << what;
  EXPECT_EQ(page.uncompressed_bytes, header.size() + body.size()) << what;
}

std::string Double(double value) {
  std::string out;
  parquet::PutFixed64(std::bit_cast<uint64_t>(value), &out);
  return out;
}

// Data page header fields: num_values, encoding, RLE levels, then the
// statistics struct `stats` (its fields and stop byte).
std::string DataHeader(int rows, int encoding, const std::string& stats) {
  std::string header = "\x15";
  header += Varint(rows);
  header += '\x15';
  header += Varint(encoding);
  header += "\x15\x06\x15\x06\x1C";
  header += stats;
  header += '\0';
  return header;
}

TEST(ParquetFileTest, DataPageBytes) {
  const ParquetColumnInfo ints = {"v", ParquetType::kInt32};
  const ParquetColumnInfo reals = {"r", ParquetType::kDouble};
  const ParquetColumnInfo kinds = {"k", ParquetType::kString, ParquetLogical::kString,
                                   {"b", "a", "c"}};
  const ParquetColumnInfo texts = {"s", ParquetType::kString, ParquetLogical::kString};
  ParquetColumnInfo chunk_kinds = kinds;
  chunk_kinds.encoding = ParquetEncoding::kChunkDictionary;
  const struct {
    const char* what;
    const ParquetColumnInfo& column;
    ParquetColumnPage page;
    std::string data_header;
    std::string body;
  } cases[] = {
      {"INT32 with a null", ints, {.defined = {1, 0, 1}, .integers = {7, -1}},
       DataHeader(3, 0, "\x36\x02\x28\x04\x07\x00\x00\x00\x18\x04\xFF\xFF\xFF\xFF\x00"s),
       "\x02\x00\x00\x00\x03\x05" "\x07\x00\x00\x00\xFF\xFF\xFF\xFF"s},
      {"DOUBLE: NaN left out, zero max written as +0.0", reals,
       {.defined = {1, 1, 1, 1}, .reals = {kNaN, -0.0, 0.0, -kInf}},
       DataHeader(4, 0,
                  "\x36\x00\x28\x08"s + Double(0.0) + "\x18\x08" + Double(-kInf) + "\x36\x02\x00"s),
       "\x02\x00\x00\x00\x03\x0F"s + Double(kNaN) + Double(-0.0) + Double(0.0) + Double(-kInf)},
      {"DOUBLE: zero min written as -0.0", reals, {.defined = {1, 1}, .reals = {0.0, 2.0}},
       DataHeader(2, 0,
                  "\x36\x00\x28\x08"s + Double(2.0) + "\x18\x08" + Double(-0.0) + "\x36\x00\x00"s),
       "\x02\x00\x00\x00\x03\x03"s + Double(0.0) + Double(2.0)},
      {"DOUBLE: only NaN, no bounds", reals, {.defined = {1, 0}, .reals = {kNaN}},
       DataHeader(2, 0, "\x36\x02\x66\x02\x00"s), "\x02\x00\x00\x00\x03\x01"s + Double(kNaN)},
      {"all null", ints, {.defined = {0, 0}}, DataHeader(2, 0, "\x36\x04\x00"s),
       "\x02\x00\x00\x00\x03\x00"s},
      {"dictionary indices, bounds of the values", kinds,
       {.defined = {1, 0, 1, 1}, .integers = {2, 0, 2}},
       DataHeader(4, 8, "\x36\x02\x28\x01" "c" "\x18\x01" "b" "\x00"s),
       "\x02\x00\x00\x00\x03\x0D" "\x02" "\x03\x22\x00"s},
      {"fixed dictionary, indices into the chunk's dictionary", chunk_kinds,
       {.defined = {1, 1, 0, 1}, .integers = {2, 0, 2}, .indices = {0, 1, 0}, .dictionary_values = 2},
       DataHeader(4, 8, "\x36\x02\x28\x01" "c" "\x18\x01" "b" "\x00"s),
       "\x02\x00\x00\x00\x03\x0B" "\x01" "\x03\x02"s},
      {"fixed dictionary, its chunk's fallen back: the texts", chunk_kinds,
       {.defined = {1, 1}, .integers = {2, 1}},
       DataHeader(2, 0, "\x36\x00\x28\x01" "c" "\x18\x01" "a" "\x00"s),
       "\x02\x00\x00\x00\x03\x03" "\x01\x00\x00\x00" "c" "\x01\x00\x00\x00" "a"s},
      {"byte arrays, bytewise unsigned order", texts,
       {.defined = {1, 1, 1}, .text = "\xC3\xA9" "az", .text_ends = {2, 3, 4}},
       DataHeader(3, 0, "\x36\x00\x28\x02\xC3\xA9\x18\x01" "a" "\x00"s),
       "\x02\x00\x00\x00\x03\x07" "\x02\x00\x00\x00\xC3\xA9" "\x01\x00\x00\x00" "a"
       "\x01\x00\x00\x00" "z"s},
  };
  for (const auto& c : cases) {
    std::string error;
    EncodedPage page;
    EXPECT_TRUE(EncodeDataPage(c.column, c.page, &page, &error)) << c.what << ": " << error;
    EXPECT_EQ(page.rows, c.page.rows()) << c.what;
    ExpectPage(page, 0, 5, c.data_header, c.body, c.what);
  }
}

TEST(ParquetFileTest, BadColumns) {
  using T = ParquetType;
  using L = ParquetLogical;
  const struct {
    const char* what;
    std::vector<ParquetColumnInfo> columns;
    const char* error;
  } cases[] = {
      {"fine", {{"a", T::kInt64, L::kTimestampMicrosUtc}, {"b", T::kString, L::kString, {"x"}}}, ""},
      {"no columns", {}, "a Parquet file needs at least one column"},
      {"no name", {{"", T::kInt64}}, "a Parquet column without a name"},
      {"timestamp of INT32", {{"t", T::kInt32, L::kTimestampMicrosUtc}},
       "a Parquet timestamp column must be of type INT64 (column \"t\")"},
      {"STRING of INT64", {{"s", T::kInt64, L::kString}},
       "a Parquet STRING column must hold byte arrays (column \"s\")"},
      {"dictionary of DOUBLE", {{"d", T::kDouble, L::kNone, {"1"}}},
       "only a Parquet byte array column can have a dictionary (column \"d\")"},
      {"same name twice", {{"a", T::kInt64}, {"a", T::kDouble}}, "two Parquet columns named \"a\""},
  };
  for (const auto& c : cases) {
    std::string error;
    EXPECT_EQ(CheckParquetColumns(c.columns, &error), *c.error == '\0') << c.what;
    EXPECT_EQ(error, c.error) << c.what;
    // The assembler refuses every row group of such columns.
    ParquetFileAssembler file(c.columns, "");
    file.Header();
    if (*c.error != '\0') {
      std::string bytes = "before", refusal;
      EXPECT_FALSE(file.AppendRowGroup({}, {}, &bytes, &refusal)) << c.what;
      EXPECT_EQ(refusal, c.error) << c.what;
      EXPECT_EQ(bytes, "before") << c.what;
    }
  }
}

}  // namespace
}  // namespace qorarc
