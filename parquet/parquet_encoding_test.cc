#include "parquet/parquet_encoding.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <initializer_list>
#include <limits>
#include <string>
#include <vector>

namespace qorarc::parquet {
namespace {

using namespace std::string_literals;

std::vector<int64_t> Repeat(int64_t value, int count) { return std::vector<int64_t>(count, value); }

std::vector<int64_t> Join(std::vector<int64_t> a, const std::vector<int64_t>& b) {
  a.insert(a.end(), b.begin(), b.end());
  return a;
}

TEST(ParquetEncodingTest, RleHybrid) {
  const struct {
    const char* what;
    std::vector<int64_t> values;
    int bit_width;
    std::string bytes;
  } cases[] = {
      {"nothing", {}, 1, ""},
      {"the documents' example: 0 to 7 at 3 bits", {0, 1, 2, 3, 4, 5, 6, 7}, 3,
       "\x03\x88\xC6\xFA"},
      {"a run of 8", Repeat(1, 8), 1, "\x10\x01"},
      {"a run of 7 stays bit-packed", Repeat(1, 7), 1, "\x03\x7F"},
      {"a run with a two-byte header", Repeat(0, 300), 1, "\xD8\x04\x00"s},
      {"the last group padded with zeros", {1, 0, 1}, 1, "\x03\x05"},
      {"bit-packed, then a run", Join({1, 0, 1, 0, 1, 0, 1, 0}, Repeat(1, 10)), 1,
       "\x03\x55\x14\x01"},
      {"a run, then a short tail", Join(Repeat(3, 9), {2}), 2, "\x12\x03\x03\x02\x00"s},
      {"a run that starts inside a group stays bit-packed", Join({0}, Repeat(1, 8)), 1,
       "\x05\xFE\x01"},
      {"a run value of 9 bits takes 2 bytes", Repeat(300, 8), 9, "\x10\x2C\x01"},
      {"32 bits bit-packed", {0xFFFFFFFF}, 32,
       "\x03\xFF\xFF\xFF\xFF" + std::string(28, '\0')},
      {"32 bits in a run", Repeat(0x89ABCDEF, 8), 32, "\x10\xEF\xCD\xAB\x89"},
  };
  for (const auto& c : cases) {
    std::string out;
    EncodeRleHybrid(c.values, c.bit_width, &out);
    EXPECT_EQ(out, c.bytes) << c.what;
  }
  // Definition levels take the same path from bytes.
  std::vector<uint8_t> levels = {1, 1, 0, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1};
  std::string out;
  EncodeRleHybrid(levels, 1, &out);
  EXPECT_EQ(out, "\x03\xFB\x12\x01");
}

std::string Bytes(std::initializer_list<int> bytes) {
  std::string s;
  for (int b : bytes) s += static_cast<char>(b);
  return s;
}

// Header: block of 128 (varint 80 01), 4 miniblocks, the count, the first
// value zigzag-encoded; then per block its smallest difference (zigzag), 4
// bit widths and the miniblocks of 32 offsets.
TEST(ParquetEncodingTest, DeltaBinaryPacked) {
  const std::string head = "\x80\x01\x04";
  std::vector<int64_t> ramp(129);
  for (int i = 0; i < 129; ++i) ramp[i] = i * 3;
  const struct {
    const char* what;
    std::vector<int64_t> values;
    std::string bytes;
  } cases[] = {
      {"nothing", {}, head + Bytes({0, 0})},
      {"one value", {-2}, head + Bytes({1, 3})},
      {"the documents' first example: 1 to 5", {1, 2, 3, 4, 5},
       head + Bytes({5, 2, 2, 0, 0, 0, 0})},
      {"the documents' second example: 7 5 3 1 2 3 4 5", {7, 5, 3, 1, 2, 3, 4, 5},
       head + Bytes({8, 14, 3, 2, 0, 0, 0, 0xC0, 0x3F}) + std::string(6, '\0')},
      {"129 values: one whole block of width 0", ramp, head + Bytes({0x81, 1, 0, 6, 0, 0, 0, 0})},
      {"differences of 64 bits wrap around",
       {std::numeric_limits<int64_t>::min(), std::numeric_limits<int64_t>::max()},
       head + Bytes({2, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0x01, 1, 0, 0, 0, 0})},
      {"a miniblock of width 0 takes no bytes; one of 2 values is padded to 32",
       Join(Repeat(0, 33), {1, 9}), head + Bytes({35, 0, 0, 0, 4, 0, 0, 0x81}) + std::string(15, '\0')},
  };
  for (const auto& c : cases) {
    std::string out;
    EncodeDeltaBinaryPacked(c.values, &out);
    EXPECT_EQ(out, c.bytes) << c.what;
  }
}

}  // namespace
}  // namespace qorarc::parquet
