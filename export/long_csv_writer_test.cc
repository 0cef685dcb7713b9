#include "export/long_csv_writer.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdint>
#include <limits>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include "core/time_base.h"
#include "export/csv_writer.h"

namespace qorarc {
namespace {

using namespace std::string_view_literals;
using std::chrono::March;

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInf = std::numeric_limits<double>::infinity();

// 2021-03-04 05:06:07.123456789
const int64_t kTime =
    DayNumberOf(std::chrono::year{2021} / March / 4) * kNanosPerDay + 18'367'123'456'789;

const double kReals[] = {1.5, kNaN, -kInf, kInf, -0.0};
const int32_t kLongs[] = {std::numeric_limits<int32_t>::min(), 7};
const uint8_t kBits[] = {0x05};  // bits 0 to 2: 101
const uint8_t kZeros[8] = {};

ItemValue Value(uint8_t code, const void* payload) {
  return ItemValue{code, static_cast<const uint8_t*>(payload), {}};
}

ExportItem Item(int32_t value_count, ItemValue value, int64_t timestamp = kTime) {
  ExportItem item;
  item.timestamp = timestamp;
  item.class_name = "GrDouble";
  item.type_name = "data";
  item.id = 12;
  item.value_count = value_count;
  item.value = value;
  return item;
}

ExportItem Logged(std::string_view text) {
  ExportItem item = Item(1, ItemValue{12, kZeros, text});
  item.class_name = "AlString";
  item.type_name = "Lo  ";
  item.level = "Core Warning";
  return item;
}

ExportItem SystemRecord(int64_t timestamp) {
  ExportItem item = Item(0, Value(0, kZeros), timestamp);
  item.class_name = "System";
  item.type_name = "Date Mark";
  item.id = -1;
  return item;
}

struct RowsCase {
  const char* name;
  int32_t delimiter;
  ExportItem item;
  std::string expected;  // the rows after the header
};

void PrintTo(const RowsCase& c, std::ostream* os) { *os << c.name; }

class LongCsvWriterTest : public testing::TestWithParam<RowsCase> {};

TEST_P(LongCsvWriterTest, WritesRows) {
  const RowsCase& c = GetParam();
  std::ostringstream out;
  LongCsvWriter writer(&out, c.delimiter);
  writer.beginDocument();
  writer.writeItem(c.item);
  writer.endDocument(1);
  std::string header = "ts,id,class,type,level,index,value,text\n";
  for (char& ch : header)
    if (ch == ',') ch = DelimiterChar(c.delimiter);
  EXPECT_EQ(out.str(), header + c.expected);
}

const std::string kData = "2021-03-04T05:06:07.123456789Z,12,GrDouble,data,,";
const std::string kLog = "2021-03-04T05:06:07.123456789Z,12,AlString,Lo  ,Core Warning,";

INSTANTIATE_TEST_SUITE_P(
    Rows, LongCsvWriterTest,
    testing::Values(
        RowsCase{"Reals", kComma, Item(5, Value(24, kReals)),
                 kData + "0,1.5,\n" + kData + "1,NaN,\n" + kData + "2,-Infinity,\n" + kData +
                     "3,Infinity,\n" + kData + "4,-0.0,\n"},
        RowsCase{"Integers", kComma, Item(2, Value(20, kLongs)),
                 kData + "0,-2147483648,\n" + kData + "1,7,\n"},
        RowsCase{"Flags", kComma, Item(3, Value(17, kBits)),
                 kData + "0,1,\n" + kData + "1,0,\n" + kData + "2,1,\n"},
        RowsCase{"BoolOneEmptyRow", kComma, Item(1, Value(1, kZeros)), kData + ",,\n"},
        RowsCase{"NoValuesOneEmptyRow", kComma, Item(0, Value(24, kReals)), kData + ",,\n"},
        RowsCase{"TextlessArrayEmptyCells", kComma, Item(2, Value(25, kZeros)),
                 kData + "0,,\n" + kData + "1,,\n"},
        RowsCase{"TextlessCode27", kComma, Item(1, Value(27, kZeros)), kData + "0,,\n"},
        RowsCase{"Text", kComma, Logged("hello"), kLog + "0,,hello\n"},
        RowsCase{"EmptyText", kComma, Logged(""), kLog + "0,,\n"},
        RowsCase{"TextCutAtNul", kComma, Logged("ab\0c,d"sv), kLog + "0,,ab\n"},
        RowsCase{"TextQuoted", kComma, Logged("a,b\"c\nd\re;f"),
                 kLog + "0,,\"a,b\"\"c\nd\re;f\"\n"},
        RowsCase{"BadBytesReplaced", kComma, Logged("\xC3\xA4\xE9\xED\xA0\x80"),
                 kLog + "0,,\xC3\xA4\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD\n"},
        RowsCase{"SemicolonQuotesSemicolonOnly", kSemicolon, Logged("a,b;c"),
                 "2021-03-04T05:06:07.123456789Z;12;AlString;Lo  ;Core Warning;0;;\"a,b;c\"\n"},
        RowsCase{"SpaceQuotesTextsWithBlanks", kSpace, Logged("x"),
                 "2021-03-04T05:06:07.123456789Z 12 AlString \"Lo  \" \"Core Warning\" 0  x\n"},
        RowsCase{"Tab", kTab, Item(1, Value(4, kLongs)),
                 "2021-03-04T05:06:07.123456789Z\t12\tGrDouble\tdata\t\t0\t-2147483648\t\n"},
        RowsCase{"NoTimeStampNoId", kComma, SystemRecord(0), ",,System,Date Mark,,,,\n"},
        RowsCase{"LastNanosecondOfDay", kComma, SystemRecord(kNanosPerDay - 1),
                 "2000-01-01T23:59:59.999999999Z,,System,Date Mark,,,,\n"}),
    [](const testing::TestParamInfo<RowsCase>& info) { return std::string(info.param.name); });

TEST(LongCsvWriterDocumentTest, EmptyResultIsHeader) {
  std::ostringstream out;
  LongCsvWriter(&out, kTab).WriteEmptyResult();
  EXPECT_EQ(out.str(), "ts\tid\tclass\ttype\tlevel\tindex\tvalue\ttext\n");
}

// 255 rows of an item whose rows together pass a piece: each row keeps the
// whole prefix while the pending text grows.
TEST(LongCsvWriterDocumentTest, ManyRowsOfLongText) {
  const std::string text(32767, '"');
  std::ostringstream out;
  LongCsvWriter writer(&out, kComma);
  std::vector<double> reals(255, 2.5);
  for (int i = 0; i < 3; ++i) writer.writeItem(Logged(text));
  writer.writeItem(Item(255, Value(24, reals.data())));
  writer.endDocument(4);
  const std::string quoted(2 * text.size() + 2, '"');
  std::string expected;
  for (int i = 0; i < 3; ++i) expected.append(kLog).append("0,,").append(quoted).append("\n");
  for (int i = 0; i < 255; ++i) expected.append(kData).append(std::to_string(i)).append(",2.5,\n");
  EXPECT_EQ(out.str(), expected);
}

}  // namespace
}  // namespace qorarc
