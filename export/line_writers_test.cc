// The JSON Lines and long CSV writers on single items. What the end-to-end
// exports of tests/line_formats_test.cc pin (special reals, flags, text-less
// arrays, empty texts, items without time stamp) is not repeated here.
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
#include "export/json_lines_writer.h"
#include "export/long_csv_writer.h"
#include "support/export_items.h"

namespace qorarc {
namespace {

using namespace std::string_view_literals;
using testing::kZeros;
using testing::Text;
using testing::Value;

// 2021-03-04 05:06:07.123456789
const int64_t kTime =
    DayNumberOf(std::chrono::year{2021} / std::chrono::March / 4) * kNanosPerDay +
    18'367'123'456'789;
const int16_t kShorts[] = {-1, 300};
const int32_t kLongs[] = {std::numeric_limits<int32_t>::min(), 7};
const uint8_t kBits[] = {0x05, 0x02};  // bits 0 to 9: 1010000001

ExportItem Item(int32_t value_count, ItemValue value, int64_t timestamp = kTime) {
  ExportItem item = testing::Item(12, value_count, value);
  item.timestamp = timestamp;
  item.class_name = "GrDouble";
  item.type_name = "data";
  return item;
}

ExportItem Logged(std::string_view text) {
  ExportItem item = Item(1, Text(text));
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

std::string JsonLines(const std::vector<ExportItem>& items) {
  std::ostringstream out;
  JsonLinesWriter writer(&out);
  writer.beginDocument();
  for (const ExportItem& item : items) writer.writeItem(item);
  writer.endDocument(7);
  return out.str();
}

std::string LongCsv(const ExportItem& item, int32_t delimiter = kComma) {
  std::ostringstream out;
  LongCsvWriter writer(&out, delimiter);
  writer.beginDocument();
  writer.writeItem(item);
  writer.endDocument(1);
  return out.str();
}

const char kHeader[] = "ts,id,class,type,level,index,value,text\n";
const std::string kHead = R"({"ts":"2021-03-04T05:06:07.123456789Z","id":12,)";
const std::string kData = kHead + R"("class":"GrDouble","type":"data","values":)";
const std::string kLog = kHead + R"("class":"AlString","type":"Lo  ","level":"Core Warning","values":)";
const std::string kCsvData = "2021-03-04T05:06:07.123456789Z,12,GrDouble,data,,";
const std::string kCsvLog = "2021-03-04T05:06:07.123456789Z,12,AlString,Lo  ,Core Warning,";
#define BAD "\xEF\xBF\xBD"

struct LineCase {
  const char* name;
  ExportItem item;
  std::string json_line;  // without its line feed
  std::string csv_rows;   // after the header
};

void PrintTo(const LineCase& c, std::ostream* os) { *os << c.name; }

class LineWritersTest : public ::testing::TestWithParam<LineCase> {};

TEST_P(LineWritersTest, WriteItem) {
  const LineCase& c = GetParam();
  EXPECT_EQ(JsonLines({c.item}), c.json_line + "\n");
  EXPECT_EQ(LongCsv(c.item), kHeader + c.csv_rows);
}

INSTANTIATE_TEST_SUITE_P(
    Items, LineWritersTest,
    ::testing::Values(
        LineCase{"Integers", Item(2, Value(19, kShorts)), kData + "[-1,300]}",
                 kCsvData + "0,-1,\n" + kCsvData + "1,300,\n"},
        LineCase{"LongMinimum", Item(1, Value(20, kLongs)), kData + "[-2147483648]}",
                 kCsvData + "0,-2147483648,\n"},
        LineCase{"TenFlags", Item(10, Value(17, kBits)),
                 kData + "[true,false,true,false,false,false,false,false,false,true]}",
                 kCsvData + "0,1,\n" + kCsvData + "1,0,\n" + kCsvData + "2,1,\n" + kCsvData +
                     "3,0,\n" + kCsvData + "4,0,\n" + kCsvData + "5,0,\n" + kCsvData + "6,0,\n" +
                     kCsvData + "7,0,\n" + kCsvData + "8,0,\n" + kCsvData + "9,1,\n"},
        LineCase{"NoValues", Item(0, Value(24, kZeros)), kHead + R"("class":"GrDouble","type":"data"})",
                 kCsvData + ",,\n"},
        LineCase{"TextCutAtNul", Logged("ab\0c,d"sv), kLog + R"(["ab"]})", kCsvLog + "0,,ab\n"},
        LineCase{"Escapes", Logged("\"\\/\b\t\n\f\r\x01\x1F\x7F;"),
                 kLog + R"(["\"\\/\b\t\n\f\r\u0001\u001F)" "\x7F" R"(;"]})",
                 kCsvLog + "0,,\"\"\"\\/\b\t\n\f\r\x01\x1F\x7F;\"\n"},
        LineCase{"ValidUtf8Kept", Logged("\xC3\xA4\xE2\x82\xAC\xF0\x9F\x98\x80"),
                 kLog + "[\"\xC3\xA4\xE2\x82\xAC\xF0\x9F\x98\x80\"]}",
                 kCsvLog + "0,,\xC3\xA4\xE2\x82\xAC\xF0\x9F\x98\x80\n"},
        LineCase{"BadBytesReplaced", Logged("a\x80\xC0\xAF\xED\xA0\x80\xF4\x90\xE2\x82z\xFF"),
                 kLog + "[\"a" BAD BAD BAD BAD BAD BAD BAD BAD BAD BAD "z" BAD "\"]}",
                 kCsvLog + "0,,a" BAD BAD BAD BAD BAD BAD BAD BAD BAD BAD "z" BAD "\n"},
        LineCase{"NotRounded", SystemRecord(kNanosPerDay - 400),
                 R"({"ts":"2000-01-01T23:59:59.999999600Z","class":"System","type":"Date Mark"})",
                 "2000-01-01T23:59:59.999999600Z,,System,Date Mark,,,,\n"},
        LineCase{"BeforeTimeBase", SystemRecord(-1),
                 R"({"ts":"1999-12-31T23:59:59.999999999Z","class":"System","type":"Date Mark"})",
                 "1999-12-31T23:59:59.999999999Z,,System,Date Mark,,,,\n"}),
    [](const ::testing::TestParamInfo<LineCase>& info) { return std::string(info.param.name); });

