// The OpenMetrics writer: the numeric elements of the items as samples of
// one gauge family, qorarc_value, for Prometheus to backfill:
//   # TYPE qorarc_value gauge
//   qorarc_value{archive="plant",id="17",class="GrDouble",type="data",index="0"} 1.5 1577836799.9995
//   ...
//   # EOF
// One sample per flag (0 or 1), integer or real element, one row of long
// CSV each (export/long_rows.h). Labels, in this order: archive (the
// archive's name), id, class, type, index (the element's index); a label
// whose value is empty is left out. In label values a backslash, double
// quote and line feed are written \\, \" and \n; the archive's name is
// repaired to UTF-8.
// Values: integers in full, which Prometheus reads as the nearest float64
// (exact up to 2^53 in magnitude); reals as the shortest text that reads
// back to the same double, NaN as NaN, infinities as +Inf and -Inf.
// Time stamps: seconds since 1970-01-01 UTC with the millisecond and half
// a millisecond more ("1577836799.9995" for 23:59:59.999...): Prometheus
// keeps int64(seconds * 1000), computed in floating point, and the half
// keeps the rounding of the decimal text off the millisecond's edge.
// Left out, and counted by UnwrittenSamples (export/unwritten_samples.h),
// which also decides the rows this writer is told to skip
// (ExportItem::left_out): rows without a number, items without a time
// stamp, and samples at or before the last millisecond of their series.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "export/export_item.h"
#include "export/writer.h"

namespace qorarc {

class OpenMetricsWriter final : public Writer {
 public:
  // archive: the name given to the export, the "archive" label.
  OpenMetricsWriter(WriterTarget out, std::string_view archive);

  // The family's TYPE line.
  void beginDocument() override;
  // The samples of one item; none for an item without a time stamp.
  void writeItem(const ExportItem& item) override;
  // "# EOF", then flushes; no total.
  void endDocument(int32_t total) override;
  // The family's TYPE line and "# EOF": a document without samples.
  void writeEmptyResult() override;
  bool showsDateTime() const override { return false; }
  // Each line repeats the labels: the default bound does not hold for a
  // long archive name.
  size_t lineBound() const override;

 private:
  std::string archive_label_;  // `archive="<escaped name>",`, or empty
};

}  // namespace qorarc
