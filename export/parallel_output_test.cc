#include "export/parallel_output.h"

#include <gtest/gtest.h>

#include <memory>
#include <sstream>

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
    for (size_t i = 0; i <= c.batch_items; ++i) output.Write(item);
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

}  // namespace
}  // namespace qorarc
