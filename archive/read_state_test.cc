// The export loop's sliding buffer: records of any length come out whole
// and in order, whatever the buffer's capacity.
#include "archive/read_state.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "archive/archive_writer.h"

namespace qorarc {
namespace {

// What the loop hands over of an item: its ID, its text (code 12) or its
// Long value (code 4).
struct Seen {
  int32_t id;
  std::string text;
  int32_t value;
  bool operator==(const Seen&) const = default;
};

// Keeps every item the loop hands over.
class RecordingSink : public ItemSink {
 public:
  bool Done() const override { return false; }
  void FileStarted(const std::string&) override {}
  bool Item(const ArchiveItem& item) override {
    Seen seen{item.id, item.text, 0};
    if (item.code() == 4) std::memcpy(&seen.value, item.value, sizeof seen.value);
    items.push_back(seen);
    return true;
  }
  void Corruption(const std::string&) override {}
  void ReadFailed(const std::string& path, int error_number) override {
    failures.push_back(path + ": " + std::to_string(error_number));
  }

  std::vector<Seen> items;
  std::vector<std::string> failures;
};

std::vector<Seen> Export(const std::string& path, size_t capacity) {
  AReadState state(capacity);
  RecordingSink sink;
  state.Export({{path, "", "", 0}}, &sink);
  return sink.items;
}

constexpr size_t kLongestText = kMaxRecordBytes - 12;

// Seeded files of string records of random lengths, up to the longest,
// between Long records: every record comes out as written, and the same for
// every capacity (one below the smallest is raised to the smallest). The
// longest record at every offset around the refill is an end-to-end test
// (tests/fault_test.cc).
TEST(ReadStateTest, RandomRecordLengthsThroughManyRefills) {
  const std::string path = ::testing::TempDir() + "read_state_test.rea";
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
    WriteArchiveFile(path, b.bytes());
    for (size_t capacity : {size_t{1}, 2 * kMaxRecordBytes, 2 * kMaxRecordBytes + 1,
                            size_t{100'000}, AReadState::kDefaultCapacity}) {
      SCOPED_TRACE("capacity " + std::to_string(capacity));
      std::vector<Seen> items = Export(path, capacity);
      EXPECT_EQ(items.size(), 300u);
      EXPECT_TRUE(items == written);
    }
  }
  std::remove(path.c_str());
}

// A file that cannot be opened is reported with its errno and the export
// goes on; a directory in place of a file yields nothing, quietly.
TEST(ReadStateTest, MissingFileIsReportedAndSkipped) {
  const std::string dir = ::testing::TempDir();
  const std::string good = dir + "read_state_good.rea";
  const std::string missing = dir + "read_state_missing.rea";
  std::remove(missing.c_str());
  WriteArchiveFile(good, ArchiveBuilder().Day(7000).Long(TimeOfDay(1, 0, 0), 3, 4).bytes());
  AReadState state;
  RecordingSink sink;
  state.Export({{missing, "", "", 0}, {dir, "", "", 0}, {good, "", "", 0}}, &sink);
  EXPECT_EQ(sink.failures, std::vector<std::string>{missing + ": " + std::to_string(ENOENT)});
  ASSERT_EQ(sink.items.size(), 1u);
  EXPECT_TRUE((sink.items[0] == Seen{3, "", 4}));
  std::remove(good.c_str());
}

}  // namespace
}  // namespace qorarc
