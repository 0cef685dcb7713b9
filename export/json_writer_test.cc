// The JSON writer. tests/export_test.cc pins the compact layout of every value
// category; here are escapes, NUL cuts, the pretty layout and the refusals.
#include "export/json_writer.h"

#include <gtest/gtest.h>

#include <limits>
#include <sstream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "base/time_base.h"
#include "support/export_items.h"

namespace qorarc {
namespace {

using namespace std::string_view_literals;
using testing::Item;
using testing::kZeros;
using testing::Text;
using testing::Value;

const double kReals[] = {1.5, std::numeric_limits<double>::quiet_NaN(), -2.0};

ExportItem Named(ExportItem item, std::string_view class_name, std::string_view type_name,
                 std::string_view level) {
  item.class_name = class_name;
  item.type_name = type_name;
  item.level = level;
  return item;
}

ExportItem NoTimeStamp(ExportItem item) {
  item.date = "---";
  item.time = "---";
  return item;
}

// The whole export as the driver runs it.
std::string Export(const std::vector<ExportItem>& items, bool pretty, bool with_total) {
  std::ostringstream out;
  const std::unique_ptr<Writer> writer = MakeJsonWriter(&out, pretty, with_total);
  writer->beginDocument();
  for (const ExportItem& item : items) writer->writeItem(item);
  writer->endDocument(static_cast<int32_t>(items.size()));
  return out.str();
}

const std::string kTs = R"({"ts":"2021-03-04T05:06:07.123456Z")";

TEST(JsonWriterTest, Items) {
  const struct {
    const char* what;
    ExportItem item;
    std::string object;  // in the compact document
  } cases[] = {
      {"no time stamp, no ID", NoTimeStamp(Item(-1, 0, Value(0, kZeros))), R"({"ts":"---T---Z"})"},
      {"ID 0, no values for a negative count", Item(0, -1, Value(24, kReals)), kTs + R"(,"id":0})"},
      // A text that is not empty is written even when its first byte is NUL.
      {"texts cut at NUL", Named(Item(65535, 0, Value(8, kZeros)), "Al\0x"sv, "", "\0ab"sv),
       kTs + R"(,"id":65535,"class":"Al","level":""})"},
      {"NaN leaves an empty slot", Item(3, 3, Value(24, kReals)),
       kTs + R"(,"id":3,"values":[1.5,,-2.0]})"},
      {"escapes, cut at NUL", Item(7, 1, Text("q\"b\\s\x01\x1f\x7f\xc3\xa9\b\t\n\f\r/\0cd"sv)),
       kTs + R"(,"id":7,"values":["q\"b\\s\u0001\u001F)" "\x7f\xc3\xa9" R"(\b\t\n\f\r/"]})"},
      // Short texts with one character to escape must not take the plain path.
      {"backslash alone", Item(7, 1, Text("a\\b")), kTs + R"(,"id":7,"values":["a\\b"]})"},
      {"last control character alone", Item(7, 1, Text("a\x1f")),
       kTs + R"(,"id":7,"values":["a\u001F"]})"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    EXPECT_EQ(Export({c.item}, false, false), R"({"data":[)" + c.object + "]}");
  }
}

TEST(JsonWriterTest, PrettyDocument) {
  const ExportItem item = Named(Item(12, 3, Value(24, kReals)), "GrDouble", "data", "Info");
  EXPECT_EQ(Export({item}, true, true),
            "{\n    \"data\": [\n        {\n"
            "            \"ts\": \"2021-03-04T05:06:07.123456Z\",\n"
            "            \"id\": 12,\n            \"class\": \"GrDouble\",\n"
            "            \"type\": \"data\",\n            \"level\": \"Info\",\n"
            "            \"values\": [\n                1.5,\n                ,\n"
            "                -2.0\n            ]\n        }\n    ],\n"
            "    \"total_item_count\": 1\n}");
}

// Escaped to six bytes per byte, this text is far larger than a piece and the
// room kept after it.
TEST(JsonWriterTest, HugeString) {
  std::string escaped;
  for (int i = 0; i < 300000; ++i) escaped += "\\u0001";
  EXPECT_EQ(Export({Item(2, 1, Text(std::string(300000, '\x01')))}, false, false),
            R"({"data":[)" + kTs + R"(,"id":2,"values":[")" + escaped + R"("]}]})");
}

}  // namespace
}  // namespace qorarc
