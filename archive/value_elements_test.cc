#include "archive/value_elements.h"

#include <bit>
#include <cmath>
#include <cstring>
#include <initializer_list>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace qorarc {
namespace {

// Value bytes in host byte order, as the reader leaves them.
template <typename T>
std::vector<uint8_t> Bytes(std::initializer_list<T> elements) {
  std::vector<uint8_t> bytes(elements.size() * sizeof(T));
  std::memcpy(bytes.data(), elements.begin(), bytes.size());
  return bytes;
}

ItemValue Value(uint8_t code, const std::vector<uint8_t>& bytes) {
  ItemValue value;
  value.code = code;
  value.payload = bytes.data();
  return value;
}

TEST(ElementTest, IntegerElements) {
  const struct {
    uint8_t code;
    std::vector<uint8_t> bytes;
    int index;
    int32_t expected;
  } cases[] = {
      {2, Bytes<uint8_t>({0xFE}), 0, 254}, {3, Bytes<int16_t>({-2}), 0, -2},
      {11, Bytes<int16_t>({-30000}), 0, -30000}, {4, Bytes<int32_t>({-5, 7}), 0, -5},
      {4, Bytes<int32_t>({-5, 7}), 1, -5},  // scalars ignore the index
      {6, Bytes<uint32_t>({0xFFFFFFFF}), 0, -1}, {6, Bytes<uint32_t>({4000000000}), 0, -294967296},
      {31, Bytes<uint32_t>({0x80000001}), 0, -2147483647}, {5, Bytes<uint16_t>({0xFFFF}), 0, 65535},
      {18, Bytes<uint8_t>({1, 200, 255}), 2, 255}, {19, Bytes<int16_t>({-1, 300}), 0, -1},
      {19, Bytes<int16_t>({-1, 300}), 1, 300},
      {20, Bytes<int32_t>({1, -2147483647 - 1}), 1, -2147483647 - 1},
      {21, Bytes<uint16_t>({7, 65535}), 1, 65535}, {22, Bytes<uint32_t>({3, 0xFFFFFFFF}), 1, -1},
      // Codes without integer elements.
      {0, Bytes<int32_t>({5}), 0, -1}, {1, Bytes<int32_t>({5}), 0, -1},
      {7, Bytes<float>({5.0f}), 0, -1}, {10, Bytes<int64_t>({5}), 0, -1},
      {17, Bytes<uint8_t>({0xFF}), 0, -1}, {25, Bytes<int64_t>({5}), 0, -1},
      {27, Bytes<int16_t>({5}), 0, -1},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(IntegerElement(Value(c.code, c.bytes), c.index), c.expected)
        << "code " << int{c.code} << " element " << c.index;
  }
}

TEST(ElementTest, RealElements) {
  const struct {
    uint8_t code;
    std::vector<uint8_t> bytes;
    int index;
    double expected;
  } cases[] = {
      {7, Bytes<float>({0.1f}), 0, static_cast<double>(0.1f)}, {8, Bytes<double>({-2.5}), 0, -2.5},
      {9, Bytes<double>({1e300}), 0, 1e300}, {10, Bytes<int64_t>({-5}), 0, -5.0},
      {10, Bytes<int64_t>({(int64_t{1} << 53) + 1}), 0, 9007199254740992.0},
      {23, Bytes<float>({1.5f, -0.25f}), 1, -0.25}, {24, Bytes<double>({1.5, 1e-300}), 1, 1e-300},
      {26, Bytes<int64_t>({1, std::numeric_limits<int64_t>::min()}), 1, -9223372036854775808.0},
      // Codes without real elements, GrTime among them.
      {25, Bytes<double>({3.0}), 0, -1.0}, {27, Bytes<int16_t>({3}), 0, -1.0},
      {4, Bytes<int32_t>({3}), 0, -1.0}, {22, Bytes<uint32_t>({3}), 0, -1.0},
      {17, Bytes<uint8_t>({0xFF}), 0, -1.0}, {12, Bytes<uint8_t>({0}), 0, -1.0},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(RealElement(Value(c.code, c.bytes), c.index), c.expected)
        << "code " << int{c.code} << " element " << c.index;
  }
}

TEST(ElementTest, FlagsLeastSignificantBitFirst) {
  const std::vector<uint8_t> bytes = {0b00000101, 0b00000010};
  const bool expected[16] = {true,  false, true,  false, false, false, false, false,
                             false, true,  false, false, false, false, false, false};
  for (int i = 0; i < 16; ++i) {
    EXPECT_EQ(FlagElement(Value(17, bytes), i), expected[i]) << i;
    EXPECT_FALSE(FlagElement(Value(18, bytes), i)) << i;
    EXPECT_FALSE(FlagElement(Value(1, bytes), i)) << i;
  }
}

}  // namespace
}  // namespace qorarc
