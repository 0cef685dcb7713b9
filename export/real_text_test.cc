#include "export/real_text.h"

#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include <bit>
#include <cmath>
#include <cstring>
#include <limits>
#include <random>
#include <string>

#include <gtest/gtest.h>

namespace qorarc {
namespace {

std::string RealText(double value) {
  char text[kRealTextSize];
  return std::string(text, FormatReal(value, text));
}

std::string WriterDouble(double value) {
  rapidjson::StringBuffer buffer;
  rapidjson::Writer<rapidjson::StringBuffer> writer(buffer);
  writer.Double(value);
  return std::string(buffer.GetString(), buffer.GetSize());
}

TEST(RealTextTest, Layouts) {
  const struct {
    double value;
    const char* text;
  } cases[] = {
      {0.0, "0.0"}, {-0.0, "-0.0"}, {1.0, "1.0"}, {-1.5, "-1.5"}, {0.1, "0.1"}, {12.34, "12.34"},
      {1000000.0, "1000000.0"}, {123456.789, "123456.789"}, {1e20, "100000000000000000000.0"},
      {1e21, "1e21"}, {1e22, "1e22"}, {1.5e300, "1.5e300"}, {0.001234, "0.001234"},
      {1e-6, "0.000001"}, {1e-7, "1e-7"}, {1.234e-7, "1.234e-7"}, {-1.234e-7, "-1.234e-7"},
      {static_cast<double>(0.1f), "0.10000000149011612"}, {5e-324, "5e-324"},
      {2.2250738585072009e-308, "2.225073858507201e-308"},
      {std::numeric_limits<double>::max(), "1.7976931348623157e308"},
      {-std::numeric_limits<double>::max(), "-1.7976931348623157e308"},
      {9007199254740993.0, "9007199254740992.0"},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(RealText(c.value), c.text);
    EXPECT_EQ(WriterDouble(c.value), c.text);
  }
}

TEST(RealTextTest, RandomDoublesAsRapidJsonWriter) {
  std::mt19937_64 random(7062);
  std::uniform_real_distribution<double> decimal(-1e6, 1e6);
  int mismatches = 0;
  for (int i = 0; i < 300'000 && mismatches < 10; ++i) {
    double value = std::bit_cast<double>(random());
    if (i % 3 == 0) value = decimal(random);
    if (i % 3 == 1) value = std::round(decimal(random) * 1000) / 1000;
    if (!std::isfinite(value)) continue;
    const std::string text = RealText(value);
    const std::string expected = WriterDouble(value);
    if (text != expected) {
      ++mismatches;
      ADD_FAILURE() << text << " instead of " << expected;
    }
  }
}

}  // namespace
}  // namespace qorarc
