// The CSV writer past what tests/export_test.cc pins (whole lines of every
// value category, the header, the semicolon and space delimiters).
#include "export/csv_writer.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include "support/export_items.h"

namespace qorarc {
namespace {

using namespace std::string_view_literals;
using testing::Text;
using testing::Value;

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInf = std::numeric_limits<double>::infinity();
const double kReals[] = {1.5, -2.0};
const double kNonFinite[] = {kNaN, -kNaN, kInf, -kInf};
const int32_t kLongMin[] = {std::numeric_limits<int32_t>::min()};
const std::string kLongest(32767, 'y');

// 2021-03-04,05:06:07.123456,GrDouble,data,,12,1.5,-2.0
ExportItem Item(int32_t value_count = 2, ItemValue value = Value(24, kReals)) {
  ExportItem item = testing::Item(12, value_count, value);
  item.class_name = "GrDouble";
  item.type_name = "data";
  return item;
}

const std::string kCells = "2021-03-04,05:06:07.123456,GrDouble,data,,12";

// Without a filter of its own, a case runs again with a filter that keeps
// every column: that takes the column-by-column path, whose lines must be
// the same.
TEST(CsvWriterTest, Documents) {
  const struct {
    const char* what;
    std::vector<IdRange> filter;
    int32_t delimiter;
    std::vector<ExportItem> items;
    std::string expected;
  } cases[] = {
      {"ranges out of column order", {{7, 9}, {0, 0}, {5, 5}}, kSemicolon, {Item()},
       "2021-03-04;12;-2.0\n"},
      {"no column selected", {{8, 20}}, kComma, {Item(), Item()}, "\n\n"},
      {"tab", {}, kTab, {Item()},
       "2021-03-04\t05:06:07.123456\tGrDouble\tdata\t\t12\t1.5\t-2.0\n"},
      {"unknown delimiter is a comma", {}, 4, {Item()}, kCells + ",1.5,-2.0\n"},
      {"reals without a finite value", {}, kComma, {Item(4, Value(24, kNonFinite))},
       kCells + ",nan,nan,inf,-inf\n"},
      {"longest integer", {}, kComma, {Item(1, Value(4, kLongMin))}, kCells + ",-2147483648\n"},
      {"text unquoted, cut at NUL", {}, kComma, {Item(1, Text("a,b\"c\nd\0e"sv))},
       kCells + ",a,b\"c\nd\n"},
      // A negative count shortens the line from the end: columns 0 to count + 5.
      {"negative value count", {}, kComma, {Item(-1)},
       "2021-03-04,05:06:07.123456,GrDouble,data,\n"},
      {"longest text in filtered cells", {{5, 8}}, kComma, {Item(3, Text(kLongest))},
       "12," + kLongest + "," + kLongest + "," + kLongest + "\n"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    std::vector<std::vector<IdRange>> filters = {c.filter};
    if (c.filter.empty()) filters.push_back({{0, std::numeric_limits<int32_t>::max()}});
    for (const std::vector<IdRange>& filter : filters) {
      std::ostringstream out;
      CsvWriter writer(&out, "", filter, c.delimiter);
      writer.beginDocument();
      for (const ExportItem& item : c.items) writer.writeItem(item);
      writer.endDocument(0);
      EXPECT_EQ(out.str(), c.expected) << filter.size() << " filter ranges";
    }
  }
}

}  // namespace
}  // namespace qorarc
