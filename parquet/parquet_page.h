// Encoding of the pages of a Parquet column chunk: v1 data pages and the
// dictionary page, each a Thrift PageHeader and its ZSTD-compressed body.
#pragma once

#include <cstdint>
#include <string>

#include "parquet/parquet_column.h"
#include "parquet/parquet_statistics.h"

namespace qorarc {

struct EncodedPage {
  std::string bytes;                // page header and compressed body, ready to be written
  int64_t rows = 0;                 // of a data page, nulls included; 0 for a dictionary page
  uint64_t uncompressed_bytes = 0;  // page header and uncompressed body
  ParquetStatistics statistics;     // of a data page: nulls, NaNs and bounds of its values
  int32_t encoding = 0;             // of the values (parquet::encoding)
};

// A v1 data page of `page`'s rows: the definition levels (RLE, bit width 1,
// length-prefixed), then the present values in the column's encoding
// (parquet_column.h): PLAIN, DELTA_BINARY_PACKED, or RLE_DICTIONARY indices
// after their bit width, for a column with a fixed dictionary or a page with
// indices into its chunk's dictionary; the header carries
// the page's statistics. Pure, so pages may be encoded on several threads at
// once. When the page does not fit the column (a count that does not match
// the present rows, a value out of range, a page too large), returns false
// with *out a page of no bytes and *error a one-line reason.
bool EncodeDataPage(const ParquetColumnInfo& column, const ParquetColumnPage& page,
                    EncodedPage* out, std::string* error);

// A dictionary page: the values of `values` (integers, or text and
// text_ends, as ParquetDictionaryBuilder::Take() gives them; for a column
// with a fixed dictionary, indices into it that stand for its texts), PLAIN.
bool EncodeDictionaryPage(const ParquetColumnInfo& column, const ParquetColumnPage& values,
                          EncodedPage* out, std::string* error);
// The dictionary page of a column with a fixed dictionary.
bool EncodeDictionaryPage(const ParquetColumnInfo& column, EncodedPage* out, std::string* error);

}  // namespace qorarc
