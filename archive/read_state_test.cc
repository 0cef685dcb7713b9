// The export loop's sliding buffer: records of any length, at any offset
// against the point where the reader refills, come out whole and in order,
// whatever the buffer's capacity.
#include "archive/read_state.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "archive/archive_writer.h"
#include "export/writer.h"

namespace qorarc {
namespace {

// What the writers are shown of an item: its ID, its text (code 12) or its
// Long value (code 4).
struct Seen {
  int32_t id;
  std::string text;
  int32_t value;
  bool operator==(const Seen&) const = default;
};

class RecordingWriter : public Writer {
 public:
  RecordingWriter() : Writer(&sink_) {}
  void beginDocument() override {}
  void writeItem(const ExportItem& item) override {
    Seen seen{item.id, std::string(item.value.text), 0};
    if (item.value.code == 4) std::memcpy(&seen.value, item.value.payload, sizeof seen.value);
    items.push_back(seen);
  }
  void endDocument() override {}

  std::vector<Seen> items;

 private:
  std::ostringstream sink_;
};

class ScratchFile {
 public:
  ScratchFile() {
    std::string pattern =
        (std::filesystem::temp_directory_path() / "read-state-test-XXXXXX").string();
    if (mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("mkdtemp failed");
    dir_ = pattern;
  }
  ~ScratchFile() { std::filesystem::remove_all(dir_); }
  std::string Write(const std::string& bytes) {
    std::string path = dir_ + "/2019-05-03_plant.rea";
    WriteArchiveFile(path, bytes);
    return path;
  }

 private:
  std::string dir_;
};

std::vector<Seen> Export(const std::string& path, size_t capacity, int32_t* count) {
  ItemFilter all;
  AReadState state(&all, false, capacity);
  RecordingWriter writer;
  *count = state.Export(writer, {{path, "", "", 0}});
  return writer.items;
}

constexpr size_t kLongestText = kMaxRecordBytes - 12;

// The smallest buffer holds two longest records; it is refilled when fewer
// than one longest record is left, so a longest record placed at or before
// offset 32,767 is decoded in place and one after it after a refill.
TEST(ReadStateTest, LongestRecordAtEveryOffsetAroundTheRefill) {
  const size_t capacity = 2 * kMaxRecordBytes;
  const size_t refill_point = capacity - kMaxRecordBytes;
  ScratchFile scratch;
  for (size_t offset = refill_point - 300; offset <= refill_point + 300; ++offset) {
    SCOPED_TRACE("offset " + std::to_string(offset));
    ArchiveBuilder b;
    b.Day(7000);
    // Two filler records up to the offset.
    const size_t left = offset - 6;
    b.Text(TimeOfDay(1, 0, 0), 1, 0, std::string(left / 2 - 12, 'f'));
    b.Text(TimeOfDay(1, 0, 0), 1, 0, std::string(left - left / 2 - 12, 'g'));
    ASSERT_EQ(b.size(), offset);
    std::string text(kLongestText, static_cast<char>('a' + offset % 26));
    text.replace(0, 8, std::to_string(10'000'000 + offset));
    b.Text(TimeOfDay(2, 0, 0), 7, 0, text).Long(TimeOfDay(3, 0, 0), 8, static_cast<int32_t>(offset));
    int32_t count = 0;
    std::vector<Seen> items = Export(scratch.Write(b.bytes()), capacity, &count);
    ASSERT_GE(items.size(), 2u);
    EXPECT_EQ(count, static_cast<int32_t>(items.size()));
    EXPECT_TRUE(items[items.size() - 2] == (Seen{7, text, 0}));
    EXPECT_EQ(items.back(), (Seen{8, "", static_cast<int32_t>(offset)}));
  }
}

// Seeded files of string records of random lengths, up to the longest,
// between Long records: every record comes out as written, and the same for
// every capacity (one below the smallest is raised to the smallest).
TEST(ReadStateTest, RandomRecordLengthsThroughManyRefills) {
  ScratchFile scratch;
  for (uint64_t seed = 1; seed <= 4; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937_64 random(seed);
    ArchiveBuilder b;
    b.Day(7000);
    std::vector<Seen> written;
    for (int i = 0; i < 300; ++i) {
      uint16_t id = static_cast<uint16_t>(i);
      if (random() % 3 == 0) {
        int32_t value = static_cast<int32_t>(random());
        b.Long(TimeOfDay(1, 0, 0), id, value);
        written.push_back({id, "", value});
      } else {
        size_t length = random() % 4 == 0 ? kLongestText - random() % 16 : random() % kLongestText;
        std::string text(length, static_cast<char>('A' + i % 26));
        b.Text(TimeOfDay(1, 0, 0), id, 0, text);
        written.push_back({id, text, 0});
      }
    }
    if (seed % 2 == 0) b.End();
    const std::string path = scratch.Write(b.bytes());
    for (size_t capacity : {size_t{1}, 2 * kMaxRecordBytes, 2 * kMaxRecordBytes + 1,
                            size_t{100'000}, AReadState::kDefaultCapacity}) {
      SCOPED_TRACE("capacity " + std::to_string(capacity));
      int32_t count = 0;
      std::vector<Seen> items = Export(path, capacity, &count);
      EXPECT_EQ(count, 300);
      EXPECT_TRUE(items == written);
    }
  }
}

}  // namespace
}  // namespace qorarc
