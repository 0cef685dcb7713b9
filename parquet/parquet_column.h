// What the Parquet encoder is told about a column, and the values of one of
// its pages as the caller collects them row by row.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace qorarc {

enum class ParquetType { kInt32, kInt64, kDouble, kString };
// kTimestampMicrosUtc: TIMESTAMP(MICROS, isAdjustedToUTC=true), with the
// converted type TIMESTAMP_MICROS; kString: STRING, converted type UTF8.
enum class ParquetLogical { kNone, kTimestampMicrosUtc, kString };

// How the data pages of a column write its values:
//   kPlain               PLAIN;
//   kDeltaBinaryPacked   DELTA_BINARY_PACKED (kInt32 and kInt64 only);
//   kChunkDictionary     RLE_DICTIONARY indices into the dictionary of the
//                        column chunk, which the caller builds
//                        (ParquetDictionaryBuilder) and hands to the
//                        assembler with the row group; a page without
//                        indices (the dictionary grew too large) is PLAIN.
// The pages of a column with a fixed dictionary (ParquetColumnInfo::
// dictionary) give indices into it: RLE_DICTIONARY of those indices, or with
// kChunkDictionary, of the indices of a chunk dictionary of the texts used
// (which take fewer bits), PLAIN texts where it fell back.
enum class ParquetEncoding { kPlain, kDeltaBinaryPacked, kChunkDictionary };

// A column of the flat schema; every column is optional (nullable). Every
// member has an initializer, so that a braced initializer may leave the
// last ones out.
struct ParquetColumnInfo {
  std::string name = {};
  ParquetType type = ParquetType::kInt64;
  // kTimestampMicrosUtc only on kInt64, kString only on kString.
  ParquetLogical logical = ParquetLogical::kNone;
  // kString only: a fixed dictionary for the whole file; the pages' values are
  // then indices into it. Empty: no fixed dictionary.
  std::vector<std::string> dictionary = {};
  ParquetEncoding encoding = ParquetEncoding::kPlain;
  // The ZSTD level of the column's pages, and the shortest match ZSTD looks
  // for (0: the level's own; see base/zstd_compress.h).
  int zstd_level = 1;
  int zstd_min_match = 0;
};

// One page of one column, filled by the caller row by row.
struct ParquetColumnPage {
  // One per row: 1 value present, 0 null.
  std::vector<uint8_t> defined = {};
  // The values of the present rows only: kInt32 and kInt64 values, or
  // dictionary indices; kDouble values; the bytes of kString values without
  // a dictionary, back to back, and where each ends in `text`.
  std::vector<int64_t> integers = {};
  std::vector<double> reals = {};
  std::string text = {};
  std::vector<uint32_t> text_ends = {};
  // A page of a kChunkDictionary column, when dictionary_values is not 0:
  // the index of each present value in the chunk's dictionary, which then
  // has dictionary_values values. The values stay above too: they give the
  // page's statistics.
  std::vector<uint32_t> indices = {};
  uint32_t dictionary_values = 0;

  // Empties the page and keeps its memory for the next one.
  void Clear() {
    defined.clear();
    integers.clear();
    reals.clear();
    text.clear();
    text_ends.clear();
    indices.clear();
    dictionary_values = 0;
  }
  int64_t rows() const { return static_cast<int64_t>(defined.size()); }
};

// How the schema declares a column (the numbers of parquet::type and
// parquet::converted_type): its physical type, and its converted type, -1
// for none. Every column is OPTIONAL.
int32_t ParquetPhysicalType(ParquetType type);
int32_t ParquetConvertedType(ParquetLogical logical);

// True when the columns can be written; else false with *err set to why
// not: no columns, a column without a name, a logical type its type cannot
// carry, a dictionary on a column that is not kString.
bool CheckParquetColumns(const std::vector<ParquetColumnInfo>& columns, std::string* err);

}  // namespace qorarc
