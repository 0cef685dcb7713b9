#include "app/dataset_layout.h"

#include <gtest/gtest.h>

namespace qorarc {
namespace {

TEST(DatasetLayoutTest, EscapesPartitionValuesAsHiveDoes) {
  struct Case {
    std::string value, escaped;
  };
  const Case cases[] = {
      {"plant", "plant"},
      {"a b-c_d.e~", "a b-c_d.e~"},
      {"k=v", "k%3Dv"},
      {"50%", "50%25"},
      {"a/b", "a%2Fb"},
      {"#1:2?*", "%231%3A2%3F%2A"},
      {"\"'\\[]^{", "%22%27%5C%5B%5D%5E%7B"},
      {std::string("t\x01\n\x1f\x7f", 5), "t%01%0A%1F%7F"},
      {"Grüße", "Grüße"},  // bytes above 0x7F as they are
  };
  for (const Case& c : cases) EXPECT_EQ(EscapePartitionValue(c.value), c.escaped) << c.value;
}

TEST(DatasetLayoutTest, KnowsItsHiddenNamesOnly) {
  struct Case {
    const char* name;
    const char* file;  // nullptr: not a hidden name
  };
  const Case cases[] = {
      {".p-2019-12-30-0.parquet.part-812", "p-2019-12-30-0.parquet"},
      {"p-2019-12-30-0.parquet.part-812", nullptr},
      {".p-2019-12-30-0.parquet.part-", nullptr},
      {".p-2019-12-30-0.parquet.part-8x", nullptr},
      {".p.csv.part-1", nullptr},
      {".p-2019-12-30-0.parquet", nullptr},
  };
  for (const Case& c : cases) {
    std::string file;
    EXPECT_EQ(IsPartName(c.name, &file), c.file != nullptr) << c.name;
    EXPECT_EQ(file, c.file != nullptr ? c.file : "");
  }
}

}  // namespace
}  // namespace qorarc
