// How the writers hand their text to the stream: in large pieces, identical
// to the whole document, with stream errors left in the stream's state.
#include "export/writer.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <memory>
#include <ostream>
#include <streambuf>
#include <string>
#include <vector>

#include "export/csv_writer.h"
#include "export/json_writer.h"
#include "support/export_items.h"

namespace qorarc {
namespace {

// Keeps every write it gets, and the number of writes seen at each flush.
class RecordingBuffer : public std::streambuf {
 public:
  std::string text;
  std::vector<size_t> writes;
  std::vector<size_t> flushes;

 protected:
  std::streamsize xsputn(const char* s, std::streamsize n) override {
    text.append(s, static_cast<size_t>(n));
    writes.push_back(static_cast<size_t>(n));
    return n;
  }
  int sync() override {
    flushes.push_back(writes.size());
    return 0;
  }
};

// Refuses writes, flushes, or both.
class FailingBuffer : public std::streambuf {
 public:
  FailingBuffer(bool refuseWrites, bool refuseSync)
      : refuseWrites_(refuseWrites), refuseSync_(refuseSync) {}

 protected:
  std::streamsize xsputn(const char*, std::streamsize n) override { return refuseWrites_ ? 0 : n; }
  int overflow(int c) override { return refuseWrites_ ? traits_type::eof() : c; }
  int sync() override { return refuseSync_ ? -1 : 0; }

 private:
  bool refuseWrites_;
  bool refuseSync_;
};

const double kReals[] = {1.5, -2.25};

ExportItem Item(int32_t id) {
  ExportItem item = testing::Item(id, 2, testing::Value(24, kReals));
  item.class_name = "GrDouble";
  item.type_name = "data";
  return item;
}

constexpr int32_t kItems = 20000;

std::unique_ptr<Writer> MakeWriter(std::ostream* out, bool csv) {
  if (csv) return std::make_unique<CsvWriter>(out, "", std::vector<IdRange>{}, kComma);
  return MakeJsonWriter(out, false, false);
}

// Writes a document of `items` items the way the export does.
void WriteDocument(std::ostream* out, bool csv, int32_t items) {
  std::unique_ptr<Writer> writer = MakeWriter(out, csv);
  writer->beginDocument();
  for (int32_t id = 0; id < items; ++id) writer->writeItem(Item(id));
  writer->endDocument(items);
}

TEST(WriterPiecesTest, PiecesMakeTheDocument) {
  for (bool csv : {false, true}) {
    SCOPED_TRACE(csv ? "CSV" : "JSON");
    std::string expected = csv ? "" : R"({"data":[)";
    for (int32_t id = 0; id < kItems; ++id) {
      const std::string n = std::to_string(id);
      expected += csv ? "2021-03-04,05:06:07.123456,GrDouble,data,," + n + ",1.5,-2.25\n"
                      : std::string(id > 0 ? "," : "") +
                            R"({"ts":"2021-03-04T05:06:07.123456Z","id":)" + n +
                            R"(,"class":"GrDouble","type":"data","values":[1.5,-2.25]})";
    }
    if (!csv) expected += "]}";

    RecordingBuffer buffer;
    std::ostream out(&buffer);
    WriteDocument(&out, csv, kItems);
    EXPECT_EQ(buffer.text, expected);
    ASSERT_GT(buffer.writes.size(), 10u);
    for (size_t i = 0; i + 1 < buffer.writes.size(); ++i) {
      EXPECT_GE(buffer.writes[i], PendingText::kPieceSize) << "piece " << i;
    }
    if (csv) {
      // CSV pieces leave flushing to the stream; the end flushes once.
      EXPECT_EQ(buffer.flushes, std::vector<size_t>{buffer.writes.size()});
      continue;
    }
    // Every JSON piece is followed by a stream flush before the next one.
    for (size_t i = 1; i <= buffer.writes.size(); ++i) {
      EXPECT_NE(std::find(buffer.flushes.begin(), buffer.flushes.end(), i), buffer.flushes.end())
          << "no flush after piece " << i;
    }
  }
}

// Items written until `done` says so.
template <typename Done>
int32_t ItemsUntil(Writer* writer, Done done) {
  writer->beginDocument();
  int32_t n = 0;
  while (!done() && n < kItems) writer->writeItem(Item(n++));
  return n;
}

// failed() turns true with the first piece the stream refuses, not before
// and not later: the export can stop there.
TEST(WriterPiecesTest, FailedFromTheFirstRefusedPiece) {
  for (bool csv : {false, true}) {
    SCOPED_TRACE(csv ? "CSV" : "JSON");
    RecordingBuffer recording;
    std::ostream good(&recording);
    std::unique_ptr<Writer> writer = MakeWriter(&good, csv);
    const int32_t first_piece = ItemsUntil(writer.get(), [&] { return !recording.writes.empty(); });
    EXPECT_FALSE(writer->failed());

    FailingBuffer refusing(true, false);
    std::ostream bad(&refusing);
    writer = MakeWriter(&bad, csv);
    EXPECT_FALSE(writer->failed());
    EXPECT_EQ(ItemsUntil(writer.get(), [&] { return writer->failed(); }), first_piece);
    ASSERT_LT(first_piece, kItems);
  }
}

struct FailureCase {
  const char* name;
  bool csv;
  int32_t items;
  bool refuseWrites;
  bool refuseSync;
};

void PrintTo(const FailureCase& c, std::ostream* os) { *os << c.name; }

class WriterFailureTest : public ::testing::TestWithParam<FailureCase> {};

TEST_P(WriterFailureTest, LeavesBadBit) {
  const FailureCase& c = GetParam();
  FailingBuffer buffer(c.refuseWrites, c.refuseSync);
  std::ostream out(&buffer);
  std::unique_ptr<Writer> writer = MakeWriter(&out, c.csv);
  writer->beginDocument();
  for (int32_t id = 0; id < c.items; ++id) writer->writeItem(Item(id));
  writer->endDocument(c.items);
  EXPECT_TRUE(out.bad());
  EXPECT_TRUE(writer->failed());
}

INSTANTIATE_TEST_SUITE_P(
    Streams, WriterFailureTest,
    ::testing::Values(FailureCase{"JsonRefusedWrite", false, 3, true, false},
                    FailureCase{"JsonRefusedWriteOfManyPieces", false, kItems, true, false},
                    FailureCase{"JsonRefusedFlush", false, 0, false, true},
                    FailureCase{"CsvRefusedWrite", true, 3, true, false},
                    FailureCase{"CsvRefusedWriteOfManyPieces", true, kItems, true, false},
                    // Nothing to write: only the flush can fail.
                    FailureCase{"CsvEmptyRefusedFlush", true, 0, false, true}),
    [](const ::testing::TestParamInfo<FailureCase>& info) { return std::string(info.param.name); });

}  // namespace
}  // namespace qorarc
