// The facts of the Parquet file format that the encoder writes, defined once
// and shared by the Thrift writer (parquet/parquet_thrift.h), the value
// encodings (parquet/parquet_encoding.h) and the file assembler
// (parquet/parquet_file_assembler.h).
//
// Where they come from: the public definition of the format in the
// apache/parquet-format repository (src/main/thrift/parquet.thrift for the
// structs, their field ids and the enums; Encodings.md for PLAIN and the
// RLE/bit-packed hybrid; Compression.md for ZSTD) and, for the bytes of the
// footer and page headers, the Thrift compact protocol as the apache/thrift
// repository documents it (thrift-compact-protocol.md in its doc folder).
//
// A file is "PAR1", the column chunks of each row group (per column: its
// dictionary page, then its data pages; each page a Thrift PageHeader and the
// compressed body), the Thrift FileMetaData, its length as a 4-byte
// little-endian number, and "PAR1" again.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace qorarc::parquet {

inline constexpr std::string_view kMagic = "PAR1";
inline constexpr size_t kFooterLengthBytes = 4;

// The version written in FileMetaData: 1, which every reader accepts.
inline constexpr int32_t kFileVersion = 1;

// Thrift compact protocol: the type ids of a field header (low 4 bits).
namespace compact {
inline constexpr uint8_t kBooleanTrue = 1;
inline constexpr uint8_t kBooleanFalse = 2;
inline constexpr uint8_t kI8 = 3;
inline constexpr uint8_t kI16 = 4;
inline constexpr uint8_t kI32 = 5;
inline constexpr uint8_t kI64 = 6;
inline constexpr uint8_t kDouble = 7;
inline constexpr uint8_t kBinary = 8;
inline constexpr uint8_t kList = 9;
inline constexpr uint8_t kSet = 10;
inline constexpr uint8_t kMap = 11;
inline constexpr uint8_t kStruct = 12;
// The element type of a list of booleans (fields carry theirs in the header).
inline constexpr uint8_t kBoolElement = 2;
inline constexpr uint8_t kStop = 0;
// Field id deltas 1-15 fit the header byte; a list of up to 14 elements
// keeps its size there too.
inline constexpr int kMaxShortFieldDelta = 15;
inline constexpr uint32_t kMaxShortListSize = 14;
inline constexpr uint8_t kLongListSize = 0xF;
}  // namespace compact

// Field ids of the structs written.
namespace file_meta_data {
inline constexpr int16_t kVersion = 1;
inline constexpr int16_t kSchema = 2;
inline constexpr int16_t kNumRows = 3;
inline constexpr int16_t kRowGroups = 4;
inline constexpr int16_t kCreatedBy = 6;
inline constexpr int16_t kColumnOrders = 7;
}  // namespace file_meta_data

namespace schema_element {
inline constexpr int16_t kType = 1;
inline constexpr int16_t kRepetitionType = 3;
inline constexpr int16_t kName = 4;
inline constexpr int16_t kNumChildren = 5;
inline constexpr int16_t kConvertedType = 6;
inline constexpr int16_t kLogicalType = 10;
}  // namespace schema_element

namespace row_group {
inline constexpr int16_t kColumns = 1;
inline constexpr int16_t kTotalByteSize = 2;
inline constexpr int16_t kNumRows = 3;
inline constexpr int16_t kFileOffset = 5;
inline constexpr int16_t kTotalCompressedSize = 6;
}  // namespace row_group

namespace column_chunk {
inline constexpr int16_t kFileOffset = 2;
inline constexpr int16_t kMetaData = 3;
}  // namespace column_chunk

namespace column_meta_data {
inline constexpr int16_t kType = 1;
inline constexpr int16_t kEncodings = 2;
inline constexpr int16_t kPathInSchema = 3;
inline constexpr int16_t kCodec = 4;
inline constexpr int16_t kNumValues = 5;
inline constexpr int16_t kTotalUncompressedSize = 6;
inline constexpr int16_t kTotalCompressedSize = 7;
inline constexpr int16_t kDataPageOffset = 9;
inline constexpr int16_t kDictionaryPageOffset = 11;
inline constexpr int16_t kStatistics = 12;
}  // namespace column_meta_data

namespace page_header {
inline constexpr int16_t kType = 1;
inline constexpr int16_t kUncompressedPageSize = 2;
inline constexpr int16_t kCompressedPageSize = 3;
inline constexpr int16_t kDataPageHeader = 5;
inline constexpr int16_t kDictionaryPageHeader = 7;
}  // namespace page_header

