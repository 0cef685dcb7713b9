// The statistics of a page or column chunk: null and NaN counts and the
// bounds of the present values in the order the column's type defines
// (signed numbers; doubles without NaN; strings bytewise unsigned).
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

#include "parquet/parquet_column.h"

namespace qorarc {

namespace parquet {
class ThriftWriter;
}

struct ParquetStatistics {
  int64_t nulls = 0;
  int64_t nans = 0;          // kDouble only
  bool has_bounds = false;   // false while no value (other than NaN) is present
  // The bounds of the column's type; the others stay as they are.
  int64_t min_integer = 0, max_integer = 0;
  double min_real = 0, max_real = 0;
  std::string min_text, max_text;

  // The smallest and the largest of some integers (the page's encoder finds
  // them once, for its checks too).
  void AddBounds(int64_t lo, int64_t hi);
  void AddReals(std::span<const double> values);
  void AddText(std::string_view value);
  // Takes in the statistics of another page of the same column.
  void Merge(const ParquetStatistics& other);

  // Writes the Statistics struct (begun and ended here) as field `id` of the
  // open struct: null_count, the bounds as min_value/max_value (PLAIN, byte
  // arrays without their length) and, for doubles, nan_count. A zero bound
  // of a double is written as -0.0 for the minimum and +0.0 for the maximum,
  // so that a reader that meets either sign still finds the other inside.
  void Write(ParquetType type, int16_t id, parquet::ThriftWriter* writer) const;
};

}  // namespace qorarc
