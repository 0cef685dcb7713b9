// The parallel export's item output. The reading thread queues the items to
// write in batches; worker threads format each batch with a writer of their
// own into a block of text; the reading thread writes the blocks to the
// stream in their order. Each worker's writer is first brought to the state
// the document's writer would be in at that point (inside the item list,
// after an item), so the blocks join into exactly the
// document that one writer writes.
#pragma once

#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <exception>
#include <functional>
#include <memory>
#include <mutex>
#include <ostream>
#include <string>
#include <thread>
#include <vector>

#include "archive/archive_format.h"
#include "export/item_output.h"
#include "export/item_view.h"

namespace qorarc {

class Writer;

class ParallelOutput : public ItemOutput {
 public:
  // Makes a writer of the same kind and settings as the document's, over
  // another stream.
  using WriterFactory = std::function<std::unique_ptr<Writer>(std::ostream* out)>;

  // `document` has begun the document and writes its end after Finish(),
  // and every block goes out through it; it writes the first `batch_items` items itself, as without
  // threads. With the second batch, `threads` - 1 workers start, and this
  // thread formats batches too while it waits for one.
  ParallelOutput(Writer* document, WriterFactory make_writer, int threads, size_t batch_items);
  // Stops and joins the workers; blocks not yet written are dropped.
  ~ParallelOutput() override;

  void Write(const ArchiveItem& item) override;
  void Finish() override;
  bool Failed() const override;

  // Items queued in a batch at most, and batches in flight at most per
  // worker, which bounds the memory of an export.
  static constexpr size_t kDefaultBatchItems = 4096;
  static constexpr size_t kBatchesPerWorker = 2;

 private:
  struct Batch;
  struct Worker;

  void Submit();
  void WriteOldest();
  // Writes every queued item, in order, before the document's writer
  // writes on its own.
  void Drain();
  std::unique_ptr<Worker> MakeWorker();
  void StartWorkers();
  void RunWorker(Worker* worker);
  // Formats `*batch` with the writer of `*worker`.
  void Format(Worker* worker, Batch* batch);

  Writer* document_;
  WriterFactory make_writer_;
  int threads_;
  size_t batch_items_;
  ViewBuilder views_;
  size_t direct_items_ = 0;  // items the document's writer wrote itself

  std::unique_ptr<Batch> current_;
  std::vector<std::unique_ptr<Batch>> spare_;
  std::deque<std::unique_ptr<Batch>> in_flight_;  // in document order

  std::mutex mutex_;
  std::condition_variable work_ready_;
  std::condition_variable batch_done_;
  std::deque<Batch*> todo_;  // guarded by mutex_
  bool stopping_ = false;    // guarded by mutex_
  std::vector<std::unique_ptr<Worker>> workers_;
  std::unique_ptr<Worker> helper_;  // this thread's, once the workers run
};

}  // namespace qorarc
