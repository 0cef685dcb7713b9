// The export loop's sliding buffer: records of any length come out whole
// and in order, whatever the buffer's capacity.
#include "archive/read_state.h"

#include <sys/stat.h>

#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "archive/archive_writer.h"
#include "support/files.h"

namespace qorarc {
namespace {

// Keeps what the loop hands over: of an item its ID and its text (code 12)
// or Long value (code 4); of a failure the path and the errno.
class RecordingSink : public ItemSink, public LoopReporter {
 public:
  bool Done() const override { return false; }
  void FileStarted(const std::string&) override {}
  bool Item(const ArchiveItem& item) override {
    int32_t value;
    std::memcpy(&value, item.value, sizeof value);
    items.emplace_back(item.id, item.code() == 12 ? item.text : std::to_string(value));
    return true;
  }
  void Corruption(const std::string&) override {}
  void ReadFailed(const std::string& path, int error_number) override {
    failures.emplace_back(path, error_number);
  }

  std::vector<std::pair<int, std::string>> items;
  std::vector<std::pair<std::string, int>> failures;
};

// Seeded files of string records of random lengths, up to the longest,
// between Long records: every record comes out as written, and the same for
// every capacity (one below the smallest is raised to the smallest). The
// longest record at every offset around the refill is an end-to-end test
// (tests/fault_test.cc). Before the file, one that cannot be opened (a
// file removed after discovery) is reported with its errno, and a directory
// or a FIFO in place of a file yields nothing, quietly and without waiting
// for a writer; the export goes on.
TEST(ReadStateTest, RandomRecordLengthsThroughManyRefills) {
  testing::TempDir dir;
  const std::string path = dir.path() + "/day.rea";
  const std::string missing = dir.path() + "/missing.rea";
  const std::string fifo = dir.path() + "/fifo.rea";
  ASSERT_EQ(mkfifo(fifo.c_str(), 0644), 0);
  constexpr size_t kLongestText = kMaxRecordBytes - 12;
  for (uint64_t seed = 1; seed <= 4; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937_64 random(seed);
    ArchiveBuilder b;
    b.Day(7000);
    std::vector<std::pair<int, std::string>> written;
    for (uint16_t id = 0; id < 300; ++id) {
      if (random() % 3 == 0) {
        const auto value = static_cast<int32_t>(random());
        b.Long(TimeOfDay(1, 0, 0), id, value);
        written.emplace_back(id, std::to_string(value));
      } else {
        const size_t length = random() % 4 == 0 ? kLongestText - random() % 16 : random() % kLongestText;
        const std::string text(length, static_cast<char>('A' + id % 26));
        b.Text(TimeOfDay(1, 0, 0), id, 0, text);
        written.emplace_back(id, text);
      }
    }
    if (seed % 2 == 0) b.End();
    WriteArchiveFile(path, b.bytes());
    for (size_t capacity : {size_t{1}, 2 * kMaxRecordBytes, 2 * kMaxRecordBytes + 1, size_t{100'000},
                            AReadState::kDefaultCapacity}) {
      SCOPED_TRACE("capacity " + std::to_string(capacity));
      AReadState state(capacity);
      RecordingSink sink;
      state.Export({{missing, "", "", 0}, {dir.path(), "", "", 0}, {fifo, "", "", 0}, {path, "", "", 0}},
                   &sink, &sink);
      EXPECT_EQ(sink.failures, (std::vector<std::pair<std::string, int>>{{missing, ENOENT}}));
      EXPECT_EQ(sink.items.size(), 300u);
      EXPECT_TRUE(sink.items == written);  // not printed: the texts are long
    }
  }
}

}  // namespace
}  // namespace qorarc
