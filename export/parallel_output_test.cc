#include "export/parallel_output.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <memory>
#include <sstream>
#include <string>

#include "export/json_lines_writer.h"
#include "export/writer.h"

namespace qorarc {
namespace {

// A batch goes to the workers once it holds batch_items items or about
// batch_bytes bytes of text, whichever comes first; the byte bound keeps
// the memory of wide items flat. The workers start with the first batch
// handed over, so their number tells whether it was.
TEST(ParallelOutputTest, BatchEndsAtItsItemOrByteBound) {
  struct Case {
    const char* name;
    size_t batch_items;
    size_t batch_bytes;
    size_t workers;
  };
  const Case cases[] = {
      {"neither bound reached", 3, 1 << 20, 0},
      {"item bound reached", 1, 1 << 20, 1},
      {"byte bound reached", 3, 1, 1},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    std::ostringstream out;
    PendingText text(&out);
    JsonLinesWriter document(&text);
    document.beginDocument();
    ParallelOutput output(
        &document, &text, [](PendingText* t) { return std::make_unique<JsonLinesWriter>(t); },
        {.threads = 2, .batch_items = c.batch_items, .batch_bytes = c.batch_bytes});
    ArchiveItem item;
    // The first batch_items items the document's writer writes itself.
    for (size_t i = 0; i <= c.batch_items; ++i) output.Write(item, nullptr);
    EXPECT_EQ(output.workers(), c.workers);
    output.Finish();
    document.endDocument(0);
    // Every item written once, in order: the same line each time.
    const std::string line = out.str().substr(0, out.str().find('\n') + 1);
    std::string lines;
    for (size_t i = 0; i <= c.batch_items; ++i) lines += line;
    EXPECT_GT(line.size(), 1u);
    EXPECT_EQ(out.str(), lines);
  }
}

// Writes each item's time stamp on a line of its own, padded to a whole
// piece, so that every item goes out to the stream as it is appended.
struct PieceWriter : Writer {
  using Writer::Writer;
  void beginDocument() override {}
  void writeItem(const ExportItem& item) override {
    const std::string line = std::to_string(item.timestamp) + std::string(kPieceSize, '.') + "\n";
    pending_.SetEnd(CopyText(pending_.Reserve(line.size()), line));
    pending_.ItemDone();
  }
  void endDocument(int32_t) override { flush(); }
  void writeEmptyResult() override {}
  static constexpr size_t kPieceSize = PendingText::kPieceSize;
};

// The loop's messages come out between the items they were read between,
// also from batches in flight and in the middle of a batch: the document
// and the messages both go to standard error, in the order they are shown.
TEST(ParallelOutputTest, MessagesComeOutAtTheirItemsPlace) {
  struct ToStderr : std::streambuf {
    int overflow(int c) override { return c == EOF ? 0 : std::fputc(c, stderr); }
    std::streamsize xsputn(const char* s, std::streamsize n) override {
      return static_cast<std::streamsize>(std::fwrite(s, 1, static_cast<size_t>(n), stderr));
    }
  } to_stderr;
  std::ostream out(&to_stderr);
  for (const bool threads : {false, true}) {
    SCOPED_TRACE(threads ? "threads" : "direct");
    PendingText text(&out);
    PieceWriter document(&text);
    std::unique_ptr<ItemOutput> output = std::make_unique<DirectOutput>(&document);
    if (threads)
      output = std::make_unique<ParallelOutput>(
          &document, &text, [](PendingText* t) { return std::make_unique<PieceWriter>(t); },
          ParallelOutput::Settings{.threads = 2, .batch_items = 2, .batch_bytes = 1 << 30});
    ::testing::internal::CaptureStderr();
    ArchiveItem item;
    for (item.time_low = 1; item.time_low <= 9; ++item.time_low) {
      if (item.time_low == 5 || item.time_low == 6)
        output->Report({"before " + std::to_string(item.time_low)});
      output->Write(item, nullptr);
    }
    output->Report({"after the last"});
    output->Finish();
    document.endDocument(0);
    std::string shown = ::testing::internal::GetCapturedStderr();
    std::erase(shown, '.');  // the padding
    EXPECT_EQ(shown, "1\n2\n3\n4\nbefore 5\n5\nbefore 6\n6\n7\n8\n9\nafter the last\n");
  }
}

}  // namespace
}  // namespace qorarc
