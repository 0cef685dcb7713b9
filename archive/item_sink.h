// The stream of items the export loop reads (archive/read_state.h): each
// item, each record consumed, and whether to read on.
#pragma once

#include "archive/archive_format.h"
#include "archive/read_position.h"

namespace qorarc {

class ItemSink {
 public:
  virtual ~ItemSink() = default;
  // Asked before every record: true ends the whole export.
  virtual bool Done() const = 0;
  // One decoded item, or the bad-record item that ends a damaged file.
  // Returns false to stop reading this file.
  virtual bool Item(const ArchiveItem& item) = 0;
  // A record has been consumed: a day marker, an item the sink took (after
  // Item() returned true), or a bad record that was taken.
  virtual void Consumed(const ReadPosition& position) { (void)position; }
};

}  // namespace qorarc
