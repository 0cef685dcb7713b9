#include "export/real_text.h"

#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include <gtest/gtest.h>

#include <limits>
#include <string>

namespace qorarc {
namespace {

// CSV cells and JSON values show a real alike: as RapidJSON's writer does,
// at the edges of its fixed and exponent forms and of the doubles.
TEST(RealTextTest, AsRapidJsonWriter) {
  const struct {
    double value;
    const char* text;
  } cases[] = {
      {0.0, "0.0"}, {-0.0, "-0.0"}, {-1.5, "-1.5"}, {0.1, "0.1"},
      {1e20, "100000000000000000000.0"}, {1e21, "1e21"}, {1e-6, "0.000001"}, {1e-7, "1e-7"},
      {-1.234e-7, "-1.234e-7"}, {static_cast<double>(0.1f), "0.10000000149011612"},
      {5e-324, "5e-324"}, {2.2250738585072009e-308, "2.225073858507201e-308"},
      {-std::numeric_limits<double>::max(), "-1.7976931348623157e308"},
      {9007199254740993.0, "9007199254740992.0"},
  };
  for (const auto& c : cases) {
    char text[kRealTextSize];
    EXPECT_EQ(std::string(text, FormatReal(c.value, text)), c.text);
    rapidjson::StringBuffer buffer;
    rapidjson::Writer<rapidjson::StringBuffer> writer(buffer);
    writer.Double(c.value);
    EXPECT_EQ(buffer.GetString(), std::string(c.text));
  }
}

}  // namespace
}  // namespace qorarc
