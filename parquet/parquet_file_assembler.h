// The Parquet file encoder: the pages of each column are encoded on their
// own (EncodeDataPage, parquet/parquet_page.h, on any thread), and the
// assembler puts them together in row groups and writes the footer that
// points at them. The file is the concatenation, in order, of Header(), the
// bytes of each AppendRowGroup() and Footer().
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "parquet/parquet_column.h"
#include "parquet/parquet_page.h"
#include "parquet/parquet_statistics.h"

namespace qorarc {

// Used by one thread.
class ParquetFileAssembler {
 public:
  // The columns as CheckParquetColumns() accepts them; otherwise every
  // AppendRowGroup() fails with its reason. `created_by` names the writing program.
  ParquetFileAssembler(std::vector<ParquetColumnInfo> columns, std::string created_by);

  // "PAR1": the first bytes of the file; asked for once, before anything else.
  std::string Header();

  // One row group from the encoded data pages of each column, in column
  // order, every column with the same number of rows (at least one) and every
  // page with at least one row, and the dictionary page of each column's
  // chunk dictionary (EncodeDictionaryPage; no bytes, or none given: no
  // chunk dictionary). Appends the bytes to write next to *out (a buffer
  // kept for the next row group saves making a new one): per column its
  // dictionary page (its chunk's, else its fixed dictionary's) and its data
  // pages. The offsets, sizes, encodings and merged statistics are kept for
  // the footer. Pages that do not fit: false with *error set to a one-line
  // reason, *out and the file as they were.
  bool AppendRowGroup(const std::vector<std::vector<EncodedPage>>& pages_by_column,
                      const std::vector<EncodedPage>& dictionary_pages, std::string* out,
                      std::string* error);

  // The FileMetaData (the schema: a root group and one optional leaf per
  // column; the number of rows; the row groups; created_by; the type-defined
  // order for every column's statistics), its length in 4 bytes
  // little-endian, and "PAR1". Valid without any row group too.
  std::string Footer();

 private:
  struct Chunk {
    uint64_t data_page_offset = 0;
    uint64_t dictionary_page_offset = 0;  // 0: no dictionary
    int64_t values = 0;
    uint32_t encodings = 0;  // bit e: encoding e is used
    uint64_t uncompressed_bytes = 0;
    uint64_t compressed_bytes = 0;
    ParquetStatistics statistics;
  };
  struct Group {
    std::vector<Chunk> chunks;
    int64_t rows = 0;
    uint64_t offset = 0;
  };

  bool CheckPages(const std::vector<std::vector<EncodedPage>>& pages_by_column,
                  std::string* err) const;

  std::vector<ParquetColumnInfo> columns_;
  std::string created_by_;
  std::string columns_error_;  // why the columns cannot be written
  bool columns_ok_;
  std::vector<EncodedPage> dictionary_pages_;  // per column; empty bytes without a dictionary
  uint64_t offset_ = 0;                        // bytes handed out so far
  int64_t rows_ = 0;
  std::vector<Group> groups_;
};

}  // namespace qorarc
