// The JSON Lines and long CSV writers on single items, past what the exports
// of tests/line_formats_test.cc pin: escapes, UTF-8 repair, the longest texts.
#include <gtest/gtest.h>
#include <zstd.h>

#include <chrono>
#include <cstdint>
#include <limits>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include "base/time_base.h"
#include "export/csv_writer.h"
#include "export/json_lines_writer.h"
#include "export/line_protocol_writer.h"
#include "export/long_csv_writer.h"
#include "export/open_metrics_writer.h"
#include "export/parquet_writer.h"
#include "support/export_items.h"

namespace qorarc {
namespace {

using testing::Text;
using testing::Value;

// 2021-03-04 05:06:07.123456789
const int64_t kTime =
    DayNumberOf(std::chrono::year{2021} / std::chrono::March / 4) * kNanosPerDay +
    18'367'123'456'789;
const int32_t kLongs[] = {std::numeric_limits<int32_t>::min(), 7};

ExportItem Item(int32_t value_count, ItemValue value) {
  ExportItem item = testing::Item(12, value_count, value);
  item.timestamp = kTime;
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

std::string JsonLines(const ExportItem& item) {
  std::ostringstream out;
  JsonLinesWriter writer(&out);
  writer.beginDocument();
  writer.writeItem(item);
  writer.endDocument(1);
  return out.str();
}

std::string LongCsv(const ExportItem& item, int32_t delimiter = kComma) {
  std::ostringstream out;
  LongCsvWriter writer(&out, delimiter);
  writer.beginDocument();
  writer.writeItem(item);
  writer.endDocument(1);
  return out.str().substr(40);  // past the header
}

const std::string kHead = R"({"ts":"2021-03-04T05:06:07.123456789Z","id":12,)";
const std::string kLog = kHead + R"("class":"AlString","type":"Lo  ","level":"Core Warning","values":)";
const std::string kCsvData = "2021-03-04T05:06:07.123456789Z,12,GrDouble,data,,";
const std::string kCsvLog = "2021-03-04T05:06:07.123456789Z,12,AlString,Lo  ,Core Warning,";
#define BAD "\xEF\xBF\xBD"

TEST(LineWritersTest, Items) {
  const struct {
    const char* what;
    ExportItem item;
    std::string json_line;  // without its line feed
    std::string csv_rows;
  } cases[] = {
      {"integers", Item(2, Value(20, kLongs)),
       kHead + R"("class":"GrDouble","type":"data","values":[-2147483648,7]})",
       kCsvData + "0,-2147483648,\n" + kCsvData + "1,7,\n"},
      // A carriage return alone makes the cell quoted; a semicolon does not.
      {"escapes", Logged("\\/\b\t\f\r\x01\x1F\x7F;"),
       kLog + R"(["\\/\b\t\f\r\u0001\u001F)" "\x7F" R"(;"]})",
       kCsvLog + "0,,\"\\/\b\t\f\r\x01\x1F\x7F;\"\n"},
      {"UTF-8 repaired", Logged("\xC3\xA4\xF0\x9F\x98\x80" "a\x80\xC0\xAF\xE2\x82z"),
       kLog + "[\"\xC3\xA4\xF0\x9F\x98\x80" "a" BAD BAD BAD BAD BAD "z\"]}",
       kCsvLog + "0,,\xC3\xA4\xF0\x9F\x98\x80" "a" BAD BAD BAD BAD BAD "z\n"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    EXPECT_EQ(JsonLines(c.item), c.json_line + "\n");
    EXPECT_EQ(LongCsv(c.item), c.csv_rows);
  }
  // Quoted for the delimiter in force only.
  EXPECT_EQ(LongCsv(Logged("a,b;c"), kSemicolon),
            "2021-03-04T05:06:07.123456789Z;12;AlString;Lo  ;Core Warning;0;;\"a,b;c\"\n");
}

// Parquet: an item without a time stamp has a null ts, one with a time
// stamp its time since 1970; a text ends at its first NUL. The pages' bodies
// (zstd frames) hold the definition levels and the PLAIN values.
TEST(LineWritersTest, ParquetTimeStampsAndTextCutAtNul) {
  using namespace std::string_literals;
  const std::string cut = "ab\0cd"s;
  ExportItem untimed = Logged(cut);
  untimed.timestamp = 0;
  std::ostringstream out;
  ParquetWriter writer(&out, 1);
  writer.beginDocument();
  writer.writeItem(untimed);
  writer.writeItem(Logged("x"));
  writer.endDocument(2);
  std::string bodies;  // every frame's text, back to back
  const std::string file = out.str();
  for (size_t at = 0; (at = file.find("\x28\xB5\x2F\xFD", at)) != std::string::npos;) {
    const size_t size = ZSTD_findFrameCompressedSize(file.data() + at, file.size() - at);
    ASSERT_FALSE(ZSTD_isError(size));
    std::string body(1 << 16, '\0');
    body.resize(ZSTD_decompress(body.data(), body.size(), file.data() + at, size));
    bodies += body;
    at += size;
  }
  int64_t unix_time = std::chrono::nanoseconds(std::chrono::sys_days(
      std::chrono::year{2021} / std::chrono::March / 4).time_since_epoch()).count() +
      18'367'123'456'789;
  // ts and ts_ns: levels (null, defined), then DELTA_BINARY_PACKED of one
  // value: block of 128, 4 miniblocks, 1 value, the value zigzag-encoded.
  auto delta_page = [](int64_t value) {
    std::string bytes = "\x02\x00\x00\x00\x03\x02" "\x80\x01\x04\x01"s;
    for (uint64_t v = static_cast<uint64_t>(value) << 1; ; v >>= 7) {
      bytes += static_cast<char>(v >= 0x80 ? (v & 0x7F) | 0x80 : v);
      if (v < 0x80) break;
    }
    return bytes;
  };
  EXPECT_NE(bodies.find(delta_page(unix_time / 1000)), std::string::npos);
  EXPECT_NE(bodies.find(delta_page(unix_time)), std::string::npos);
  // text: the chunk's dictionary, then indices 0 and 1 at 1 bit.
  EXPECT_NE(bodies.find("\x02\x00\x00\x00" "ab" "\x01\x00\x00\x00" "x"s), std::string::npos);
  EXPECT_NE(bodies.find("\x02\x00\x00\x00\x03\x03" "\x01" "\x03\x02"s), std::string::npos);
}

// The longest text, every byte escaped to six in JSON Lines and every byte
// doubled in long CSV, then 255 rows of one item: each row keeps the whole
// prefix while the pending text grows.
TEST(LineWritersTest, LongestTexts) {
  std::string escaped;
  for (int i = 0; i < 32767; ++i) escaped += "\\u0001";
  EXPECT_EQ(JsonLines(Logged(std::string(32767, '\x01'))), kLog + "[\"" + escaped + "\"]}\n");

  std::ostringstream out;
  LongCsvWriter writer(&out, kComma);
  std::vector<double> reals(255, 2.5);
  writer.writeItem(Logged(std::string(32767, '"')));
  writer.writeItem(Item(255, Value(24, reals.data())));
  writer.endDocument(2);
  std::string expected = kCsvLog + "0,,\"" + std::string(2 * 32767, '"') + "\"\n";
  for (int i = 0; i < 255; ++i) expected.append(kCsvData).append(std::to_string(i)).append(",2.5,\n");
  EXPECT_EQ(out.str(), expected);
}

// The line protocol: the longest text, every byte escaped, a long archive
// name repeated on 255 lines of one item, and an item of NaN alone, which
// leaves no line and no prefix behind; each item within the writer's bound.
TEST(LineWritersTest, LineProtocolLongestTextAndTags) {
  std::ostringstream out;
  const std::string name(200, ',');
  LineProtocolWriter writer(&out, name);
  std::string archive;
  for (int i = 0; i < 200; ++i) archive += "\\,";
  const std::string time = " 1614834367123456789\n";
  const std::string log_tags = "qorarc,archive=" + archive +
                               ",class=AlString,id=12,index=0,level=Core\\ Warning,type=Lo\\ \\ ";
  const std::string data_tags = "qorarc,archive=" + archive + ",class=GrDouble,id=12,index=";
  std::vector<double> reals(255, 2.5);
  const double nan = std::numeric_limits<double>::quiet_NaN();
  const std::string quotes(32767, '"');
  const ExportItem items[] = {Logged(quotes), Item(255, Value(24, reals.data())),
                              Item(1, Value(24, &nan)), Logged("a\r\nb\\")};
  size_t before = 0;
  for (const ExportItem& item : items) {
    writer.writeItem(item);
    writer.flush();
    EXPECT_LE(out.str().size() - before,
              writer.textBound(item.value.code, static_cast<uint8_t>(item.value_count),
                               item.value.text.size()));
    before = out.str().size();
  }
  writer.endDocument(4);
  std::string escaped;
  for (int i = 0; i < 32767; ++i) escaped += "\\\"";
  std::string expected = log_tags + " text=\"" + escaped + "\"" + time;
  for (int i = 0; i < 255; ++i)
    expected.append(data_tags).append(std::to_string(i)).append(",type=data real=2.5").append(time);
  expected += log_tags + " text=\"a  b\\\\\"" + time;
  EXPECT_EQ(out.str(), expected);
}

// Archive names that would break the line: a line break, a backslash at the
// end, which would escape the comma after it.
TEST(LineWritersTest, LineProtocolArchiveNames) {
  const struct {
    const char* name;
    const char* tag;
  } cases[] = {{"a\nb\r", "a\\ b\\ "}, {"c\\", "c\\\\"}, {"d\\e", "d\\e"}, {"", nullptr}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    std::ostringstream out;
    LineProtocolWriter writer(&out, c.name);
    writer.writeItem(Item(2, Value(20, kLongs)));
    writer.endDocument(1);
    const std::string head = c.tag == nullptr ? "qorarc" : std::string("qorarc,archive=") + c.tag;
    EXPECT_EQ(out.str(), head + ",class=GrDouble,id=12,index=0,type=data integer=-2147483648i "
                                "1614834367123456789\n" +
                             head + ",class=GrDouble,id=12,index=1,type=data integer=7i "
                                    "1614834367123456789\n");
  }
}

// OpenMetrics: a long archive name repeated on 255 lines of one item, each
// item within the writer's bound, and the rows the reading thread left out
// skipped at the edges of the mask's words.
TEST(LineWritersTest, OpenMetricsLongestLabelsAndLeftOutRows) {
  std::ostringstream out;
  OpenMetricsWriter writer(&out, std::string(200, '"'));
  std::string archive;
  for (int i = 0; i < 200; ++i) archive += "\\\"";
  std::vector<double> reals(255, 2.5);
  RowMask left_out;
  for (int32_t i : {0, 63, 64, 254}) left_out.Set(i);
  ExportItem masked = Item(255, Value(24, reals.data()));
  masked.left_out = &left_out;
  const ExportItem items[] = {Item(255, Value(24, reals.data())), masked, Logged("text")};
  writer.beginDocument();
  size_t before = out.str().size();
  for (const ExportItem& item : items) {
    writer.writeItem(item);
    writer.flush();
    EXPECT_LE(out.str().size() - before,
              writer.textBound(item.value.code, static_cast<uint8_t>(item.value_count),
                               item.value.text.size()));
    before = out.str().size();
  }
  writer.endDocument(3);
  const std::string head =
      "qorarc_value{archive=\"" + archive + "\",id=\"12\",class=\"GrDouble\",type=\"data\",index=\"";
  std::string expected = "# TYPE qorarc_value gauge\n";
  for (int i = 0; i < 255; ++i)
    expected.append(head).append(std::to_string(i)).append("\"} 2.5 1614834367.1235\n");
  for (int i = 0; i < 255; ++i) {
    if (i == 0 || i == 63 || i == 64 || i == 254) continue;
    expected.append(head).append(std::to_string(i)).append("\"} 2.5 1614834367.1235\n");
  }
  EXPECT_EQ(out.str(), expected + "# EOF\n");
}

// Archive names in the archive label: line feed, backslash and quote
// escaped, a carriage return kept, bytes that are not UTF-8 replaced, an
// empty name left out; integers at the limits.
TEST(LineWritersTest, OpenMetricsArchiveNames) {
  const struct {
    const char* name;
    const char* label;
  } cases[] = {{"a\nb\r", "archive=\"a\\nb\r\","},
               {"c\\", "archive=\"c\\\\\","},
               {"d\"\xff", "archive=\"d\\\"" BAD "\","},
               {"", ""}};
  const int64_t larges[] = {std::numeric_limits<int64_t>::min()};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    std::ostringstream out;
    OpenMetricsWriter writer(&out, c.name);
    writer.writeItem(Item(2, Value(20, kLongs)));
    writer.writeItem(Item(1, Value(10, larges)));
    writer.endDocument(1);
    const std::string head = std::string("qorarc_value{") + c.label + "id=\"12\",class=\"GrDouble\",";
    EXPECT_EQ(out.str(), head + "type=\"data\",index=\"0\"} -2147483648 1614834367.1235\n" +
                             head + "type=\"data\",index=\"1\"} 7 1614834367.1235\n" +
                             head + "type=\"data\",index=\"0\"} -9223372036854775808 1614834367.1235\n"
                             "# EOF\n");
  }
}

}  // namespace
}  // namespace qorarc
