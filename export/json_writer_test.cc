#include "export/json_writer.h"

#include <gtest/gtest.h>

#include "core/time_base.h"
#include "support/export_items.h"

#include <cstdint>
#include <limits>
#include <ostream>
#include <sstream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace qorarc {
namespace {

using namespace std::string_view_literals;

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

const uint32_t kDWords[] = {4000000000u, 7};
const int16_t kShorts[] = {-1, 300};
const float kFloats[] = {0.5f, -0.0f};
const double kRealsWithNaN[] = {1.0, kNaN, 2.0};
const double kRealsPretty[] = {1.5, kNaN, -2.0};
using testing::Item;
using testing::kZeros;
using testing::Text;
using testing::Value;

ExportItem Named(ExportItem item, std::string_view className, std::string_view typeName,
                 std::string_view level) {
  item.class_name = className;
  item.type_name = typeName;
  item.level = level;
  return item;
}

ExportItem NoTimeStamp(ExportItem item) {
  item.date = "---";
  item.time = "---";
  return item;
}

// The whole export as the driver runs it.
std::string Export(const std::vector<ExportItem>& items, bool pretty, bool withTotal) {
  std::ostringstream out;
  const std::unique_ptr<Writer> writer = MakeJsonWriter(&out, pretty, withTotal);
  writer->beginDocument();
  for (const ExportItem& item : items) writer->writeItem(item);
  writer->endDocument(static_cast<int32_t>(items.size()));
  return out.str();
}

struct ItemCase {
  const char* name;
  ExportItem item;
  std::string expected;  // the item's object in the compact document
};

const std::string kTs = R"({"ts":"2021-03-04T05:06:07.123456Z")";

// Values that the end-to-end export shows as well (flags, DWords read as
// signed, Large as a real, empty slots, empty texts) are not repeated here.
void PrintTo(const ItemCase& c, std::ostream* os) { *os << c.name; }

class JsonItemTest : public ::testing::TestWithParam<ItemCase> {};

TEST_P(JsonItemTest, WritesObject) {
  const ItemCase& c = GetParam();
  EXPECT_EQ(Export({c.item}, false, false), R"({"data":[)" + c.expected + "]}");
}

INSTANTIATE_TEST_SUITE_P(
    Items, JsonItemTest,
    ::testing::Values(
        ItemCase{"NoTimeStampNoId", NoTimeStamp(Item(-1, 0, Value(0, kZeros))),
                 R"({"ts":"---T---Z"})"},
        ItemCase{"IdZero", Item(0, 0, Value(0, kZeros)), kTs + R"(,"id":0})"},
        ItemCase{"Texts",
                 Named(Item(65535, 0, Value(8, kZeros)), "GrDouble", "Lo  ", "Core Warning"),
                 kTs + R"(,"id":65535,"class":"GrDouble","type":"Lo  ","level":"Core Warning"})"},
        // A text that is not empty is written even when its first byte is NUL.
        ItemCase{"TextsCutAtNul", Named(Item(1, 0, Value(8, kZeros)), "Al\0x"sv, "", "\0ab"sv),
                 kTs + R"(,"id":1,"class":"Al","level":""})"},
        ItemCase{"DWordArray", Item(2, 2, Value(22, kDWords)),
                 kTs + R"(,"id":2,"values":[-294967296,7]})"},
        ItemCase{"ShortArray", Item(2, 2, Value(19, kShorts)),
                 kTs + R"(,"id":2,"values":[-1,300]})"},
        ItemCase{"FloatArray", Item(3, 2, Value(23, kFloats)),
                 kTs + R"(,"id":3,"values":[0.5,-0.0]})"},
        ItemCase{"TextCutAtNul", Item(7, 1, Text("ab\0cd"sv)), kTs + R"(,"id":7,"values":["ab"]})"},
        ItemCase{"Escaping", Item(7, 1, Text("q\"b\\s\x01\x1f\x7f\xc3\xa9\b\t\n\f\r/")),
                 kTs + R"(,"id":7,"values":["q\"b\\s\u0001\u001F)" + "\x7f\xc3\xa9" +
                     R"(\b\t\n\f\r/"]})"},
        // Short texts with one character to escape take the same path as plain ones.
        ItemCase{"OnlyBackslash", Item(7, 1, Text("a\\b")), kTs + R"(,"id":7,"values":["a\\b"]})"},
        ItemCase{"OnlyQuote", Item(7, 1, Text("a\"b")), kTs + R"(,"id":7,"values":["a\"b"]})"},
        ItemCase{"NoValueCount", Item(9, 0, Value(8, kZeros)), kTs + R"(,"id":9})"},
        ItemCase{"NegativeValueCount", Item(9, -1, Value(24, kRealsWithNaN)),
                 kTs + R"(,"id":9})"}),
    [](const ::testing::TestParamInfo<ItemCase>& info) { return std::string(info.param.name); });

