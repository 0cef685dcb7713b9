#include "archive/archive_writer.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

namespace qorarc {
namespace {

std::string Bytes(std::initializer_list<int> bytes) {
  std::string s;
  for (int b : bytes) s.push_back(static_cast<char>(b));
  return s;
}

TEST(ArchiveWriterTest, EncodesRecordsByteForByte) {
  struct Case {
    const char* what;
    std::function<void(ArchiveBuilder&)> write;
    std::string bytes;
  };
  const int64_t hour = TimeOfDay(1, 0, 0);
  const Case cases[] = {
      {"day marker", [](ArchiveBuilder& b) { b.Day(7305); },
       Bytes({0x80, 0x00, 0x00, 0x00, 0x1C, 0x89})},
      {"raw day marker",
       [](ArchiveBuilder& b) { b.RawDayMarker(0x8001, 0x10000); },
       Bytes({0x80, 0x01, 0x00, 0x01, 0x00, 0x00})},
      {"system", [&](ArchiveBuilder& b) { b.System(hour, 2, 4); },
       Bytes({0x03, 0x46, 0x30, 0xB8, 0xA0, 0x00, 0x40, 0x04})},
      {"bool",
       [](ArchiveBuilder& b) { b.Bool((int64_t{1} << 47) - 1, 0xABCD, 1); },
       Bytes({0x7F, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0x21, 0x00, 0xAB, 0xCD})},
      {"byte", [](ArchiveBuilder& b) { b.Byte(1, 2, 0x7F, 0, 9); },
       Bytes({0, 0, 0, 0, 0, 1, 0x02, 0x09, 0, 2, 0x7F})},
      {"short", [](ArchiveBuilder& b) { b.Short(0, 1, -2, 0); },
       Bytes({0, 0, 0, 0, 0, 0, 0x03, 0, 0, 1, 0xFF, 0xFE})},
      {"long", [](ArchiveBuilder& b) { b.Long(0, 1, 0x01020304); },
       Bytes({0, 0, 0, 0, 0, 0, 0x84, 0, 0, 1, 1, 2, 3, 4})},
      {"word", [](ArchiveBuilder& b) { b.Word(0, 1, 0xA1B2, 1); },
       Bytes({0, 0, 0, 0, 0, 0, 0x25, 0, 0, 1, 0xA1, 0xB2})},
      {"dword", [](ArchiveBuilder& b) { b.DWord(0, 1, 0xA1B2C3D4, 2); },
       Bytes({0, 0, 0, 0, 0, 0, 0x46, 0, 0, 1, 0xA1, 0xB2, 0xC3, 0xD4})},
      {"float", [](ArchiveBuilder& b) { b.Float(0, 1, 1.0f, 3, 2); },
       Bytes({0, 0, 0, 0, 0, 0, 0x67, 0x02, 0, 1, 0x3F, 0x80, 0, 0})},
      {"double", [](ArchiveBuilder& b) { b.Double(0, 1, -2.0); },
       Bytes({0, 0, 0, 0, 0, 0, 0x88, 0, 0, 1, 0xC0, 0, 0, 0, 0, 0, 0, 0})},
      {"time", [](ArchiveBuilder& b) { b.Time(0, 1, 0x0102030405060708); },
       Bytes({0, 0, 0, 0, 0, 0, 0x89, 0, 0, 1, 1, 2, 3, 4, 5, 6, 7, 8})},
      {"large", [](ArchiveBuilder& b) { b.Large(0, 1, -1); },
       Bytes({0, 0, 0, 0, 0, 0, 0x8A, 0, 0, 1, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF,
              0xFF, 0xFF, 0xFF})},
      {"error", [](ArchiveBuilder& b) { b.Error(0, 1, 0x1234); },
       Bytes({0, 0, 0, 0, 0, 0, 0x8B, 0, 0, 1, 0x12, 0x34})},
      {"text", [](ArchiveBuilder& b) { b.Text(0, 0x0102, 25, "Hi", 3); },
       Bytes({0, 0, 0, 0, 0, 0, 0x6C, 25, 0x01, 0x02, 0, 2, 'H', 'i'})},
      {"empty text", [](ArchiveBuilder& b) { b.Text(0, 1, 0, ""); },
       Bytes({0, 0, 0, 0, 0, 0, 0x0C, 0, 0, 1, 0, 0})},
      {"alarm word", [](ArchiveBuilder& b) { b.Alarm31(0, 1, 0x01020304, 2); },
       Bytes({0, 0, 0, 0, 0, 0, 0x5F, 0, 0, 1, 1, 2, 3, 4})},
      {"bits", [](ArchiveBuilder& b) { b.Bits(0, 1, 9, {0x01, 0x80}); },
       Bytes({0, 0, 0, 0, 0, 0, 0x91, 9, 0, 1, 0x01, 0x80})},
      {"short array",
       [](ArchiveBuilder& b) { b.Array<int16_t>(19, 0, 1, {1, -1}); },
       Bytes({0, 0, 0, 0, 0, 0, 0x93, 2, 0, 1, 0, 1, 0xFF, 0xFF})},
      {"double array",
       [](ArchiveBuilder& b) { b.Array<double>(24, 0, 1, {1.0}, 1); },
       Bytes({0, 0, 0, 0, 0, 0, 0x38, 1, 0, 1, 0x3F, 0xF0, 0, 0, 0, 0, 0, 0})},
      {"unnamed 2-byte array",
       [](ArchiveBuilder& b) { b.Array<uint16_t>(27, 0, 1, {0x1234}); },
       Bytes({0, 0, 0, 0, 0, 0, 0x9B, 1, 0, 1, 0x12, 0x34})},
      {"raw and end", [](ArchiveBuilder& b) { b.Raw(Bytes({0, 0xFE})).End(); },
       Bytes({0, 0xFE, 0xFF})},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    ArchiveBuilder b;
    c.write(b);
    EXPECT_EQ(b.bytes(), c.bytes);
  }
}

TEST(ArchiveWriterTest, RefusesWhatCannotBeEncoded) {
  struct Case {
    const char* what;
    std::function<void(ArchiveBuilder&)> write;
  };
  ArchiveItem invalid_code;
  invalid_code.type = 13;
  ArchiveItem long_array;
  long_array.type = 24;
  long_array.count = 65;
  ArchiveItem high_bit;
  high_bit.type = 8;
  high_bit.time_high = 0x8000;
  const Case cases[] = {
      {"negative time", [](ArchiveBuilder& b) { b.Double(-1, 1, 0.0); }},
      {"time of 2^47",
       [](ArchiveBuilder& b) { b.Double(int64_t{1} << 47, 1, 0.0); }},
      {"state 8", [](ArchiveBuilder& b) { b.Bool(0, 1, 8); }},
      {"bits short of bytes", [](ArchiveBuilder& b) { b.Bits(0, 1, 9, {1}); }},
      {"bits count 0",
       [](ArchiveBuilder& b) {
         b.Bits(0, 1, 0, {1, 2});
       }},
      {"element size",
       [](ArchiveBuilder& b) { b.Array<int32_t>(19, 0, 1, {1}); }},
      {"array code 17",
       [](ArchiveBuilder& b) { b.Array<uint8_t>(17, 0, 1, {1}); }},
      {"array code 28",
       [](ArchiveBuilder& b) { b.Array<uint16_t>(28, 0, 1, {1}); }},
      {"256 elements",
       [](ArchiveBuilder& b) {
         b.Array<double>(24, 0, 1, std::vector<double>(256));
       }},
      {"text of 65,536",
       [](ArchiveBuilder& b) { b.Text(0, 1, 0, std::string(65536, 'x')); }},
      {"item code 13", [&](ArchiveBuilder& b) { b.Item(invalid_code); }},
      {"item array of 520 bytes",
       [&](ArchiveBuilder& b) { b.Item(long_array); }},
      {"item time bit 47", [&](ArchiveBuilder& b) { b.Item(high_bit); }},
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

TEST(ArchiveWriterTest, ArraysOfAnySizeTheCountByteHolds) {
  // 255 Doubles make a record the decoder refuses; the builder writes it.
  ArchiveBuilder b;
  b.Array<double>(24, 0, 1, std::vector<double>(255, 1.0));
  EXPECT_EQ(b.size(), 10u + 255 * 8);
  EXPECT_EQ(static_cast<uint8_t>(b.bytes()[7]), 255);
  b.Clear();
  EXPECT_EQ(b.size(), 0u);
}

TEST(ArchiveWriterTest, DaysAndPaths) {
  struct Case {
    int year;
    unsigned month;
    unsigned day;
    int64_t number;
    const char* path;
  };
  const Case cases[] = {
      {2000, 1, 1, 0, "/arc/2000/2000-01/2000-01-01_plant.rea"},
      {2019, 12, 30, 7303, "/arc/2019/2019-12/2019-12-30_plant.rea"},
      {2020, 1, 1, 7305, "/arc/2020/2020-01/2020-01-01_plant.rea"},
      {2020, 2, 29, 7364, "/arc/2020/2020-02/2020-02-29_plant.rea"},
      {2100, 3, 1, 36584, "/arc/2100/2100-03/2100-03-01_plant.rea"},
      {2179, 6, 6, 65535, "/arc/2179/2179-06/2179-06-06_plant.rea"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.path);
    EXPECT_EQ(DayNumber(c.year, c.month, c.day), c.number);
    EXPECT_EQ(ArchiveFilePath("/arc", c.number, "plant"), c.path);
  }
  EXPECT_THROW(DayNumber(2019, 2, 29), std::invalid_argument);
  EXPECT_THROW(DayNumber(2100, 2, 29), std::invalid_argument);
  EXPECT_THROW(DayNumber(2020, 13, 1), std::invalid_argument);
  EXPECT_EQ(TimeOfDay(23, 59, 59, 999'999'999), 86'399'999'999'999);
}

class TempRoot {
 public:
  TempRoot() {
    std::string pattern =
        (std::filesystem::temp_directory_path() / "archive_writer_XXXXXX")
            .string();
    if (mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("mkdtemp");
    path_ = pattern;
  }
  ~TempRoot() { std::filesystem::remove_all(path_); }
  const std::string& path() const { return path_; }

 private:
  std::string path_;
};

std::string ReadAll(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::ostringstream out;
  out << in.rdbuf();
  return out.str();
}

TEST(ArchiveWriterTest, WritesFilesWithTheirDirectories) {
  TempRoot root;
  const std::string path = ArchiveFilePath(root.path(), 7303, "boiler");
  const std::string bytes = Bytes({0x80, 0, 0, 0, 0x1C, 0x87, 0, 0xFF});
  WriteArchiveFile(path, bytes);
  EXPECT_EQ(ReadAll(path), bytes);
  // Writing again replaces the file.
  WriteArchiveFile(path, "\xFF");
  EXPECT_EQ(ReadAll(path), "\xFF");
}

TEST(ArchiveWriterTest, ReportsWhatCannotBeWritten) {
  TempRoot root;
  const std::string file = root.path() + "/file";
  WriteArchiveFile(file, "x");
  const std::string under_file = file + "/2020/2020-01/2020-01-01_a.rea";
  try {
    WriteArchiveFile(under_file, "x");
    FAIL() << "no error";
  } catch (const std::runtime_error& e) {
    EXPECT_NE(std::string(e.what()).find("'" + under_file + "'"),
              std::string::npos)
        << e.what();
  }
  // A directory where the file should be.
  EXPECT_THROW(WriteArchiveFile(root.path(), "x"), std::runtime_error);
}

}  // namespace
}  // namespace qorarc
