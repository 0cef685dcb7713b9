#include "archive/archive_writer.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <stdexcept>
#include <string>
#include <vector>

#include "support/files.h"

namespace qorarc {
namespace {

// The record kinds are pinned byte for byte by the decoder's tests
// (record_decoder_test.cc); these are what only the writer does.
TEST(ArchiveWriterTest, WritesDamagedRecordsAsGiven) {
  ArchiveBuilder b;
  b.Day(7305).RawDayMarker(0x8001, 0x10000).Raw(std::string("\0\xFE", 2)).End();
  EXPECT_EQ(b.bytes(), std::string("\x80\0\0\0\x1C\x89\x80\x01\0\x01\0\0\0\xFE\xFF", 15));
  b.Clear();
  // 255 Doubles make a record the decoder refuses; the count byte holds it.
  b.Array<double>(24, 0, 1, std::vector<double>(255, 1.0));
  EXPECT_EQ(b.size(), 10u + 255 * 8);
}

TEST(ArchiveWriterTest, RefusesWhatCannotBeEncoded) {
  using B = ArchiveBuilder;
  struct Case {
    const char* what;
    void (*write)(B& b);
  };
  const Case cases[] = {
      {"negative time", [](B& b) { b.Double(-1, 1, 0.0); }},
      {"time of 2^47", [](B& b) { b.Double(int64_t{1} << 47, 1, 0.0); }},
      {"state 8", [](B& b) { b.Bool(0, 1, 8); }},
      {"bits short of bytes", [](B& b) { b.Bits(0, 1, 9, {1}); }},
      {"element size", [](B& b) { b.Array<int32_t>(19, 0, 1, {1}); }},
      {"array code 17", [](B& b) { b.Array<uint8_t>(17, 0, 1, {1}); }},
      {"array code 28", [](B& b) { b.Array<uint16_t>(28, 0, 1, {1}); }},
      {"256 elements", [](B& b) { b.Array<double>(24, 0, 1, std::vector<double>(256)); }},
      {"text of 65,536", [](B& b) { b.Text(0, 1, 0, std::string(65536, 'x')); }},
      {"item code 13", [](B& b) { ArchiveItem i; i.type = 13; b.Item(i); }},
      {"item array of 520 bytes", [](B& b) { ArchiveItem i; i.type = 24; i.count = 65; b.Item(i); }},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    ArchiveBuilder b;
    b.Day(1);
    EXPECT_THROW(c.write(b), std::invalid_argument);
    // Nothing of the refused record is left behind.
    EXPECT_EQ(b.size(), 6u);
  }
}

TEST(ArchiveWriterTest, DaysAndPaths) {
  struct Case {
    int year;
    unsigned month, day;
    int64_t number;
    const char* path;
  };
  const Case cases[] = {
      {2000, 1, 1, 0, "/arc/2000/2000-01/2000-01-01_plant.rea"},  // the time base
      {2020, 2, 29, 7364, "/arc/2020/2020-02/2020-02-29_plant.rea"},
      {2179, 6, 6, 65535, "/arc/2179/2179-06/2179-06-06_plant.rea"},  // the last day
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.path);
    EXPECT_EQ(DayNumber(c.year, c.month, c.day), c.number);
    EXPECT_EQ(ArchiveFilePath("/arc", c.number, "plant"), c.path);
  }
  EXPECT_THROW(DayNumber(2100, 2, 29), std::invalid_argument);
  EXPECT_EQ(TimeOfDay(23, 59, 59, 999'999'999), 86'399'999'999'999);
}

}  // namespace
}  // namespace qorarc
