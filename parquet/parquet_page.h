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
};

// A v1 data page of `page`'s rows: the definition levels (RLE, bit width 1,
// length-prefixed), then the present values, PLAIN or, for a column with a
// dictionary, RLE_DICTIONARY indices after their bit width; the header carries
// the page's statistics. Pure, so pages may be encoded on several threads at
// once. When the page does not fit the column (a count that does not match
// the present rows, a value out of range, a page too large), returns a page
// with no bytes and sets *error to a one-line reason.
EncodedPage EncodeDataPage(const ParquetColumnInfo& column, const ParquetColumnPage& page,
                           std::string* error);

// The dictionary page of a column with a dictionary: its values, PLAIN.
EncodedPage EncodeDictionaryPage(const ParquetColumnInfo& column, std::string* error);

}  // namespace qorarc
