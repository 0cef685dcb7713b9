#include "parquet/parquet_column.h"

#include <cstdint>
#include <limits>
#include <set>

#include "parquet/parquet_format.h"

namespace qorarc {

namespace {

std::string CheckColumn(const ParquetColumnInfo& column) {
  if (column.name.empty()) return "a Parquet column without a name";
  const std::string named = " (column \"" + column.name + "\")";
  if (column.logical == ParquetLogical::kTimestampMicrosUtc && column.type != ParquetType::kInt64)
    return "a Parquet timestamp column must be of type INT64" + named;
  if (column.logical == ParquetLogical::kString && column.type != ParquetType::kString)
    return "a Parquet STRING column must hold byte arrays" + named;
  if (column.encoding == ParquetEncoding::kDeltaBinaryPacked && column.type != ParquetType::kInt32 &&
      column.type != ParquetType::kInt64)
    return "DELTA_BINARY_PACKED is for Parquet integer columns only" + named;
  if (!column.dictionary.empty() && column.type != ParquetType::kString)
    return "only a Parquet byte array column can have a dictionary" + named;
  if (column.dictionary.size() > static_cast<size_t>(std::numeric_limits<int32_t>::max()))
    return "a Parquet dictionary of more than 2^31 - 1 values" + named;
  return "";
}

}  // namespace

int32_t ParquetPhysicalType(ParquetType type) {
  switch (type) {
    case ParquetType::kInt32: return parquet::type::kInt32;
    case ParquetType::kInt64: return parquet::type::kInt64;
    case ParquetType::kDouble: return parquet::type::kDouble;
    case ParquetType::kString: return parquet::type::kByteArray;
  }
  return parquet::type::kByteArray;
}

int32_t ParquetConvertedType(ParquetLogical logical) {
  switch (logical) {
    case ParquetLogical::kNone: return -1;
    case ParquetLogical::kTimestampMicrosUtc: return parquet::converted_type::kTimestampMicros;
    case ParquetLogical::kString: return parquet::converted_type::kUtf8;
  }
  return -1;
}

std::string CheckParquetColumns(const std::vector<ParquetColumnInfo>& columns) {
  if (columns.empty()) return "a Parquet file needs at least one column";
  std::set<std::string> names;
  for (const ParquetColumnInfo& column : columns) {
    std::string error = CheckColumn(column);
    if (!error.empty()) return error;
    if (!names.insert(column.name).second)
      return "two Parquet columns named \"" + column.name + "\"";
  }
  return "";
}

}  // namespace qorarc
