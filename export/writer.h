// The abstract writer of an export document. Where it writes, a stream or a
// pending text, is its WriterTarget (export/writer_target.h).
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <utility>

#include "export/export_item.h"
#include "export/writer_target.h"
#include "output/pending_text.h"

namespace qorarc {

// Receives the items of one export and turns them into a whole document on
// the stream. Stream errors stay in the stream's state bits: no operation
// reports them, the caller checks the stream after endDocument(); failed()
// tells the export loop early.
//
// A writer's state after writeItem() does not depend on the item: two
// writers of the same kind and settings that have begun the same document
// and written any one item each are in the same state. The parallel export
// relies on this: a worker's writer, brought past one item, formats the
// items of any later batch exactly as the document's writer would.
//
// Its operations keep the names the runtime's design gives the writers, in
// lowerCamel case, all of them.
class Writer {
 public:
  // The caller keeps the stream, or the pending text, until the writer is
  // gone.
  explicit Writer(WriterTarget target);
  virtual ~Writer();
  Writer(const Writer&) = delete;
  Writer& operator=(const Writer&) = delete;

  // Writes what precedes the first item.
  virtual void beginDocument() = 0;
  virtual void writeItem(const ExportItem& item) = 0;
  // Sends the pending text to the stream, empties it and flushes the stream.
  virtual void flush();
  // Writes what follows the last item, then flush(). `total` is the number
  // of items that passed the filter, for a writer that shows it.
  virtual void endDocument(int32_t total) = 0;
  // Instead of the four operations: the document of an export that found
  // no archive files, then flush().
  virtual void writeEmptyResult() = 0;

  // Whether writeItem() reads the item's date and time texts. A writer that
  // formats the time stamp itself says no, and its items are built without
  // them (export/view_builder.h).
  virtual bool showsDateTime() const { return true; }

  // More than the bytes of text writeItem() makes of an item with value
  // code `code`, count byte `count` and a text of `text_bytes` bytes: what
  // the threaded export measures a batch by before it is formatted. It fits
  // every layout here: the fixed cells, the text escaped at six bytes a
  // byte, and lineBound() bytes for each element.
  size_t textBound(int code, uint8_t count, size_t text_bytes) const;

  // The most one element of an array adds: 128 bytes fit a row of long CSV
  // and an indented real of pretty JSON; a writer whose lines repeat more
  // (a tag set, a label set) says how much.
  virtual size_t lineBound() const { return 128; }

  // True once a piece could not be written, or the writer could not go on:
  // the export may stop. Checked when a piece goes out, so asking costs
  // nothing per item.
  bool failed() const { return pending_.failed; }
  // Why the writer itself could not go on (not the stream's failure, which
  // shows in the stream), as a line for the user; empty while it can.
  const std::string& error() const { return error_; }

 protected:
  // Ends the document: nothing more goes out, and the run fails with
  // `reason`. The first reason stays.
  void Fail(std::string reason) {
    if (error_.empty()) error_ = std::move(reason);
    pending_.failed = true;
  }

  std::unique_ptr<PendingText> own_text_;  // with a stream as the target
  PendingText& pending_;

 private:
  std::string error_;
};

}  // namespace qorarc
