// AReadState, the export loop: reads archive files front to back through a
// sliding buffer, decodes their records and hands every item to an
// ItemSink, and what it has to say about the files to a LoopReporter, both
// passed in by the caller. It knows neither the filter's decisions nor the
// writers.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "archive/archive_format.h"
#include "archive/discovery.h"
#include "archive/item_sink.h"
#include "archive/loop_reporter.h"
#include "archive/read_position.h"

namespace qorarc {

class AReadState {
 public:
  // `capacity` is the read buffer's size; it is raised to hold two of the
  // longest records.
  explicit AReadState(size_t capacity = kDefaultCapacity);
  virtual ~AReadState();
  AReadState(const AReadState&) = delete;
  AReadState& operator=(const AReadState&) = delete;

  // Reads every file in order, handing the items to `*sink` and its
  // messages about the files to `*reporter`, until the files end or the
  // sink is done. `starts`, one per file, resumes a cursor; empty: every
  // file from its start.
  void Export(const std::vector<ArchiveFileEntry>& files, ItemSink* sink,
              LoopReporter* reporter, const std::vector<FileStart>& starts = {});

  // Bytes read from the files so far, for a progress display.
  uint64_t bytes_read() const { return bytes_read_; }

  static constexpr size_t kDefaultCapacity = 256 * 1024;

 private:
  enum class FileEnd { kNext, kStopAll };

  // `index`: the file's place among the files.
  FileEnd ExportFile(const std::string& path, ItemSink* sink, LoopReporter* reporter,
                     size_t index, const FileStart& start);
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
