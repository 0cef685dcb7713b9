#include "parquet/parquet_column.h"

#include <cstdint>
#include <limits>
#include <set>
#include <utility>

#include "parquet/parquet_format.h"

namespace qorarc {

namespace {

// Sets *err to `reason`; false, for a failing check's return.
bool Fail(std::string reason, std::string* err) {
  *err = std::move(reason);
  return false;
}

bool CheckColumn(const ParquetColumnInfo& column, std::string* err) {
  if (column.name.empty()) return Fail("a Parquet column without a name", err);
  const std::string named = " (column \"" + column.name + "\")";
  if (column.logical == ParquetLogical::kTimestampMicrosUtc && column.type != ParquetType::kInt64)
    return Fail("a Parquet timestamp column must be of type INT64" + named, err);
  if (column.logical == ParquetLogical::kString && column.type != ParquetType::kString)
    return Fail("a Parquet STRING column must hold byte arrays" + named, err);
  if (column.encoding == ParquetEncoding::kDeltaBinaryPacked && column.type != ParquetType::kInt32 &&
      column.type != ParquetType::kInt64)
    return Fail("DELTA_BINARY_PACKED is for Parquet integer columns only" + named, err);
  if (!column.dictionary.empty() && column.type != ParquetType::kString)
    return Fail("only a Parquet byte array column can have a dictionary" + named, err);
  if (column.dictionary.size() > static_cast<size_t>(std::numeric_limits<int32_t>::max()))
    return Fail("a Parquet dictionary of more than 2^31 - 1 values" + named, err);
  return true;
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

bool CheckParquetColumns(const std::vector<ParquetColumnInfo>& columns, std::string* err) {
  if (columns.empty()) return Fail("a Parquet file needs at least one column", err);
  std::set<std::string> names;
  for (const ParquetColumnInfo& column : columns) {
    if (!CheckColumn(column, err)) return false;
    if (!names.insert(column.name).second)
      return Fail("two Parquet columns named \"" + column.name + "\"", err);
  }
  return true;
}

}  // namespace qorarc
