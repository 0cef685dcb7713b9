#include "archive/value_elements.h"

#include <gtest/gtest.h>

#include <climits>
#include <cstring>
#include <initializer_list>
#include <vector>

namespace qorarc {
namespace {

// Value bytes in host byte order, as the reader leaves them.
template <typename T>
std::vector<uint8_t> Bytes(std::initializer_list<T> elements) {
  std::vector<uint8_t> bytes(elements.size() * sizeof(T));
  std::memcpy(bytes.data(), elements.begin(), bytes.size());
  return bytes;
}

// Element `index` of a value of each code as an integer, a real and a flag;
// codes without such elements give -1, -1.0 and false.
TEST(ElementTest, IntegerRealAndFlagElements) {
  const struct {
    uint8_t code;
    std::vector<uint8_t> bytes;
    int index;
    int32_t integer;
    double real;
    bool flag = false;
  } cases[] = {
      {0, Bytes<int32_t>({5}), 0, -1, -1.0}, {1, Bytes<int32_t>({5}), 0, -1, -1.0},
      {2, Bytes<uint8_t>({0xFE}), 0, 254, -1.0}, {3, Bytes<int16_t>({-2}), 0, -2, -1.0},
      {4, Bytes<int32_t>({-5, 7}), 1, -5, -1.0},  // scalars ignore the index
      {5, Bytes<uint16_t>({0xFFFF}), 0, 65535, -1.0}, {6, Bytes<uint32_t>({4000000000}), 0, -294967296, -1.0},
      {7, Bytes<float>({0.1f}), 0, -1, static_cast<double>(0.1f)}, {8, Bytes<double>({-2.5}), 0, -1, -2.5},
      {9, Bytes<double>({1e300}), 0, -1, 1e300}, {10, Bytes<int64_t>({-5}), 0, -1, -5.0},
      {10, Bytes<int64_t>({(int64_t{1} << 53) + 1}), 0, -1, 9007199254740992.0},
      {11, Bytes<int16_t>({-30000}), 0, -30000, -1.0}, {12, Bytes<uint8_t>({1}), 0, -1, -1.0},
      // Flags count from the least significant bit of the first byte.
      {17, {0x05, 0x02}, 0, -1, -1.0, true}, {17, {0x05, 0x02}, 1, -1, -1.0},
      {17, {0x05, 0x02}, 2, -1, -1.0, true}, {17, {0x05, 0x02}, 9, -1, -1.0, true},
      {18, Bytes<uint8_t>({1, 200, 255}), 2, 255, -1.0}, {19, Bytes<int16_t>({-1, 300}), 1, 300, -1.0},
      {20, Bytes<int32_t>({1, INT_MIN}), 1, INT_MIN, -1.0}, {21, Bytes<uint16_t>({7, 65535}), 1, 65535, -1.0},
      {22, Bytes<uint32_t>({3, 0xFFFFFFFE}), 1, -2, -1.0}, {23, Bytes<float>({1.5f, -0.25f}), 1, -1, -0.25},
      {24, Bytes<double>({1.5, 1e-300}), 1, -1, 1e-300}, {25, Bytes<double>({3.0}), 0, -1, -1.0},  // GrTime
      {26, Bytes<int64_t>({1, INT64_MIN}), 1, -1, -9223372036854775808.0},
      {27, Bytes<int16_t>({3}), 0, -1, -1.0}, {31, Bytes<uint32_t>({0x80000001}), 0, -2147483647, -1.0},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(testing::Message() << "code " << int{c.code} << " element " << c.index);
    const ItemValue value{c.code, c.bytes.data(), {}};
    EXPECT_EQ(IntegerElement(value, c.index), c.integer);
    EXPECT_EQ(RealElement(value, c.index), c.real);
    EXPECT_EQ(FlagElement(value, c.index), c.flag);
  }
}

}  // namespace
}  // namespace qorarc
