#include "parquet/parquet_thrift.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <string>

#include "parquet/parquet_format.h"

namespace qorarc::parquet {
namespace {

using namespace std::string_literals;

TEST(ParquetThriftTest, VarintsAndZigZag) {
  const struct {
    const char* what;
    uint64_t value;
    std::string bytes;
  } cases[] = {
      {"zero", 0, "\x00"s},
      {"one byte", 127, "\x7F"},
      {"two bytes", 128, "\x80\x01"},
      {"the documents' example", 50399, "\xDF\x89\x03"},
      {"all bits", UINT64_MAX, "\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\x01"},
  };
  for (const auto& c : cases) {
    std::string out;
    PutVarint(c.value, &out);
    EXPECT_EQ(out, c.bytes) << c.what;
  }
  EXPECT_EQ(ZigZag(0), 0u);
  EXPECT_EQ(ZigZag(-1), 1u);
  EXPECT_EQ(ZigZag(1), 2u);
  EXPECT_EQ(ZigZag(-2), 3u);
  EXPECT_EQ(ZigZag(std::numeric_limits<int64_t>::max()), UINT64_MAX - 1);
  EXPECT_EQ(ZigZag(std::numeric_limits<int64_t>::min()), UINT64_MAX);
}

// Every kind of field the footer uses, with short and long field headers.
TEST(ParquetThriftTest, StructBytes) {
  std::string out;
  ThriftWriter w(&out);
  w.BeginStruct();
  w.I32Field(1, 1);
  w.I64Field(2, -1);
  w.BinaryField(4, "ab");
  w.BoolField(5, true);
  w.BoolField(6, false);
  w.I32Field(25, 300);  // delta 19: long form
  w.BeginStructField(26);
  w.I32Field(1, -2);  // the nested struct counts from 0 again
  w.EndStruct();
  w.ListField(27, compact::kI32, 2);
  w.I32Element(1);
  w.I32Element(-1);
  w.I64Field(3, 5);  // back to a lower id: long form
  w.EndStruct();
  EXPECT_EQ(out,
            "\x15\x02"          // 1: i32 1
            "\x16\x01"          // 2: i64 -1
            "\x28\x02" "ab"     // 4: binary
            "\x11"              // 5: true
            "\x12"              // 6: false
            "\x05\x32\xD8\x04"  // 25: i32 300
            "\x1C\x15\x03\x00"  // 26: struct {1: i32 -2}
            "\x19\x25\x02\x01"  // 27: list<i32> [1, -1]
            "\x06\x06\x0A"      // 3: i64 5
            "\x00"s);
}

}  // namespace
}  // namespace qorarc::parquet
