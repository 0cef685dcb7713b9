#include "export/parallel_output.h"

#include <cstring>
#include <new>
#include <string>
#include <type_traits>
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
  bool left_out;  // a RowMask follows the text
};

// Value bytes an item shows from: the first 8 (scalars, string lengths,
// alarm words) or an array's elements.
size_t ValueBytesOf(const ArchiveItem& item) {
  const int code = item.code();
  if (ShapeOf(code) != ValueShape::kArray) return 8;
  const size_t bytes = ArrayValueBytes(code, item.count);
  return bytes < 8 ? 8 : bytes;
}

// Unpacks the item at `*offset` of a batch's arena into `*item` and moves
// the offset past it.
void Unpack(const QueuedItem& queued, const std::string& arena, size_t* offset,
            ArchiveItem* item) {
  item->time_low = queued.time_low;
  item->time_high = queued.time_high;
  item->id = queued.id;
  item->day = queued.day;
  item->type = queued.type;
  item->count = queued.count;
  std::memcpy(item->value, arena.data() + *offset, queued.value_size);
  *offset += queued.value_size;
  item->text.assign(arena, *offset, queued.text_size);
  *offset += queued.text_size;
}

// A RowMask travels in the arena as its bytes.
static_assert(std::is_trivially_copyable_v<RowMask>);

// Unpacks the RowMask of an item, if it has one, from `*offset` into
// `*mask` and moves the offset past it; null for an item without.
const RowMask* UnpackMask(const QueuedItem& queued, const std::string& arena, size_t* offset,
                          RowMask* mask) {
  if (!queued.left_out) return nullptr;
  std::memcpy(static_cast<void*>(mask), arena.data() + *offset, sizeof(RowMask));
  *offset += sizeof(RowMask);
  return mask;
}

// Brings a writer that has begun its document to the state after one item,
// without output: what follows then is written as the next item.
void PassOneItem(Writer* writer, PendingText* text) {
  writer->writeItem(ExportItem{});
  text->size = 0;
}

}  // namespace

struct ParallelOutput::Batch : WorkJob {
  // Filled by the reading thread.
  std::vector<QueuedItem> items;
  std::string arena;
  std::vector<std::pair<size_t, LoopMessage>> messages;  // each before item `first`
  size_t text_bound = 0;
  // Filled by the formatting thread.
  PendingText block;               // the items' text, one after the other
  std::vector<size_t> item_ends;   // where each formatted item's text ends

  void Clear() {
    items.clear();
    arena.clear();
    messages.clear();
    text_bound = 0;
    block.size = 0;
    item_ends.clear();
  }
};

struct ParallelOutput::Formatter {
  // Collects its text (no stream) in each batch's buffer, which it takes as
  // its own while it formats that batch: it needs none of its own. The
  // writer is made by the thread that formats with it, on its first batch.
  PendingText text{nullptr, 0};
  std::unique_ptr<Writer> writer;
  ViewBuilder views;
  ArchiveItem item;
  RowMask left_out;
};

ParallelOutput::ParallelOutput(Writer* document, PendingText* text, WriterFactory make_writer,
                               Settings settings)
    : document_(document),
      text_(text),
      make_writer_(std::move(make_writer)),
      settings_(settings),
      views_(document->showsDateTime()),
      current_(std::make_unique<Batch>()),
      work_([this](WorkJob* job, size_t thread) {
        Format(formatters_[thread].get(), static_cast<Batch*>(job));
      }) {
  if (settings_.threads < 1) settings_.threads = 1;
  if (settings_.batch_items < 1) settings_.batch_items = 1;
  if (settings_.batch_bytes < 1) settings_.batch_bytes = 1;
}

ParallelOutput::~ParallelOutput() = default;

void ParallelOutput::Write(const ArchiveItem& item, const RowMask* left_out) {
  if (direct_items_ < settings_.batch_items) {
    // The first batch is written as one thread writes it: a small export
    // needs no threads, and an output that fails at once stops the export
    // at the very item where one thread stops it.
    ++direct_items_;
    ExportItem view = views_.Build(item);
    view.left_out = left_out;
    document_->writeItem(view);
    return;
  }
  Batch& batch = *current_;
  const size_t value_size = ValueBytesOf(item);
  batch.items.push_back({item.time_low, item.time_high, item.id, item.day, item.type,
                         item.count, static_cast<uint16_t>(value_size),
                         static_cast<uint32_t>(item.text.size()), left_out != nullptr});
  batch.arena.append(reinterpret_cast<const char*>(item.value), value_size);
  batch.arena.append(item.text);
  if (left_out != nullptr)
    batch.arena.append(reinterpret_cast<const char*>(left_out), sizeof(RowMask));
  batch.text_bound += document_->textBound(item.code(), item.count, item.text.size());
  if (batch.items.size() >= settings_.batch_items || batch.text_bound >= settings_.batch_bytes)
    Submit();
}

void ParallelOutput::Report(LoopMessage message) {
  if (stopped_) return;
  if (current_->items.empty() && in_flight_.empty()) {
    Show(message);
    return;
  }
  current_->messages.emplace_back(current_->items.size(), std::move(message));
}

