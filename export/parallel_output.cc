#include "export/parallel_output.h"

#include <cstring>
#include <utility>

#include "export/writer.h"

namespace qorarc {
namespace {

// An item as a batch keeps it: the record's fields without its 512-byte
// value array; the value bytes and the text follow in the batch's arena.
struct QueuedItem {
  uint32_t time_low;
  uint16_t time_high;
  uint16_t id;
  uint16_t day;
  uint8_t type;
  uint8_t count;
  uint16_t value_size;
  uint32_t text_size;
};

// Value bytes an item shows from: the first 8 (scalars, string lengths,
// alarm words) or an array's elements.
size_t ValueBytesOf(const ArchiveItem& item) {
  const int code = item.code();
  if (ShapeOf(code) != ValueShape::kArray) return 8;
  const size_t bytes = ArrayValueBytes(code, item.count);
  return bytes < 8 ? 8 : bytes;
}

// Calls write(item) for each item of a batch, unpacked into `*item`.
template <typename Write>
void ForEachItem(const std::vector<QueuedItem>& items, const std::string& arena, ArchiveItem* item,
                 Write write) {
  size_t offset = 0;
  for (const QueuedItem& queued : items) {
    item->time_low = queued.time_low;
    item->time_high = queued.time_high;
    item->id = queued.id;
    item->day = queued.day;
    item->type = queued.type;
    item->count = queued.count;
    std::memcpy(item->value, arena.data() + offset, queued.value_size);
    offset += queued.value_size;
    item->text.assign(arena, offset, queued.text_size);
    offset += queued.text_size;
    write(*item);
  }
}

// Brings a writer that has begun its document to the state after one item,
// without output: what follows then is written as the next item.
void PassOneItem(Writer* writer) {
  writer->writeItem(ExportItem{});
  writer->DiscardPending();
}

}  // namespace

struct ParallelOutput::Batch {
  std::vector<QueuedItem> items;
  std::string arena;
  PendingText block;           // the formatted text, once done
  std::exception_ptr error;    // what formatting threw, if anything
  bool done = false;           // guarded by mutex_