namespace data_page_header {
inline constexpr int16_t kNumValues = 1;
inline constexpr int16_t kEncoding = 2;
inline constexpr int16_t kDefinitionLevelEncoding = 3;
inline constexpr int16_t kRepetitionLevelEncoding = 4;
inline constexpr int16_t kStatistics = 5;
}  // namespace data_page_header

namespace dictionary_page_header {
inline constexpr int16_t kNumValues = 1;
inline constexpr int16_t kEncoding = 2;
}  // namespace dictionary_page_header

namespace statistics {
inline constexpr int16_t kNullCount = 3;
inline constexpr int16_t kMaxValue = 5;
inline constexpr int16_t kMinValue = 6;
inline constexpr int16_t kNanCount = 9;
}  // namespace statistics

// LogicalType is a union: one field, itself a struct.
namespace logical_type {
inline constexpr int16_t kString = 1;
inline constexpr int16_t kTimestamp = 8;
}  // namespace logical_type

namespace timestamp_type {
inline constexpr int16_t kIsAdjustedToUtc = 1;
inline constexpr int16_t kUnit = 2;
}  // namespace timestamp_type

// TimeUnit is a union of empty structs.
namespace time_unit {
inline constexpr int16_t kMillis = 1;
inline constexpr int16_t kMicros = 2;
inline constexpr int16_t kNanos = 3;
}  // namespace time_unit

// ColumnOrder is a union; TYPE_ORDER holds the empty TypeDefinedOrder.
namespace column_order {
inline constexpr int16_t kTypeOrder = 1;
}  // namespace column_order

// Enums, written as i32.
namespace type {
inline constexpr int32_t kBoolean = 0;
inline constexpr int32_t kInt32 = 1;
inline constexpr int32_t kInt64 = 2;
inline constexpr int32_t kFloat = 4;
inline constexpr int32_t kDouble = 5;
inline constexpr int32_t kByteArray = 6;
}  // namespace type

namespace converted_type {
inline constexpr int32_t kUtf8 = 0;
inline constexpr int32_t kTimestampMicros = 10;
}  // namespace converted_type

namespace repetition {
inline constexpr int32_t kRequired = 0;
inline constexpr int32_t kOptional = 1;
inline constexpr int32_t kRepeated = 2;
}  // namespace repetition

namespace encoding {
inline constexpr int32_t kPlain = 0;
inline constexpr int32_t kRle = 3;
inline constexpr int32_t kDeltaBinaryPacked = 5;
inline constexpr int32_t kRleDictionary = 8;
}  // namespace encoding

namespace codec {
inline constexpr int32_t kUncompressed = 0;
inline constexpr int32_t kZstd = 6;
}  // namespace codec

namespace page_type {
inline constexpr int32_t kDataPage = 0;
inline constexpr int32_t kDictionaryPage = 2;
}  // namespace page_type

// Value sizes of PLAIN: little-endian numbers, and byte arrays prefixed by
// a 4-byte little-endian length.
inline constexpr size_t kInt32Bytes = 4;
inline constexpr size_t kInt64Bytes = 8;
inline constexpr size_t kDoubleBytes = 8;
inline constexpr size_t kByteArrayLengthBytes = 4;

// A v1 data page: the definition levels (bit width 1 for an optional column
// of a flat schema) prefixed by their length in 4 bytes; no repetition
// levels. A dictionary-encoded page's indices are prefixed by their bit width
// in one byte, at most 32.
inline constexpr int kDefinitionLevelBitWidth = 1;
inline constexpr size_t kLevelsLengthBytes = 4;
inline constexpr int kMaxIndexBitWidth = 32;

// RLE/bit-packed hybrid: a run header is a ULEB128 varint whose low bit tells
// a bit-packed run (1, the rest counts groups of 8 values) from an RLE run
// (0, the rest counts the repeated values).
inline constexpr size_t kBitPackedGroup = 8;

// DELTA_BINARY_PACKED: a block of 128 differences in 4 miniblocks of 32, the
// sizes the format suggests and every reader takes.
inline constexpr size_t kDeltaBlockValues = 128;
inline constexpr size_t kDeltaMiniblocks = 4;
inline constexpr size_t kDeltaMiniblockValues = kDeltaBlockValues / kDeltaMiniblocks;

}  // namespace qorarc::parquet