void ParallelOutput::Finish() {
  if (!current_->items.empty() || !current_->messages.empty()) Submit();
  while (!in_flight_.empty()) WriteOldest();
}

bool ParallelOutput::Failed() const { return text_->failed; }

void ParallelOutput::Submit() {
  if (!started_) StartWorkers();
  Batch* batch = current_.get();
  bytes_in_flight_ += batch->text_bound;
  in_flight_.push_back(std::move(current_));
  work_.Submit(batch);
  if (spare_.empty()) {
    current_ = std::make_unique<Batch>();
  } else {
    current_ = std::move(spare_.back());
    spare_.pop_back();
  }
  // Memory stays bounded: the oldest blocks go out before more are made.
  while (!in_flight_.empty() &&
         (bytes_in_flight_ > kMaxBytesInFlight ||
          in_flight_.size() > 2 * formatters_.size()))
    WriteOldest();
}

void ParallelOutput::WriteOldest() {
  Batch& batch = *in_flight_.front();
  work_.Wait(&batch);
  WriteItems(&batch);
  bytes_in_flight_ -= batch.text_bound;
  batch.Clear();
  spare_.push_back(std::move(in_flight_.front()));
  in_flight_.pop_front();
  if (stopped_) {
    // One thread stops at the failed write: what was read past it is
    // neither written nor reported.
    for (std::unique_ptr<Batch>& later : in_flight_) later->messages.clear();
    current_->messages.clear();
  }
}

void ParallelOutput::WriteItems(Batch* batch_pointer) {
  Batch& batch = *batch_pointer;
  // The document's writer stands after an item: each item's text follows,
  // with the messages read before it, until a write fails. Runs of items
  // within which no piece can be ready go in one copy; an item that may
  // complete a piece goes through the document's own piece rule.
  const size_t n = batch.items.size();
  const char* text = reinterpret_cast<const char*>(batch.block.data.get());
  size_t next_message = 0;
  size_t start = 0;  // where item i's text begins in the block
  for (size_t i = 0; i <= n && !stopped_;) {
    for (; next_message < batch.messages.size() && batch.messages[next_message].first == i;
         ++next_message)
      Show(batch.messages[next_message].second);
    if (i == n) break;
    const size_t stop = next_message < batch.messages.size()
                            ? batch.messages[next_message].first
                            : batch.item_ends.size();
    const size_t room = text_->size < text_->piece_size ? text_->piece_size - text_->size : 0;
    size_t j = i;
    while (j < stop && batch.item_ends[j] - start < room) ++j;
    if (j > i) {
      // Items i to j - 1 complete no piece: copied when no item of this run
      // completes one after them, else sent on ahead of it.
      const size_t end = batch.item_ends[j - 1];
      if (j == stop) {
        text_->SetEnd(CopyText(text_->Reserve(end - start), std::string_view(text + start, end - start)));
      } else {
        text_->WriteThrough(text + start, end - start);
      }
      start = end;
      i = j;
      continue;
    }
    text_->AppendItem(text + start, batch.item_ends[i] - start);
    start = batch.item_ends[i];
    ++i;
    if (text_->failed) stopped_ = true;
  }
}

void ParallelOutput::StartWorkers() {
  // This thread is one of the threads: it reads, and formats when it would
  // otherwise wait. A thread the system refuses, or the memory for its
  // formatter (a process or memory limit), is done without: the export
  // goes on with the threads it has, down to this one.
  started_ = true;
  formatters_.push_back(std::make_unique<Formatter>());
  const size_t wanted = static_cast<size_t>(settings_.threads);
  while (formatters_.size() < wanted) {
    std::unique_ptr<Formatter> formatter(new (std::nothrow) Formatter);
    if (formatter == nullptr) break;
    formatters_.push_back(std::move(formatter));
  }
  formatters_.resize(1 + work_.Start(formatters_.size() - 1));
}

void ParallelOutput::Format(Formatter* formatter, Batch* batch) {
  // The formatter writes into the batch's buffer and gets its own,
  // unwritten, back at the end: the only buffers that hold text are the
  // batches'. A batch may be formatted a second time, by this thread after
  // a worker failed on it: it starts from its items each time.
  PendingText& text = formatter->text;
  text.Exchange(&batch->block);
  text.size = 0;
  batch->item_ends.clear();
  Writer* writer = formatter->writer.get();
  if (writer == nullptr) {
    // Every batch follows the first, which the document's writer wrote.
    formatter->item.text.reserve(kMaxRecordBytes);
    formatter->writer = make_writer_(&text);
    writer = formatter->writer.get();
    formatter->views = ViewBuilder(writer->showsDateTime());
    writer->beginDocument();
    PassOneItem(writer, &text);
  }
  size_t offset = 0;
  for (const QueuedItem& queued : batch->items) {
    Unpack(queued, batch->arena, &offset, &formatter->item);
    ExportItem view = formatter->views.Build(formatter->item);
    view.left_out = UnpackMask(queued, batch->arena, &offset, &formatter->left_out);
    writer->writeItem(view);
    batch->item_ends.push_back(text.size);
  }
  batch->block.Exchange(&text);
}

}  // namespace qorarc