  void Clear() {
    items.clear();
    arena.clear();
    block.size = 0;
    error = nullptr;
    done = false;
  }
};

struct ParallelOutput::Worker {
  // The writer keeps its text and hands it over: nothing reaches the stream.
  std::ostream stream{nullptr};
  std::unique_ptr<Writer> writer;
  bool begun = false;
  ViewBuilder views;
  ArchiveItem item;
  std::thread thread;
};

ParallelOutput::ParallelOutput(Writer* document, WriterFactory make_writer, int threads,
                               size_t batch_items)
    : document_(document),
      make_writer_(std::move(make_writer)),
      threads_(threads < 1 ? 1 : threads),
      batch_items_(batch_items < 1 ? 1 : batch_items),
      current_(std::make_unique<Batch>()) {}

ParallelOutput::~ParallelOutput() {
  {
    std::lock_guard<std::mutex> lock(mutex_);
    stopping_ = true;
  }
  work_ready_.notify_all();
  for (const std::unique_ptr<Worker>& worker : workers_) worker->thread.join();
}

void ParallelOutput::Write(const ArchiveItem& item) {
  if (direct_items_ < batch_items_) {
    // The first batch is written as one thread writes it: a small export
    // needs no threads, and an output that fails at once stops the export
    // at the very item where one thread stops it.
    ++direct_items_;
    document_->writeItem(views_.Build(item));
    return;
  }
  const int code = item.code();
  if (document_->Refuses(code, ValueCount(code, item.count))) {
    // The item ends the export: everything before it is written first, and
    // the document's writer fails on it as it would without threads.
    Drain();
    document_->writeItem(views_.Build(item));
    return;
  }
  Batch& batch = *current_;
  const size_t value_size = ValueBytesOf(item);
  batch.items.push_back({item.time_low, item.time_high, item.id, item.day, item.type,
                         item.count, static_cast<uint16_t>(value_size),
                         static_cast<uint32_t>(item.text.size())});
  batch.arena.append(reinterpret_cast<const char*>(item.value), value_size);
  batch.arena.append(item.text);
  if (batch.items.size() >= batch_items_) Submit();
}

void ParallelOutput::Finish() { Drain(); }

bool ParallelOutput::Failed() const { return document_->failed(); }

void ParallelOutput::Drain() {
  if (!current_->items.empty()) Submit();
  while (!in_flight_.empty()) WriteOldest();
}

void ParallelOutput::Submit() {
  if (helper_ == nullptr) StartWorkers();
  Batch* batch = current_.get();
  in_flight_.push_back(std::move(current_));
  {
    std::lock_guard<std::mutex> lock(mutex_);
    todo_.push_back(batch);
  }
  work_ready_.notify_one();
  if (spare_.empty()) {
    current_ = std::make_unique<Batch>();
  } else {
    current_ = std::move(spare_.back());
    spare_.pop_back();
  }
  while (in_flight_.size() > kBatchesPerWorker * static_cast<size_t>(threads_)) WriteOldest();
}

void ParallelOutput::WriteOldest() {
  Batch& batch = *in_flight_.front();
  for (;;) {
    // Rather than wait, this thread formats a batch no worker has taken.
    Batch* waiting = nullptr;
    {
      std::unique_lock<std::mutex> lock(mutex_);
      if (batch.done) break;
      if (todo_.empty()) {
        batch_done_.wait(lock, [&batch] { return batch.done; });
        break;
      }
      waiting = todo_.front();
      todo_.pop_front();
    }
    Format(helper_.get(), waiting);
  }
  if (batch.error) std::rethrow_exception(batch.error);
  // The document's writer has written the first batch: the block follows
  // its text, and it stands after an item, ready for the next or the end.
  document_->WriteBlock(reinterpret_cast<const char*>(batch.block.data.get()), batch.block.size);
  batch.Clear();
  spare_.push_back(std::move(in_flight_.front()));
  in_flight_.pop_front();
}

std::unique_ptr<ParallelOutput::Worker> ParallelOutput::MakeWorker() {
  auto worker = std::make_unique<Worker>();
  worker->writer = make_writer_(&worker->stream);
  worker->writer->CollectText();
  worker->item.text.reserve(kMaxRecordBytes);
  return worker;
}

void ParallelOutput::StartWorkers() {
  // This thread is one of the threads: it reads, and formats when it would
  // otherwise wait.
  helper_ = MakeWorker();
  for (int i = 1; i < threads_; ++i) workers_.push_back(MakeWorker());
  for (const std::unique_ptr<Worker>& worker : workers_)
    worker->thread = std::thread(&ParallelOutput::RunWorker, this, worker.get());
}

void ParallelOutput::RunWorker(Worker* worker) {
  for (;;) {
    Batch* batch = nullptr;
    {
      std::unique_lock<std::mutex> lock(mutex_);
      work_ready_.wait(lock, [this] { return stopping_ || !todo_.empty(); });
      if (stopping_) return;
      batch = todo_.front();
      todo_.pop_front();
    }
    Format(worker, batch);
  }
}

void ParallelOutput::Format(Worker* worker, Batch* batch) {
  try {
    Writer* writer = worker->writer.get();
    if (!worker->begun) {
      // Every batch follows the first, which the document's writer wrote.
      writer->beginDocument();
      PassOneItem(writer);
      worker->begun = true;
    }
    ForEachItem(batch->items, batch->arena, &worker->item, [worker](const ArchiveItem& item) {
      worker->writer->writeItem(worker->views.Build(item));
    });
    writer->HandOverText(&batch->block);
  } catch (...) {
    batch->error = std::current_exception();
  }
  {
    std::lock_guard<std::mutex> lock(mutex_);
    batch->done = true;
  }
  batch_done_.notify_all();
}

}  // namespace qorarc