TEST(JsonWriterTest, Documents) {
  const ExportItem first = Item(1, 0, Value(0, kZeros));
  const ExportItem second = NoTimeStamp(Item(-1, 0, Value(0, kZeros)));
  EXPECT_EQ(Export({}, false, false), R"({"data":[]})");
  EXPECT_EQ(Export({}, false, true), R"({"data":[],"total_item_count":0})");
  EXPECT_EQ(Export({first, second}, false, true),
            R"({"data":[)" + kTs + R"(,"id":1},{"ts":"---T---Z"}],"total_item_count":2})");
  EXPECT_EQ(Export({}, true, false), "{\n    \"data\": []\n}");
  EXPECT_EQ(Export({}, true, true), "{\n    \"data\": [],\n    \"total_item_count\": 0\n}");
}

TEST(JsonWriterTest, PrettyLayout) {
  const std::vector<ExportItem> items = {
      Named(Item(12, 3, Value(24, kRealsPretty)), "GrDouble", "data", ""),
      NoTimeStamp(Named(Item(-1, 1, Value(1, kZeros)), "AlBool", "L->H", "Info")),
  };
  const std::string expected =
      "{\n"
      "    \"data\": [\n"
      "        {\n"
      "            \"ts\": \"2021-03-04T05:06:07.123456Z\",\n"
      "            \"id\": 12,\n"
      "            \"class\": \"GrDouble\",\n"
      "            \"type\": \"data\",\n"
      "            \"values\": [\n"
      "                1.5,\n"
      "                ,\n"
      "                -2.0\n"
      "            ]\n"
      "        },\n"
      "        {\n"
      "            \"ts\": \"---T---Z\",\n"
      "            \"class\": \"AlBool\",\n"
      "            \"type\": \"L->H\",\n"
      "            \"level\": \"Info\",\n"
      "            \"values\": []\n"
      "        }\n"
      "    ],\n"
      "    \"total_item_count\": 2\n"
      "}";
  EXPECT_EQ(Export(items, true, true), expected);
}

// The scan listing (the day start of 2000-01-01 is the time stamp 0, "no
// time stamp"), and the empty result that is the same text compact or pretty.
TEST(JsonWriterTest, ScanListingAndEmptyResult) {
  const ArchiveSpans spans = {{"boiler", {0, 3 * kNanosPerDay}}, {"plant", {-kNanosPerDay, 0}}};
  for (bool pretty : {false, true}) {
    std::ostringstream out;
    WriteScanList(&out, pretty, spans);
    EXPECT_EQ(out.str(),
              pretty ? "[\n    {\n        \"name\": \"boiler\",\n"
                       "        \"first_date\": \"--- ---\",\n"
                       "        \"last_date\": \"2000-01-04 00:00:00.000000\"\n    },\n    {\n"
                       "        \"name\": \"plant\",\n"
                       "        \"first_date\": \"1999-12-31 00:00:00.000000\",\n"
                       "        \"last_date\": \"--- ---\"\n    }\n]"
                     : R"([{"name":"boiler","first_date":"--- ---",)"
                       R"("last_date":"2000-01-04 00:00:00.000000"},{"name":"plant",)"
                       R"("first_date":"1999-12-31 00:00:00.000000","last_date":"--- ---"}])");
    std::ostringstream empty;
    MakeJsonWriter(&empty, pretty, true)->WriteEmptyResult();
    EXPECT_EQ(empty.str(), "{\"data\": []}\n");
  }
}

// Text values of codes 17 to 30 have no text: the item fails with the
// logic error, and everything written before it reaches the stream on flush.
TEST(JsonWriterTest, TextlessArrayCodesFail) {
  for (uint8_t code : {13, 16, 25, 27, 28, 29, 30}) {
    SCOPED_TRACE(static_cast<int>(code));
    for (bool pretty : {false, true}) {
      std::ostringstream out;
      const std::unique_ptr<Writer> writer = MakeJsonWriter(&out, pretty, false);
      writer->beginDocument();
      writer->writeItem(Item(1, 0, Value(0, kZeros)));
      try {
        writer->writeItem(Item(3, 2, Value(code, kZeros)));
        ADD_FAILURE() << "no logic error";
      } catch (const std::logic_error& error) {
        EXPECT_STREQ(error.what(), "basic_string: construction from null is not valid");
      }
      EXPECT_EQ(out.str(), "");
      writer->flush();
      EXPECT_EQ(out.str(),
                pretty ? "{\n    \"data\": [\n        {\n"
                         "            \"ts\": \"2021-03-04T05:06:07.123456Z\",\n"
                         "            \"id\": 1\n        },\n        {\n"
                         "            \"ts\": \"2021-03-04T05:06:07.123456Z\",\n"
                         "            \"id\": 3,\n            \"values\": ["
                       : R"({"data":[)" + kTs + R"(,"id":1},)" + kTs + R"(,"id":3,"values":[)");
    }
  }
}

// Escaped to six bytes per byte, this text is far larger than a piece and the
// room kept after it.
TEST(JsonWriterTest, HugeString) {
  const std::string text(300000, '\x01');
  std::string escaped;
  for (size_t i = 0; i < text.size(); ++i) escaped += "\\u0001";
  EXPECT_EQ(Export({Item(1, 0, Value(0, kZeros)), Item(2, 1, Text(text))}, false, false),
            R"({"data":[)" + kTs + R"(,"id":1},)" + kTs + R"(,"id":2,"values":[")" + escaped +
                R"("]}]})");
}

}  // namespace
}  // namespace qorarc
