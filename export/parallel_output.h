// The parallel export's item output. The reading thread queues the items to
// write in batches; worker threads format each batch with a writer of their
// own into a block of text; the reading thread writes the blocks to the
// document's pending text in their order, item by item, so that pieces go
// to the stream at the very items where one writer's pieces go. Each
// worker's writer is first brought to the state the document's writer would
// be in at that point (inside the item list, after an item: see the state
// rule in export/writer.h), so the blocks join into exactly the document
// that one writer writes.
//
// Thread safety:
// - The reading thread (the one that calls the public members) owns the
//   document's writer and text, the batch being filled (`current_`), the
//   batches in flight and spare.
// - A batch is handed over twice, through the ordered work queue
//   (base/ordered_work.h): the reading thread fills it and submits it;
//   the thread that runs it (a worker, or the reading thread itself while
//   it waits) owns its text and item ends until it is done; then the
//   reading thread owns all of it again. The items, arena (with the rows
//   each writer leaves out, ExportItem::left_out) and messages are only
//   read after the first hand-over.
// - A formatter's writer, text, views and item belong to the thread
//   numbered as it is in the queue; a worker that fails (out of memory)
//   leaves its batch to the reading thread and formats no more.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <vector>

#include "archive/archive_format.h"
#include "base/ordered_work.h"
#include "export/item_output.h"
#include "export/view_builder.h"

namespace qorarc {

class Writer;
struct PendingText;

class ParallelOutput : public ItemOutput {
 public:
  // Makes a writer of the same kind and settings as the document's, writing
  // into `*text`.
  using WriterFactory = std::function<std::unique_ptr<Writer>(PendingText* text)>;

  struct Settings {
    int threads = 1;
    // A batch holds at most this many items, and at most about this many
    // bytes of text (estimated before formatting, from above).
    size_t batch_items = kDefaultBatchItems;
    size_t batch_bytes = kDefaultBatchBytes;
  };

  static constexpr size_t kDefaultBatchItems = 4096;
  static constexpr size_t kDefaultBatchBytes = 1024 * 1024;
  // Batches in flight hold at most this many estimated bytes in all,
  // whatever the number of threads: the export's memory stays flat.
  static constexpr size_t kMaxBytesInFlight = 8 * 1024 * 1024;

  // `document` writes into `*text` and has begun the document; it writes the
  // first batch_items items itself, as without threads, and the document's
  // end after Finish(). With the second batch, up to threads - 1 workers
  // start (fewer where the system refuses a thread), and this thread formats
  // batches too while it waits for one. A thread that cannot be had, or
  // runs out of memory, is done without: the same text results.
  ParallelOutput(Writer* document, PendingText* text, WriterFactory make_writer,
                 Settings settings);
  // Stops and joins the workers; blocks not yet written are dropped.
  ~ParallelOutput() override;

  void Write(const ArchiveItem& item, const RowMask* left_out) override;
  void Report(LoopMessage message) override;
  void Finish() override;
  bool Failed() const override;

  // Worker threads started: none until the first batch goes to them.
  size_t workers() const { return work_.workers(); }

 private:
  struct Batch;
  struct Formatter;

  void Submit();
  void WriteOldest();
  // Writes a block item by item, with the messages between them.
  void WriteItems(Batch* batch);
  void StartWorkers();
  // Formats `*batch` with the writer of `*formatter`.
  void Format(Formatter* formatter, Batch* batch);

  Writer* document_;
  PendingText* text_;
  WriterFactory make_writer_;
  Settings settings_;
  ViewBuilder views_;
  size_t direct_items_ = 0;  // items the document's writer wrote itself
  bool stopped_ = false;     // a write failed: nothing more is written
  bool started_ = false;     // the workers were started

  std::unique_ptr<Batch> current_;
  std::vector<std::unique_ptr<Batch>> spare_;
  std::deque<std::unique_ptr<Batch>> in_flight_;  // in document order
  size_t bytes_in_flight_ = 0;

  // One per thread of `work_`, by its number: 0 is this thread's.
  std::vector<std::unique_ptr<Formatter>> formatters_;
  OrderedWork work_;  // last: its threads stop before the rest goes
};

}  // namespace qorarc
