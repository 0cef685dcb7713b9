// The InfluxDB line protocol writer: one point per line, one line per row
// of long CSV (export/long_rows.h), in measurement "qorarc":
//   qorarc,archive=plant,class=GrDouble,id=17,index=0,level=...,type=Lo\ \  real=1.5 1577836799999999600
// Tags, in key order: archive (the archive's name), class, id, index (the
// element's index), level, type; a tag whose value is empty is left out.
// One field, named by the kind of the element, so that no field name ever
// holds two types: flag (boolean), integer (an integer field, "i"), real (a
// float that reads back to the same double), text (a string record's text,
// cut at its first NUL, repaired to UTF-8, a carriage return or line feed
// written as a blank), novalue=true (an element or item without a value).
// Time stamps in integer nanoseconds since 1970-01-01 UTC.
// Left out, and counted by UnwrittenPoints (export/unwritten_points.h): the
// rows of NaN and infinities, which the protocol cannot carry, and every
// row of an item without a time stamp, which would take the server's time.
// Tag values: comma, equals sign and blank escaped, a carriage return or
// line feed written as a blank, a backslash at the end doubled.
// Items of one ID, class, type and level at the same time stamp make the
// same series and time: the server keeps the later one. No tag tells them
// apart: a count of such repeats needs the items before, which the writer
// must not keep (export/writer.h), and counted while reading it would
// restart with each --state run and shift with the filters, so the points
// it names would differ between two exports of the same data.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "export/export_item.h"
#include "export/writer.h"

namespace qorarc {

class LineProtocolWriter final : public Writer {
 public:
  // archive: the name given to the export, the "archive" tag.
  LineProtocolWriter(WriterTarget out, std::string_view archive);

  // Nothing precedes the first line.
  void beginDocument() override;
  // The lines of one item; none for an item without a time stamp.
  void writeItem(const ExportItem& item) override;
  // Flushes; no total.
  void endDocument(int32_t total) override;
  // Writes nothing.
  void writeEmptyResult() override;
  bool showsDateTime() const override { return false; }
  // Each line repeats the tags: the default bound does not hold for a long
  // archive name.
  size_t lineBound() const override;

 private:
  // Elements read exactly, as long CSV reads them.
  static constexpr ValueReading kReading = ValueReading::kExact;
  std::string archive_tag_;  // ",archive=<escaped name>", or empty
  std::string text_;         // the repaired text of a string record
};

}  // namespace qorarc
