#include "archive/read_state.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "app/messages.h"
#include "export/export_item.h"
#include "export/text_format.h"
#include "export/writer.h"

namespace qorarc {
namespace {

// Elements an item shows: the count byte for arrays, one for scalars, none
// for system records.
int32_t ValueCount(const ArchiveItem& item) {
  int code = item.code();
  if (code >= 17) return code == 31 ? 1 : item.count;
  return code == 0 ? 0 : 1;
}

}  // namespace

AReadState::AReadState(const ItemFilter* filter, bool count_all, size_t capacity)
    : filter_(filter),
      count_all_(count_all),
      buffer_(new uint8_t[capacity < 2 * kMaxRecordBytes ? 2 * kMaxRecordBytes : capacity]),
      capacity_(capacity < 2 * kMaxRecordBytes ? 2 * kMaxRecordBytes : capacity) {
  item_.text.reserve(kMaxRecordBytes);
  for (size_t type = 0; type < record_texts_.size(); ++type) {
    record_texts_[type] = {ClassText(static_cast<int>(type & 0x1F)),
                           TypeText(static_cast<uint8_t>(type))};
  }
}

AReadState::~AReadState() { Close(); }

int32_t AReadState::Export(Writer& writer, const std::vector<ArchiveFileEntry>& files) {
  for (const ArchiveFileEntry& file : files)
    if (ExportFile(writer, file.path) == FileEnd::kStopAll) break;
  Close();
  return count_;
}

bool AReadState::LimitReached() const {
  int32_t limit = filter_->item_count_limit;
  if (limit < 0 || count_ < limit) return false;
  return !(count_all_ && count_ < kMaxTotalCount);
}

AReadState::FileEnd AReadState::ExportFile(Writer& writer, const std::string& path) {
  valid_ = 0;
  position_ = 0;
  day_ = 0;
  Close();
  bool open = Open(path);
  VerboseLine("Exporting data from '" + path + "'.");
  if (!open) return FileEnd::kNext;  // a file that cannot be opened yields nothing
  Refill();
  for (;;) {
    if (LimitReached()) return FileEnd::kStopAll;
    // Keep a whole record of the longest kind in the buffer.
    if (valid_ - position_ < kMaxRecordBytes && !at_eof_) Refill();
    const uint8_t* data = buffer_.get() + position_;
    size_t size = valid_ - position_;
    DecodeResult result = DecodeRecord(data, size, day_, item_);
    switch (result.status) {
      case RecordStatus::kItem:
        position_ += result.length;
        if (!Process(item_, writer)) return FileEnd::kNext;
        break;
      case RecordStatus::kDayMarker:
        position_ += result.length;
        break;
      case RecordStatus::kEnd:
      case RecordStatus::kQuietEnd:
        return FileEnd::kNext;
      case RecordStatus::kTruncated:
        if (!at_eof_) {
          Refill();
          break;
        }
        // A record cut short by the end of the file is a bad record.
        MarkBadRecord(data, size, day_, item_);
        [[fallthrough]];
      case RecordStatus::kBad:
        if (Process(item_, writer)) VerboseLine("Error occured while reading file '" + path + "'.");
        return FileEnd::kNext;
      case RecordStatus::kReadError:
        VerboseLine("Error occured while reading file '" + path + "'.");
        return FileEnd::kNext;
    }
  }
}

bool AReadState::Open(const std::string& path) {
  // Non-blocking, so that a FIFO put in place of a file cannot stall the
  // export; only regular files are read.
  fd_ = open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
  if (fd_ < 0) return false;
  struct stat st;
  if (fstat(fd_, &st) != 0 || !S_ISREG(st.st_mode)) {
    Close();
    return false;
  }
  at_eof_ = false;
  return true;
}

void AReadState::Close() {
  if (fd_ >= 0) close(fd_);
  fd_ = -1;
  at_eof_ = true;
}

void AReadState::Refill() {
  size_t remaining = valid_ - position_;
  std::memmove(buffer_.get(), buffer_.get() + position_, remaining);
  valid_ = remaining;
  position_ = 0;
  while (!at_eof_ && valid_ < capacity_) {
    ssize_t n = read(fd_, buffer_.get() + valid_, capacity_ - valid_);
    if (n < 0 && errno == EINTR) continue;
    // A read error ends the data like the end of the file: a record cut
    // short by it is reported as a bad record.
    if (n <= 0) {
      Close();
      break;
    }
    valid_ += static_cast<size_t>(n);
  }
}

bool AReadState::Process(const ArchiveItem& item, Writer& writer) {
  int64_t timestamp = item.timestamp();
  int code = item.code();
  int32_t kind = ItemKind(code, item.count);
  Verdict verdict = Judge(*filter_, timestamp, item.id, kind);
  if (verdict == Verdict::kStopFile) return false;
  if (verdict == Verdict::kSkip) return true;
  int32_t limit = filter_->item_count_limit;
  bool write = limit < 0 || count_ < limit;
  ++count_;
  if (!write) return true;

  std::string_view date = "---";
  if (timestamp != 0) {
    // The time of day may run past midnight into later days.
    int64_t day = item.time_of_day() < kNanosPerDay ? item.day : DayOf(timestamp);
    if (day != date_day_) {
      date_size_ = FormatDayDate(day, date_text_);
      date_day_ = day;
    }
    date = std::string_view(date_text_, date_size_);
  }
  char time_text[kTimeTextSize + 1];
  const RecordTexts& texts = record_texts_[item.type];
  // Every field set at once: a default-built item would first be cleared.
  const ExportItem view{
      .kind = kind,
      .date = date,
      .time = std::string_view(time_text, FormatTime(timestamp, time_text)),
      .className = texts.class_name,
      .typeName = texts.type_name,
      .level = code == 12 ? LevelText(item.count) : std::string_view(),
      .id = code == 0 ? -1 : item.id,
      .valueCount = ValueCount(item),
      .value = {.code = static_cast<uint8_t>(code),
                .payload = item.value,
                .has_text = code == 12,
                .text = item.text},
  };
  writer.writeItem(view);
  return true;
}

}  // namespace qorarc
