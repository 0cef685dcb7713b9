#include "export/csv_writer.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <ostream>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include "support/export_items.h"

namespace qorarc {
namespace {

using namespace std::string_view_literals;

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInf = std::numeric_limits<double>::infinity();

const double kReals[] = {1.5, -2.0};
const double kSpecialReals[] = {kNaN, -kNaN, kInf, -kInf, -0.0, 1e30};
const uint32_t kDWord[] = {4000000000u};
const int32_t kLongMin[] = {std::numeric_limits<int32_t>::min()};
const int64_t kLarge[] = {5};
const uint8_t kBits[] = {0xA5, 0x02};  // bits 0 to 9: 1010010101
using testing::kZeros;
using testing::Text;
using testing::Value;

// 2021-03-04,05:06:07.123456,GrDouble,data,,12,1.5,-2.0
ExportItem Item(int32_t valueCount = 2, ItemValue value = Value(24, kReals)) {
  ExportItem item = testing::Item(12, valueCount, value);
  item.class_name = "GrDouble";
  item.type_name = "data";
  return item;
}

const std::string kCells = "2021-03-04,05:06:07.123456,GrDouble,data,,12";
const std::string kLine = kCells + ",1.5,-2.0\n";

struct CsvCase {
  const char* name;
  std::string header;
  std::vector<IdRange> filter;
  int32_t delimiter;
  std::vector<ExportItem> items;
  std::string expected;
};

void PrintTo(const CsvCase& c, std::ostream* os) { *os << c.name; }

class CsvWriterTest : public ::testing::TestWithParam<CsvCase> {};

// Without a filter of its own, a case runs again with a filter that keeps
// every column: that takes the column-by-column path, whose lines must be
// the same.
TEST_P(CsvWriterTest, WritesDocument) {
  const CsvCase& c = GetParam();
  std::vector<std::vector<IdRange>> filters = {c.filter};
  if (c.filter.empty()) filters.push_back({{0, std::numeric_limits<int32_t>::max()}});
  for (const std::vector<IdRange>& filter : filters) {
    std::ostringstream out;
    CsvWriter writer(&out, c.header, filter, c.delimiter);
    writer.beginDocument();
    for (const ExportItem& item : c.items) writer.writeItem(item);
    writer.endDocument(0);
    EXPECT_EQ(out.str(), c.expected) << filter.size() << " filter ranges";
  }
}

ExportItem NoTimeStampNoId() {
  ExportItem item = Item(0, Value(0, kZeros));
  item.date = "---";
  item.time = "---";
  item.class_name = "System";
  item.type_name = "Date Mark";
  item.id = -1;
  return item;
}

ExportItem Logged() {
  ExportItem item = Item(1, Text("a,b\"c\nd\0e"sv));
  item.class_name = "AlString";
  item.type_name = "Norm";
  item.level = "Core Warning";
  return item;
}

INSTANTIATE_TEST_SUITE_P(
    Documents, CsvWriterTest,
    ::testing::Values(
        CsvCase{"NoHeaderNoItems", "", {}, kComma, {}, ""},
        CsvCase{"HeaderOnly", "A;B", {}, kComma, {}, "A;B\n"},
        CsvCase{"HeaderAndLines", "A;B", {}, kComma, {Item(), Item()}, "A;B\n" + kLine + kLine},
        // The header is written as given: its line feeds were made by the caller.
        CsvCase{"HeaderWithLineFeed", "x\ny", {}, kComma, {Item()}, "x\ny\n" + kLine},
        CsvCase{"DateAndTimeOnly", "", {{0, 1}}, kComma, {Item()}, "2021-03-04,05:06:07.123456\n"},
        CsvCase{"ValueColumnsOnly", "", {{6, 7}}, kComma, {Item()}, "1.5,-2.0\n"},
        CsvCase{"RangesInColumnOrder", "", {{7, 9}, {0, 0}, {5, 5}}, kSemicolon, {Item()},
                "2021-03-04;12;-2.0\n"},
        CsvCase{"NothingSelected", "", {{8, 20}}, kComma, {Item(), Item()}, "\n\n"},
        CsvCase{"Semicolon", "", {}, kSemicolon, {Item()},
                "2021-03-04;05:06:07.123456;GrDouble;data;;12;1.5;-2.0\n"},
        CsvCase{"Space", "", {}, kSpace, {Item()},
                "2021-03-04 05:06:07.123456 GrDouble data  12 1.5 -2.0\n"},
        CsvCase{"Tab", "", {}, kTab, {Item()},
                "2021-03-04\t05:06:07.123456\tGrDouble\tdata\t\t12\t1.5\t-2.0\n"},
        CsvCase{"UnknownDelimiterIsComma", "", {}, 4, {Item()}, kLine},
        CsvCase{"NegativeDelimiterIsComma", "", {}, -1, {Item()}, kLine},
        CsvCase{"NoTimeStampNoId", "", {}, kComma, {NoTimeStampNoId()},
                "---,---,System,Date Mark,,-1\n"},
        CsvCase{"BoolScalarEmptyCell", "", {}, kComma, {Item(1, Value(1, kZeros))}, kCells + ",\n"},
        CsvCase{"TenFlags", "", {}, kComma, {Item(10, Value(17, kBits))},
                kCells + ",on,off,on,off,off,on,off,on,off,on\n"},
        CsvCase{"DWordReadAsSigned", "", {}, kComma, {Item(1, Value(6, kDWord))},
                kCells + ",-294967296\n"},
        CsvCase{"LongMinimum", "", {}, kComma, {Item(1, Value(4, kLongMin))},
                kCells + ",-2147483648\n"},
        CsvCase{"LargeAsReal", "", {}, kComma, {Item(1, Value(10, kLarge))}, kCells + ",5.0\n"},
        CsvCase{"SpecialReals", "", {}, kComma, {Item(6, Value(24, kSpecialReals))},
                kCells + ",nan,nan,inf,-inf,-0.0,1e30\n"},
        CsvCase{"TextUnquotedCutAtNul", "", {}, kComma, {Logged()},
                "2021-03-04,05:06:07.123456,AlString,Norm,Core Warning,12,a,b\"c\nd\n"},
        CsvCase{"EmptyText", "", {}, kComma, {Item(1, Text(""))}, kCells + ",\n"},
        CsvCase{"StringWithoutText", "", {}, kComma, {Item(1, Value(12, kZeros))}, kCells + ",\n"},
        CsvCase{"ReservedScalarCodeEmptyCells", "", {}, kComma, {Item(2, Value(15, kZeros))},
                kCells + ",,\n"},
        CsvCase{"TextlessArrayGoesOn", "", {}, kComma,
                {Item(2, Value(25, kZeros)), Item(1, Value(27, kZeros)), Item()},
                kCells + ",,\n" + kCells + ",\n" + kLine},
        CsvCase{"NoValues", "", {}, kComma, {Item(0)}, kCells + "\n"},
        // A negative count shortens the line from the end: columns 0 to count + 5.
        CsvCase{"NegativeValueCount", "", {}, kComma, {Item(-1)},
                "2021-03-04,05:06:07.123456,GrDouble,data,\n"},
        CsvCase{"NoColumnsLeft", "", {}, kComma, {Item(-6)}, "\n"}),
    [](const ::testing::TestParamInfo<CsvCase>& info) { return std::string(info.param.name); });

TEST(CsvWriterLongCellTest, TextOfLongestRecord) {
  const std::string text(32767, 'y');
  std::ostringstream out;
  CsvWriter writer(&out, "", {{5, 8}}, kComma);
  writer.beginDocument();
  writer.writeItem(Item(3, Text(text)));
  writer.endDocument(0);
  EXPECT_EQ(out.str(), "12," + text + "," + text + "," + text + "\n");
}

}  // namespace
}  // namespace qorarc
