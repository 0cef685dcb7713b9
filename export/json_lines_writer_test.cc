#include "export/json_lines_writer.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdint>
#include <limits>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include "core/time_base.h"

namespace qorarc {
namespace {

using namespace std::string_view_literals;
using std::chrono::March;

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInf = std::numeric_limits<double>::infinity();

// 2021-03-04 05:06:07.123456789
const int64_t kTime =
    DayNumberOf(std::chrono::year{2021} / March / 4) * kNanosPerDay + 18'367'123'456'789;

const double kReals[] = {1.5, kNaN, -kInf, kInf, -0.0, 1e30};
const int16_t kShorts[] = {-1, 300};
const uint8_t kBits[] = {0x05, 0x02};  // bits 0 to 9: 1010000001
const uint8_t kZeros[8] = {};

ItemValue Value(uint8_t code, const void* payload) {
  return ItemValue{code, static_cast<const uint8_t*>(payload), {}};
}

ItemValue Text(std::string_view text) { return ItemValue{12, kZeros, text}; }

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

struct LineCase {
  const char* name;
  ExportItem item;
  std::string expected;  // the line without its line feed
};

void PrintTo(const LineCase& c, std::ostream* os) { *os << c.name; }

class JsonLinesWriterTest : public testing::TestWithParam<LineCase> {};

TEST_P(JsonLinesWriterTest, WritesLine) {
  std::ostringstream out;
  JsonLinesWriter writer(&out);
  writer.beginDocument();
  writer.writeItem(GetParam().item);
  writer.endDocument(1);
  EXPECT_EQ(out.str(), GetParam().expected + "\n");
}

const std::string kHead = R"({"ts":"2021-03-04T05:06:07.123456789Z","id":12,)";
const std::string kData = kHead + R"("class":"GrDouble","type":"data","values":)";
const std::string kLog = kHead + R"("class":"AlString","type":"Lo  ","level":"Core Warning","values":)";

INSTANTIATE_TEST_SUITE_P(
    Lines, JsonLinesWriterTest,
    testing::Values(
        LineCase{"SpecialRealsAreNull", Item(6, Value(24, kReals)),
                 kData + "[1.5,null,null,null,-0.0,1e30]}"},
        LineCase{"Integers", Item(2, Value(19, kShorts)), kData + "[-1,300]}"},
        LineCase{"Flags", Item(10, Value(17, kBits)),
                 kData + "[true,false,true,false,false,false,false,false,false,true]}"},
        LineCase{"BoolHasEmptyValues", Item(1, Value(1, kZeros)), kData + "[]}"},
        LineCase{"NoValues", Item(0, Value(24, kReals)), kHead + R"("class":"GrDouble","type":"data"})"},
        LineCase{"TextlessArrayIsNulls", Item(3, Value(25, kZeros)), kData + "[null,null,null]}"},
        LineCase{"TextlessCode27", Item(1, Value(27, kZeros)), kData + "[null]}"},
        LineCase{"EmptyText", Logged(""), kLog + R"([""]})"},
        LineCase{"TextCutAtNul", Logged("ab\0cd"sv), kLog + R"(["ab"]})"},
        LineCase{"Escapes", Logged("\"\\/\b\t\n\f\r\x01\x1F\x7F"),
                 kLog + R"(["\"\\/\b\t\n\f\r\u0001\u001F)" "\x7F" R"("]})"},
        LineCase{"ValidUtf8Kept", Logged("\xC3\xA4\xE2\x82\xAC\xF0\x9F\x98\x80"),
                 kLog + "[\"\xC3\xA4\xE2\x82\xAC\xF0\x9F\x98\x80\"]}"},
        LineCase{"BadBytesReplaced", Logged("a\x80\xC0\xAF\xED\xA0\x80\xF4\x90\xE2\x82z\xFF"),
                 kLog + "[\"a"
                     "\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD"
                     "\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBDz\xEF\xBF\xBD\"]}"},
        LineCase{"NoTimeStampNoId", SystemRecord(0),
                 R"({"ts":null,"class":"System","type":"Date Mark"})"},
        LineCase{"LastNanosecondOfDay", SystemRecord(kNanosPerDay - 1),
                 R"({"ts":"2000-01-01T23:59:59.999999999Z","class":"System","type":"Date Mark"})"},
        LineCase{"NotRounded", SystemRecord(kNanosPerDay - 400),
                 R"({"ts":"2000-01-01T23:59:59.999999600Z","class":"System","type":"Date Mark"})"},
        LineCase{"BeforeTimeBase", SystemRecord(-1),
                 R"({"ts":"1999-12-31T23:59:59.999999999Z","class":"System","type":"Date Mark"})"}),
    [](const testing::TestParamInfo<LineCase>& info) { return std::string(info.param.name); });

TEST(JsonLinesWriterDocumentTest, LinesAndNothingElse) {
  std::ostringstream out;
  JsonLinesWriter writer(&out);
  writer.beginDocument();
  EXPECT_EQ(out.str(), "");
  writer.writeItem(SystemRecord(0));
  writer.writeItem(SystemRecord(0));
  writer.endDocument(7);
  EXPECT_EQ(out.str(), std::string(R"({"ts":null,"class":"System","type":"Date Mark"})") + "\n" +
                           R"({"ts":null,"class":"System","type":"Date Mark"})" + "\n");
  std::ostringstream empty;
  JsonLinesWriter(&empty).WriteEmptyResult();
  EXPECT_EQ(empty.str(), "");
}

// The longest text, every byte escaped to six: one line, whole.
TEST(JsonLinesWriterDocumentTest, LongestTextEscaped) {
  const std::string text(32767, '\x01');
  std::ostringstream out;
  JsonLinesWriter writer(&out);
  writer.writeItem(Logged(text));
  writer.endDocument(1);
  std::string expected = kLog + "[\"";
  for (size_t i = 0; i < text.size(); ++i) expected += "\\u0001";
  EXPECT_EQ(out.str(), expected + "\"]}\n");
}

}  // namespace
}  // namespace qorarc