TEST(LineWritersDocumentTest, NothingAroundTheItems) {
  const std::string line = R"({"ts":null,"class":"System","type":"Date Mark"})" "\n";
  EXPECT_EQ(JsonLines({}), "");
  EXPECT_EQ(JsonLines({SystemRecord(0), SystemRecord(0)}), line + line);
  std::ostringstream empty;
  JsonLinesWriter(&empty).WriteEmptyResult();
  EXPECT_EQ(empty.str(), "");
  std::ostringstream header;
  LongCsvWriter(&header, kTab).WriteEmptyResult();
  EXPECT_EQ(header.str(), "ts\tid\tclass\ttype\tlevel\tindex\tvalue\ttext\n");
}

TEST(LineWritersDocumentTest, LongCsvDelimiters) {
  EXPECT_EQ(LongCsv(Logged("a,b;c"), kSemicolon),
            "ts;id;class;type;level;index;value;text\n"
            "2021-03-04T05:06:07.123456789Z;12;AlString;Lo  ;Core Warning;0;;\"a,b;c\"\n");
  EXPECT_EQ(LongCsv(Logged("x"), kSpace).substr(40),
            "2021-03-04T05:06:07.123456789Z 12 AlString \"Lo  \" \"Core Warning\" 0  x\n");
  EXPECT_EQ(LongCsv(Item(1, Value(4, kLongs)), kTab).substr(40),
            "2021-03-04T05:06:07.123456789Z\t12\tGrDouble\tdata\t\t0\t-2147483648\t\n");
}

// The longest text, every byte escaped to six in JSON Lines and every byte
// doubled in long CSV, then 255 rows of one item: each row keeps the whole
// prefix while the pending text grows.
TEST(LineWritersDocumentTest, LongestTexts) {
  std::string escaped;
  for (int i = 0; i < 32767; ++i) escaped += "\\u0001";
  EXPECT_EQ(JsonLines({Logged(std::string(32767, '\x01'))}), kLog + "[\"" + escaped + "\"]}\n");

  const std::string quotes(32767, '"');
  std::ostringstream out;
  LongCsvWriter writer(&out, kComma);
  std::vector<double> reals(255, 2.5);
  for (int i = 0; i < 3; ++i) writer.writeItem(Logged(quotes));
  writer.writeItem(Item(255, Value(24, reals.data())));
  writer.endDocument(4);
  std::string expected;
  for (int i = 0; i < 3; ++i)
    expected.append(kCsvLog).append("0,,").append(2 * quotes.size() + 2, '"').append("\n");
  for (int i = 0; i < 255; ++i) expected.append(kCsvData).append(std::to_string(i)).append(",2.5,\n");
  EXPECT_EQ(out.str(), expected);
}

}  // namespace
}  // namespace qorarc
