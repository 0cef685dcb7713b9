// Where the item processor sends the items to write: straight to one writer,
// or in batches to writer threads (export/parallel_output.h).
#pragma once

#include "archive/archive_format.h"
#include "export/item_view.h"

namespace qorarc {

class Writer;

class ItemOutput {
 public:
  virtual ~ItemOutput();
  // Writes one item, or queues it; may throw what the writer throws.
  virtual void Write(const ArchiveItem& item) = 0;
  // Writes everything queued, in order. Called once, after the last Write.
  virtual void Finish() {}
  // True once a write to the output has failed: the export may stop.
  virtual bool Failed() const = 0;
};

// Builds each item's view and hands it to the writer at once.
class DirectOutput : public ItemOutput {
 public:
  explicit DirectOutput(Writer* writer) : writer_(writer) {}
  void Write(const ArchiveItem& item) override;
  bool Failed() const override;

 private:
  Writer* writer_;
  ViewBuilder views_;
};

}  // namespace qorarc
