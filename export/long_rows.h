// The long layout's rows of an item, shared by long CSV and Parquet: one
// row per flag, integer or real element (the element in the row's value),
// one for a string record (its text, index 0), one per element of a value
// without a form (index only), and one with index, value and text empty for
// any other item.
#pragma once

#include <cstdint>
#include <string_view>

#include "archive/value_elements.h"
#include "export/export_item.h"

namespace qorarc {

struct LongRow {
  enum class Cell { kEmpty, kFlag, kInteger, kReal, kText };
  int32_t index = -1;  // negative: empty
  Cell cell = Cell::kEmpty;
  bool flag = false;
  int64_t integer = 0;
  double real = 0.0;
  std::string_view text;  // a string record's text, uncut and unrepaired
};

namespace long_rows_internal {

template <typename RowFn>
struct RowVisitor {
  RowFn& row;
  bool any = false;

  void Flag(int i, bool f) {
    LongRow r = Row(i, LongRow::Cell::kFlag);
    r.flag = f;
    Emit(r);
  }
  void Integer(int i, int64_t v) {
    LongRow r = Row(i, LongRow::Cell::kInteger);
    r.integer = v;
    Emit(r);
  }
  void Real(int i, double v) {
    LongRow r = Row(i, LongRow::Cell::kReal);
    r.real = v;
    Emit(r);
  }
  void Text(std::string_view t) {
    LongRow r = Row(0, LongRow::Cell::kText);
    r.text = t;
    Emit(r);
  }
  void Formless(int32_t count) {
    for (int32_t i = 0; i < count; ++i) Emit(Row(i, LongRow::Cell::kEmpty));
  }
  static LongRow Row(int32_t index, LongRow::Cell cell) {
    LongRow r;
    r.index = index;
    r.cell = cell;
    return r;
  }
  void Emit(const LongRow& r) {
    any = true;
    row(r);
  }
};

}  // namespace long_rows_internal

// Calls row(const LongRow&) for each row of `item`, in order.
template <typename RowFn>
void ExpandRows(const ExportItem& item, ValueReading reading, RowFn&& row) {
  long_rows_internal::RowVisitor<RowFn> visitor{row};
  VisitValue(item.value, item.value_count, reading, visitor);
  if (!visitor.any) row(LongRow{});
}

// The number of rows ExpandRows gives for an item, from its code and count
// byte alone: what a batch of rows is measured by before it is expanded.
inline int32_t LongRowCount(int code, uint8_t count) {
  const int32_t n = ValueCount(code, count);
  return n > 0 && ShapeOf(code) == ValueShape::kArray ? n : 1;
}

}  // namespace qorarc
