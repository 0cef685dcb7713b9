#include "parquet/parquet_statistics.h"

#include <algorithm>
#include <bit>
#include <cmath>

#include "parquet/parquet_encoding.h"
#include "parquet/parquet_format.h"
#include "parquet/parquet_thrift.h"

namespace qorarc {

void ParquetStatistics::AddBounds(int64_t lo, int64_t hi) {
  if (!has_bounds) {
    min_integer = lo;
    max_integer = hi;
    has_bounds = true;
  } else {
    min_integer = std::min(min_integer, lo);
    max_integer = std::max(max_integer, hi);
  }
}

void ParquetStatistics::AddReals(std::span<const double> values) {
  for (double v : values) {
    if (std::isnan(v)) {
      ++nans;
    } else if (!has_bounds) {
      min_real = max_real = v;
      has_bounds = true;
    } else {
      min_real = std::min(min_real, v);
      max_real = std::max(max_real, v);
    }
  }
}

void ParquetStatistics::AddText(std::string_view value) {
  // std::string compares as unsigned char, the order of byte arrays.
  if (!has_bounds) {
    min_text = max_text = value;
    has_bounds = true;
  } else if (value < min_text) {
    min_text = value;
  } else if (value > max_text) {
    max_text = value;
  }
}

void ParquetStatistics::Merge(const ParquetStatistics& other) {
  nulls += other.nulls;
  nans += other.nans;
  if (!other.has_bounds) return;
  if (!has_bounds) {
    has_bounds = true;
    min_integer = other.min_integer;
    max_integer = other.max_integer;
    min_real = other.min_real;
    max_real = other.max_real;
    min_text = other.min_text;
    max_text = other.max_text;
    return;
  }
  min_integer = std::min(min_integer, other.min_integer);
  max_integer = std::max(max_integer, other.max_integer);
  min_real = std::min(min_real, other.min_real);
  max_real = std::max(max_real, other.max_real);
  min_text = std::min(min_text, other.min_text);
  max_text = std::max(max_text, other.max_text);
}

namespace {

std::string PlainBound(ParquetType type, int64_t integer, double real, const std::string& text) {
  std::string bytes;
  switch (type) {
    case ParquetType::kInt32: parquet::PutFixed32(static_cast<uint32_t>(integer), &bytes); break;
    case ParquetType::kInt64: parquet::PutFixed64(static_cast<uint64_t>(integer), &bytes); break;
    case ParquetType::kDouble: parquet::PutFixed64(std::bit_cast<uint64_t>(real), &bytes); break;
    case ParquetType::kString: bytes = text; break;
  }
  return bytes;
}

}  // namespace

void ParquetStatistics::Write(ParquetType type, int16_t id, parquet::ThriftWriter* writer) const {
  namespace stats = parquet::statistics;
  writer->BeginStructField(id);
  writer->I64Field(stats::kNullCount, nulls);
  if (has_bounds) {
    double min = min_real == 0 ? -0.0 : min_real;
    double max = max_real == 0 ? +0.0 : max_real;
    writer->BinaryField(stats::kMaxValue, PlainBound(type, max_integer, max, max_text));
    writer->BinaryField(stats::kMinValue, PlainBound(type, min_integer, min, min_text));
  }
  if (type == ParquetType::kDouble) writer->I64Field(stats::kNanCount, nans);
  writer->EndStruct();
}

}  // namespace qorarc
