// AReadState, the export loop: reads archive files front to back through a
// sliding buffer, decodes their records and hands every item, and what it
// has to say about the files, to an ItemSink that the caller passes in. It
// knows neither the filter's decisions nor the writers.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "archive/archive_format.h"
#include "archive/discovery.h"

namespace qorarc {

// Where the export loop stands in its files, for a cursor that a later run
// resumes from (app/state_cursor.h).
struct ReadPosition {
  size_t file = 0;      // index into the files given to Export()
  uint64_t offset = 0;  // bytes consumed: the end of the last whole record
  uint16_t day = 0;     // the day number in force at `offset`
  uint64_t device = 0;  // the file's identity when it was read
  uint64_t inode = 0;
  // A bad record at `offset` was handed on and ended the file: nothing of
  // the file after it is read, now or later.
  bool rest_skipped = false;
};

// Where the loop begins in one file, for a cursor that resumes.
struct FileStart {
  bool skip = false;      // nothing of the file is to be read
  uint64_t offset = 0;    // begin here, the end of a whole record,
  uint16_t day = 0;       // with this day number in force
  // A record cut short at the end of the file is one still being written,
  // not damage: it is neither handed on nor reported.
  bool hold_tail = false;
};

// Receives what the export loop reads, in the manner of a corruption
// reporter: one narrow interface for items and for the loop's messages.
class ItemSink {
 public:
  virtual ~ItemSink();
  // Asked before every record: true ends the whole export.
  virtual bool Done() const = 0;
  // A file is about to be read (also when it then cannot be opened).
  virtual void FileStarted(const std::string& path) = 0;
  // One decoded item, or the bad-record item that ends a damaged file.
  // Returns false to stop reading this file.
  virtual bool Item(const ArchiveItem& item) = 0;
  // The file could not be read to its end: a bad record that was taken, or
  // an overlong string record.
  virtual void Corruption(const std::string& path) = 0;
  // The file could not be opened or read: `error_number` is the errno of
  // the failed call. Items read before it have been handed over.
  virtual void ReadFailed(const std::string& path, int error_number) = 0;
  // A record has been consumed: a day marker, an item the sink took (after
  // Item() returned true), or a bad record that was taken.
  virtual void Consumed(const ReadPosition& position) { (void)position; }
};

class AReadState {
 public:
  // `capacity` is the read buffer's size; it is raised to hold two of the
  // longest records.
  explicit AReadState(size_t capacity = kDefaultCapacity);
  virtual ~AReadState();
  AReadState(const AReadState&) = delete;
  AReadState& operator=(const AReadState&) = delete;

  // Reads every file in order, handing what it finds to `*sink`, until the
  // files end or the sink is done. `starts`, one per file, resumes a cursor;
  // empty: every file from its start.
  void Export(const std::vector<ArchiveFileEntry>& files, ItemSink* sink,
              const std::vector<FileStart>& starts = {});

  // Bytes read from the files so far, for a progress display.
  uint64_t bytes_read() const { return bytes_read_; }

  static constexpr size_t kDefaultCapacity = 256 * 1024;

 private:
  enum class FileEnd { kNext, kStopAll };

  // `index`: the file's place among the files.
  FileEnd ExportFile(const std::string& path, ItemSink* sink, size_t index,
                     const FileStart& start);
  // The position after the bytes consumed so far in the current file.
  ReadPosition Position(size_t file, bool rest_skipped) const;
  // Opens a regular file: returns 0, the errno of the failed call, or
  // kNotRegular for anything else (a FIFO or a directory put in its place).
  int Open(const std::string& path);
  static constexpr int kNotRegular = -1;
  void Close();
  // Moves the unread bytes to the front and reads more behind them.
  void Refill();

  std::unique_ptr<uint8_t[]> buffer_;
  size_t capacity_;
  size_t valid_ = 0;
  size_t position_ = 0;
  int fd_ = -1;
  uint64_t file_offset_ = 0;  // the file's offset of buffer_[0]
  uint64_t device_ = 0;
  uint64_t inode_ = 0;
  bool at_eof_ = true;
  int read_error_ = 0;  // errno of a failed read of the current file
  uint16_t day_ = 0;
  uint64_t bytes_read_ = 0;
  ArchiveItem item_;
};

}  // namespace qorarc
