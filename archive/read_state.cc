#include "archive/read_state.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "archive/record_decoder.h"

namespace qorarc {

AReadState::AReadState(size_t capacity)
    : capacity_(std::max(capacity, 2 * kMaxRecordBytes)) {
  buffer_.reset(new uint8_t[capacity_]);
  item_.text.reserve(kMaxRecordBytes);
}

AReadState::~AReadState() { Close(); }

void AReadState::Export(const std::vector<ArchiveFileEntry>& files, ItemSink* sink,
                        LoopReporter* reporter, const std::vector<FileStart>& starts) {
  const FileStart whole;
  for (size_t i = 0; i < files.size(); ++i) {
    const FileStart& start = starts.empty() ? whole : starts[i];
    if (start.skip) continue;
    if (ExportFile(files[i].path, sink, reporter, i, start) == FileEnd::kStopAll) break;
  }
  Close();
}

ReadPosition AReadState::Position(size_t file, bool rest_skipped) const {
  return {file, file_offset_ + position_, day_, device_, inode_, rest_skipped};
}

AReadState::FileEnd AReadState::ExportFile(const std::string& path, ItemSink* sink,
                                           LoopReporter* reporter, size_t index,
                                           const FileStart& start) {
  valid_ = 0;
  position_ = 0;
  file_offset_ = start.offset;
  day_ = start.day;
  read_error_ = 0;
  Close();
  int error = Open(path);
  reporter->FileStarted(path);
  if (error == kNotRegular) return FileEnd::kNext;  // no longer a file: nothing to read
  if (error == 0 && start.offset != 0 &&
      lseek(fd_, static_cast<off_t>(start.offset), SEEK_SET) < 0) {
    error = errno;
    Close();
  }
  if (error != 0) {
    reporter->ReadFailed(path, error);
    return FileEnd::kNext;
  }
  Refill();
  for (;;) {
    if (sink->Done()) return FileEnd::kStopAll;
    // Keep a whole record of the longest kind in the buffer.
    if (valid_ - position_ < kMaxRecordBytes && !at_eof_) Refill();
    const uint8_t* data = buffer_.get() + position_;
    const size_t size = valid_ - position_;
    const DecodeResult result = DecodeRecord(data, size, &day_, &item_);
    switch (result.status) {
      case RecordStatus::kItem:
        position_ += result.length;
        if (!sink->Item(item_)) return FileEnd::kNext;
        sink->Consumed(Position(index, false));
        break;
      case RecordStatus::kDayMarker:
        position_ += result.length;
        sink->Consumed(Position(index, false));
        break;
      case RecordStatus::kEnd:
        // The data ran out because a read failed, not at an end mark.
        if (size == 0 && read_error_ != 0) reporter->ReadFailed(path, read_error_);
        return FileEnd::kNext;
      case RecordStatus::kQuietEnd:
        return FileEnd::kNext;
      case RecordStatus::kTruncated:
        if (!at_eof_) {
          Refill();
          break;
        }
        if (read_error_ != 0) {
          reporter->ReadFailed(path, read_error_);
          return FileEnd::kNext;
        }
        // A growing file's last record may be one the runtime is writing.
        if (start.hold_tail) return FileEnd::kNext;
        // A record cut short by the end of the file is a bad record.
        MarkBadRecord(data, size, day_, &item_);
        [[fallthrough]];
      case RecordStatus::kBad:
        // Reported only when the bad record itself was taken: one past the
        // until-time ends the file like any other item.
        if (sink->Item(item_)) {
          sink->Consumed(Position(index, true));
          reporter->Corruption(path);
        }
        return FileEnd::kNext;
      case RecordStatus::kReadError:
        reporter->Corruption(path);
        return FileEnd::kNext;
    }
  }
}

int AReadState::Open(const std::string& path) {
  // Non-blocking, so that a FIFO put in place of a file cannot stall the
  // export; only regular files are read.
  fd_ = open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
  if (fd_ < 0) return errno;
  struct stat st;
  if (fstat(fd_, &st) != 0) {
    const int error = errno;
    Close();
    return error;
  }
  if (!S_ISREG(st.st_mode)) {
    Close();
    return kNotRegular;
  }
  device_ = st.st_dev;
  inode_ = st.st_ino;
  at_eof_ = false;
  return 0;
}

void AReadState::Close() {
  if (fd_ >= 0) close(fd_);
  fd_ = -1;
  at_eof_ = true;
}

void AReadState::Refill() {
  const size_t remaining = valid_ - position_;
  file_offset_ += position_;
  std::memmove(buffer_.get(), buffer_.get() + position_, remaining);
  valid_ = remaining;
  position_ = 0;
  while (!at_eof_ && valid_ < capacity_) {
    const ssize_t n = read(fd_, buffer_.get() + valid_, capacity_ - valid_);
    if (n < 0 && errno == EINTR) continue;
    // A read error ends the data like the end of the file; the loop reports
    // it when it reaches the end of what was read.
    if (n <= 0) {
      if (n < 0) read_error_ = errno;
      Close();
      break;
    }
    valid_ += static_cast<size_t>(n);
    bytes_read_ += static_cast<uint64_t>(n);
  }
}

}  // namespace qorarc
