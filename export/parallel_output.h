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
//   batches in flight and spare, the workers' list and `helper_`.
// - `mutex_` guards `todo_`, `stopping_` and every batch's `done` flag.
// - A batch is handed over twice: the reading thread fills it and, under
//   the mutex, puts it on `todo_`; the thread that takes it off `todo_`
//   (a worker, or the reading thread itself while it waits) owns its text,
//   item ends and error until it sets `done` under the mutex; then the
//   reading thread owns all of it again. The items, arena and messages are
//   only read after the first hand-over.
// - A worker's writer, text, views and item belong to the thread running it.
#pragma once

#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <vector>

#include "archive/archive_format.h"
#include "export/item_output.h"
#include "export/item_view.h"

namespace qorarc {

class CompressingStreambuf;
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
    // The document's stream compresses (-o NAME.gz, NAME.zst): the workers
    // compress each block as a member of its own, which goes out whole.
    CompressingStreambuf* compressor = nullptr;
    // The document is JSON, which has no form for a text array
    // (IsTextWithoutForm): such an item ends the export, and reading stops
    // there, as with one thread.
    bool ends_at_text_without_form = false;
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
  // batches too while it waits for one.
  ParallelOutput(Writer* document, PendingText* text, WriterFactory make_writer,
                 Settings settings);
  // Stops and joins the workers; blocks not yet written are dropped.
  ~ParallelOutput() override;

  void Write(const ArchiveItem& item) override;
  void Report(LoopMessage message) override;
  void Finish() override;
  bool Failed() const override;

  // Worker threads started: none until the first batch goes to them.
  size_t workers() const { return workers_.size(); }

 private:
  struct Batch;
  struct Worker;

  void Submit();
  void WriteOldest();
  // Writes a compressed block whole, with the messages around it.
  void WriteCompressedBlock(Batch* batch);
  // Writes a block item by item, with the messages between them.
  void WriteItems(Batch* batch);
  std::unique_ptr<Worker> MakeWorker();
  void StartWorkers();
  void RunWorker(Worker* worker);
  // Formats `*batch` with the writer of `*worker`.
  void Format(Worker* worker, Batch* batch);

  Writer* document_;
  PendingText* text_;
  WriterFactory make_writer_;
  Settings settings_;
  ViewBuilder views_;
  size_t direct_items_ = 0;  // items the document's writer wrote itself
  bool stopped_ = false;     // a write failed: nothing more is written
  ArchiveItem refused_;      // an item whose formatting threw, rebuilt

  std::unique_ptr<Batch> current_;
  std::vector<std::unique_ptr<Batch>> spare_;
  std::deque<std::unique_ptr<Batch>> in_flight_;  // in document order
  size_t bytes_in_flight_ = 0;

  std::mutex mutex_;
  std::condition_variable work_ready_;
  std::condition_variable batch_done_;
  std::deque<Batch*> todo_;  // guarded by mutex_
  bool stopping_ = false;    // guarded by mutex_
  std::vector<std::unique_ptr<Worker>> workers_;
  std::unique_ptr<Worker> helper_;  // this thread's, once the workers run
};

}  // namespace qorarc
