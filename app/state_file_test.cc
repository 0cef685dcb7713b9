#include "app/state_file.h"

#include <gtest/gtest.h>

namespace qorarc {
namespace {

TEST(StateFileTest, TextIsExactAndReadsBack) {
  ExportState s;
  s.archive = "plant";
  s.from_time = 610156800000000000;
  EXPECT_EQ(StateText(s), "qorarc-state 1\narchive plant\nfrom_time 610156800000000000\n");
  s.has_position = true;
  s.file = "arc/2019/2019-05/2019-05-03_plant.rea";
  s.file_start = 610156800000000000;
  s.offset = 4711;
  s.day = 7062;
  s.device = 2049;
  s.inode = 131078;
  s.hash = 0x0c0d2b4f7e1a3c58;
  s.rest_skipped = true;
  const std::string text = StateText(s);
  EXPECT_EQ(text,
            "qorarc-state 1\narchive plant\nfrom_time 610156800000000000\n"
            "file arc/2019/2019-05/2019-05-03_plant.rea\nfile_start 610156800000000000\n"
            "offset 4711\nday 7062\ndevice 2049\ninode 131078\nfnv1a64 0c0d2b4f7e1a3c58\n"
            "rest_skipped 1\n");
  ExportState back;
  std::string problem;
  ASSERT_TRUE(ParseState(text, &back, &problem)) << problem;
  EXPECT_EQ(StateText(back), text);
}

// Numbers are whole and in range; a day number past 16 bits is refused.
TEST(StateFileTest, RefusesNumbersOutOfRange) {
  const std::string head = "qorarc-state 1\narchive \nfrom_time -1\nfile f\nfile_start 0\n";
  const std::string tail = "device 1\ninode 1\nfnv1a64 00000000000000ff\nrest_skipped 0\n";
  struct Case {
    const char* lines;
    const char* problem;  // empty: valid
  };
  const Case cases[] = {
      {"offset 0\nday 65535\n", ""},
      {"offset 0\nday 65536\n", "bad value of 'day'"},
      {"offset 18446744073709551615\nday 0\n", ""},
      {"offset 18446744073709551616\nday 0\n", "bad value of 'offset'"},
      {"offset +1\nday 0\n", "bad value of 'offset'"},
      {"offset 1\n", "no 'day'"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.lines);
    ExportState s;
    std::string problem;
    EXPECT_EQ(ParseState(head + c.lines + tail, &s, &problem), *c.problem == '\0');
    EXPECT_EQ(problem, c.problem);
  }
}

}  // namespace
}  // namespace qorarc
