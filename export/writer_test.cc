// How the writers hand their text to the stream: in large pieces, identical
// to the whole document, with stream errors left in the stream's state.
#include "export/writer.h"

#include <gtest/gtest.h>

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

// Keeps every write it gets and the number of writes seen at each flush,
// or refuses writes, flushes or both.
class Buffer : public std::streambuf {
 public:
  bool refuse_writes = false;
  bool refuse_sync = false;
  std::string text;
  std::vector<size_t> writes;
  std::vector<size_t> flushes;

 protected:
  std::streamsize xsputn(const char* s, std::streamsize n) override {
    if (refuse_writes) return 0;
    text.append(s, static_cast<size_t>(n));
    writes.push_back(static_cast<size_t>(n));
    return n;
  }
  int sync() override {
    flushes.push_back(writes.size());
    return refuse_sync ? -1 : 0;
  }
};

const double kReals[] = {1.5, -2.25};
constexpr int32_t kItems = 20000;

std::unique_ptr<Writer> MakeWriter(std::ostream* out, bool csv) {
  if (csv) return std::make_unique<CsvWriter>(out, "", std::vector<IdRange>{}, kComma);
  return MakeJsonWriter(out, false, false);
}

// Writes items until `done` says so or all are written; returns how many.
template <typename Done>
int32_t WriteUntil(Writer* writer, int32_t items, Done done) {
  writer->beginDocument();
  int32_t n = 0;
  while (!done() && n < items) writer->writeItem(testing::Item(n++, 2, testing::Value(24, kReals)));
  return n;
}

// failed() turns true with the first piece the stream refuses, not before
// and not later: the export can stop there. The stream is left bad, also
// when only its flush at the end fails.
TEST(WriterPiecesTest, FailedFromTheFirstRefusedPiece) {
  for (bool csv : {false, true}) {
    SCOPED_TRACE(csv ? "CSV" : "JSON");
    Buffer recording;
    std::ostream good(&recording);
    std::unique_ptr<Writer> writer = MakeWriter(&good, csv);
    const int32_t first_piece =
        WriteUntil(writer.get(), kItems, [&] { return !recording.writes.empty(); });
    ASSERT_LT(first_piece, kItems);
    EXPECT_FALSE(writer->failed());

    Buffer refusing;
    refusing.refuse_writes = true;
    std::ostream bad(&refusing);
    writer = MakeWriter(&bad, csv);
    EXPECT_FALSE(writer->failed());
    EXPECT_EQ(WriteUntil(writer.get(), kItems, [&] { return writer->failed(); }), first_piece);
    writer->endDocument(first_piece);
    EXPECT_TRUE(bad.bad());

    Buffer no_flush;
    no_flush.refuse_sync = true;
    std::ostream unflushed(&no_flush);
    writer = MakeWriter(&unflushed, csv);
    writer->beginDocument();
    writer->endDocument(0);
    EXPECT_TRUE(unflushed.bad());
    EXPECT_TRUE(writer->failed());
  }
}

}  // namespace
}  // namespace qorarc
