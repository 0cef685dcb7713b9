// Where the item processor sends the items to write, and the export loop's
// messages, which must appear in order with the items around them: straight
// to one writer, or in batches to writer threads (export/parallel_output.h).
#pragma once

#include <string>

#include "archive/archive_format.h"
#include "export/row_mask.h"
#include "export/view_builder.h"

namespace qorarc {

class Writer;

// A message of the export loop: a verbose line, or a file that could not be
// read, which is always shown and makes the export's status 2.
struct LoopMessage {
  std::string line;
  bool read_failure = false;
};

class ItemOutput {
 public:
  virtual ~ItemOutput();
  // Writes one item, or queues it. `left_out`: the rows its writer leaves
  // out, or null; only read during the call.
  virtual void Write(const ArchiveItem& item, const RowMask* left_out) = 0;
  // Shows `message` once the items before it have been written, and not at
  // all when writing them failed: as one thread that stops at a failed
  // write would never have read on to it.
  virtual void Report(LoopMessage message) = 0;
  // Writes everything queued, in order. Called once, after the last Write.
  virtual void Finish() {}
  // True once a write to the output has failed: the export may stop.
  virtual bool Failed() const = 0;

  // A message about a file that could not be read has been shown.
  bool read_failed() const { return read_failed_; }

 protected:
  // Prints the message on standard error and remembers a read failure.
  void Show(const LoopMessage& message);

 private:
  bool read_failed_ = false;
};

// Builds each item's view and hands it to the writer at once.
class DirectOutput : public ItemOutput {
 public:
  explicit DirectOutput(Writer* writer);
  void Write(const ArchiveItem& item, const RowMask* left_out) override;
  void Report(LoopMessage message) override { Show(message); }
  bool Failed() const override;

 private:
  Writer* writer_;
  ViewBuilder views_;
};

}  // namespace qorarc
