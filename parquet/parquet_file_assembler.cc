#include "parquet/parquet_file_assembler.h"

#include <bit>
#include <utility>

#include "parquet/parquet_encoding.h"
#include "parquet/parquet_format.h"
#include "parquet/parquet_thrift.h"

namespace qorarc {

namespace {

// Sets *err to `reason`; false, for a failing check's return.
bool Fail(std::string reason, std::string* err) {
  *err = std::move(reason);
  return false;
}

namespace pq = parquet;

void WriteSchemaLeaf(const ParquetColumnInfo& column, pq::ThriftWriter* writer) {
  namespace element = pq::schema_element;
  writer->BeginStruct();
  writer->I32Field(element::kType, ParquetPhysicalType(column.type));
  writer->I32Field(element::kRepetitionType, pq::repetition::kOptional);
  writer->BinaryField(element::kName, column.name);
  // The converted type too, for readers that predate logical types.
  const int32_t converted = ParquetConvertedType(column.logical);
  if (converted >= 0) writer->I32Field(element::kConvertedType, converted);
  if (column.logical != ParquetLogical::kNone) {
    writer->BeginStructField(element::kLogicalType);
    if (column.logical == ParquetLogical::kString) {
      writer->BeginStructField(pq::logical_type::kString);
      writer->EndStruct();
    } else {
      writer->BeginStructField(pq::logical_type::kTimestamp);
      writer->BoolField(pq::timestamp_type::kIsAdjustedToUtc, true);
      writer->BeginStructField(pq::timestamp_type::kUnit);
      writer->BeginStructField(pq::time_unit::kMicros);
      writer->EndStruct();
      writer->EndStruct();
      writer->EndStruct();
    }
    writer->EndStruct();
  }
  writer->EndStruct();
}

}  // namespace

ParquetFileAssembler::ParquetFileAssembler(std::vector<ParquetColumnInfo> columns,
                                           std::string created_by)
    : columns_(std::move(columns)),
      created_by_(std::move(created_by)),
      columns_ok_(CheckParquetColumns(columns_, &columns_error_)) {
  // The dictionary is the same for every row group, so its page is too.
  dictionary_pages_.resize(columns_.size());
  for (size_t i = 0; i < columns_.size() && columns_ok_; ++i) {
    if (!columns_[i].dictionary.empty())
      columns_ok_ = EncodeDictionaryPage(columns_[i], &dictionary_pages_[i], &columns_error_);
  }
}

std::string ParquetFileAssembler::Header() {
  offset_ += pq::kMagic.size();
  return std::string(pq::kMagic);
}

bool ParquetFileAssembler::CheckPages(const std::vector<std::vector<EncodedPage>>& pages_by_column,
                                     std::string* err) const {
  if (!columns_ok_) return Fail(columns_error_, err);
  if (offset_ == 0) return Fail("a Parquet row group before the file's header", err);
  if (pages_by_column.size() != columns_.size()) {
    return Fail("a Parquet row group of " + std::to_string(pages_by_column.size()) +
                    " columns in a file of " + std::to_string(columns_.size()),
                err);
  }
  int64_t group_rows = -1;
  for (size_t c = 0; c < columns_.size(); ++c) {
    int64_t rows = 0;
    for (const EncodedPage& page : pages_by_column[c]) {
      if (page.bytes.empty() || page.rows <= 0)
        return Fail("Parquet column \"" + columns_[c].name + "\": a data page without rows", err);
      rows += page.rows;
    }
    if (rows == 0)
      return Fail("Parquet column \"" + columns_[c].name + "\": a row group without rows", err);
    if (group_rows >= 0 && rows != group_rows) {
      return Fail("Parquet column \"" + columns_[c].name + "\": " + std::to_string(rows) +
                      " rows in a row group of " + std::to_string(group_rows),
                  err);
    }
    group_rows = rows;
  }
  return true;
}

bool ParquetFileAssembler::AppendRowGroup(
    const std::vector<std::vector<EncodedPage>>& pages_by_column,
    const std::vector<EncodedPage>& dictionary_pages, std::string* out, std::string* error) {
  if (!CheckPages(pages_by_column, error)) return false;
  if (!dictionary_pages.empty() && dictionary_pages.size() != columns_.size()) {
    return Fail("Parquet dictionary pages for " + std::to_string(dictionary_pages.size()) +
                    " columns in a file of " + std::to_string(columns_.size()),
                error);
  }
  // The offsets in the file of bytes appended at *out's end.
  std::string& bytes = *out;
  const uint64_t start = offset_ - bytes.size();
  Group group;
  group.offset = offset_;
  for (size_t c = 0; c < columns_.size(); ++c) {
    Chunk chunk;
    // Levels are RLE; a dictionary page is PLAIN.
    chunk.encodings = 1u << pq::encoding::kRle;
    const bool own = !dictionary_pages.empty() && !dictionary_pages[c].bytes.empty();
    const EncodedPage& dictionary = own ? dictionary_pages[c] : dictionary_pages_[c];
    if (!dictionary.bytes.empty()) {
      chunk.encodings |= 1u << pq::encoding::kPlain;
      chunk.dictionary_page_offset = start + bytes.size();
      chunk.uncompressed_bytes += dictionary.uncompressed_bytes;
      chunk.compressed_bytes += dictionary.bytes.size();
      bytes += dictionary.bytes;
    }
    chunk.data_page_offset = start + bytes.size();
    for (const EncodedPage& page : pages_by_column[c]) {
      chunk.values += page.rows;
      chunk.encodings |= 1u << page.encoding;
      chunk.uncompressed_bytes += page.uncompressed_bytes;
      chunk.compressed_bytes += page.bytes.size();
      chunk.statistics.Merge(page.statistics);
      bytes += page.bytes;
    }
    group.rows = chunk.values;
    group.chunks.push_back(std::move(chunk));
  }
  offset_ = start + bytes.size();
  rows_ += group.rows;
  groups_.push_back(std::move(group));
  return true;
}

std::string ParquetFileAssembler::Footer() {
  namespace meta = pq::file_meta_data;
  std::string footer;
  pq::ThriftWriter writer(&footer);
  writer.BeginStruct();
  writer.I32Field(meta::kVersion, pq::kFileVersion);

  // The root has no repetition type; its children are the columns.
  writer.ListField(meta::kSchema, pq::compact::kStruct, columns_.size() + 1);
  writer.BeginStruct();
  writer.BinaryField(pq::schema_element::kName, "schema");
  writer.I32Field(pq::schema_element::kNumChildren, static_cast<int32_t>(columns_.size()));
  writer.EndStruct();
  for (const ParquetColumnInfo& column : columns_) WriteSchemaLeaf(column, &writer);

  writer.I64Field(meta::kNumRows, rows_);
  writer.ListField(meta::kRowGroups, pq::compact::kStruct, groups_.size());
  for (const Group& group : groups_) {
    namespace rg = pq::row_group;
    namespace cm = pq::column_meta_data;
    writer.BeginStruct();
    writer.ListField(rg::kColumns, pq::compact::kStruct, group.chunks.size());
    uint64_t uncompressed = 0, compressed = 0;
    for (size_t c = 0; c < group.chunks.size(); ++c) {
      const Chunk& chunk = group.chunks[c];
      const ParquetColumnInfo& column = columns_[c];
      uncompressed += chunk.uncompressed_bytes;
      compressed += chunk.compressed_bytes;
      writer.BeginStruct();
      // No column metadata stands outside the footer.
      writer.I64Field(pq::column_chunk::kFileOffset, 0);
      writer.BeginStructField(pq::column_chunk::kMetaData);
      writer.I32Field(cm::kType, ParquetPhysicalType(column.type));
      const bool dictionary = chunk.dictionary_page_offset != 0;
      writer.ListField(cm::kEncodings, pq::compact::kI32, std::popcount(chunk.encodings));
      for (int32_t e = 0; e < 32; ++e)
        if (chunk.encodings >> e & 1) writer.I32Element(e);
      writer.ListField(cm::kPathInSchema, pq::compact::kBinary, 1);
      writer.BinaryElement(column.name);
      writer.I32Field(cm::kCodec, pq::codec::kZstd);
      writer.I64Field(cm::kNumValues, chunk.values);
      writer.I64Field(cm::kTotalUncompressedSize, static_cast<int64_t>(chunk.uncompressed_bytes));
      writer.I64Field(cm::kTotalCompressedSize, static_cast<int64_t>(chunk.compressed_bytes));
      writer.I64Field(cm::kDataPageOffset, static_cast<int64_t>(chunk.data_page_offset));
      if (dictionary) {
        writer.I64Field(cm::kDictionaryPageOffset,
                        static_cast<int64_t>(chunk.dictionary_page_offset));
      }
      chunk.statistics.Write(column.type, cm::kStatistics, &writer);
      writer.EndStruct();
      writer.EndStruct();
    }
    writer.I64Field(rg::kTotalByteSize, static_cast<int64_t>(uncompressed));
    writer.I64Field(rg::kNumRows, group.rows);
    writer.I64Field(rg::kFileOffset, static_cast<int64_t>(group.offset));
    writer.I64Field(rg::kTotalCompressedSize, static_cast<int64_t>(compressed));
    writer.EndStruct();
  }

  if (!created_by_.empty()) writer.BinaryField(meta::kCreatedBy, created_by_);
  writer.ListField(meta::kColumnOrders, pq::compact::kStruct, columns_.size());
  for (size_t c = 0; c < columns_.size(); ++c) {
    writer.BeginStruct();
    writer.BeginStructField(pq::column_order::kTypeOrder);
    writer.EndStruct();
    writer.EndStruct();
  }
  writer.EndStruct();

  pq::PutFixed32(static_cast<uint32_t>(footer.size()), &footer);
  footer.append(pq::kMagic);
  return footer;
}

}  // namespace qorarc
