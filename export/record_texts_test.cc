// The edges of the record text tables; the common texts (AlDouble, data,
// User, Core Warning, ...) are pinned by the end-to-end exports.
#include "export/record_texts.h"

#include <gtest/gtest.h>

#include <string_view>

namespace qorarc {
namespace {

TEST(RecordTextsTest, TableEdges) {
  const struct {
    const char* what;
    std::string_view text;
    std::string_view expected;
  } cases[] = {
      {"first reserved class", ClassText(13), "-Res 13-"},
      {"last class", ClassText(31), "AlAckn"},
      {"class past the table", ClassText(32), "????????"},
      {"negative class", ClassText(-1), "????????"},
      {"system state 7", TypeText(0xE0), "????"},
      {"log state 7", TypeText(0xEC), "SYST"},
      {"acknowledge state 1", TypeText(0x3F), "Hi/H"},
      {"level 7 has no name", LevelText(7), "Unknown"},
      {"longest level", LevelText(33), "Diagnostic Verbose"},
      {"last level", LevelText(69), "IODriver Unknown"},
      {"level past the table", LevelText(70), "Unknown"},
  };
  for (const auto& c : cases) EXPECT_EQ(c.text, c.expected) << c.what;
}

}  // namespace
}  // namespace qorarc
