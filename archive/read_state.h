// The export loop: reads archive files front to back through a sliding
// buffer, decodes their records and hands the items that pass the filter to
// a writer.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "app/item_filter.h"
#include "archive/archive_format.h"
#include "archive/discovery.h"

namespace qorarc {

class Writer;

// Stops counting items past the limit with "--item-total-count" here.
inline constexpr int32_t kMaxTotalCount = 99'999;

class AReadState {
 public:
  // `count_all`: go on counting items past the filter's limit (up to
  // kMaxTotalCount). `capacity` is the read buffer's size; it must hold the
  // longest record.
  AReadState(const ItemFilter* filter, bool count_all, size_t capacity = kDefaultCapacity);
  virtual ~AReadState();
  AReadState(const AReadState&) = delete;
  AReadState& operator=(const AReadState&) = delete;

  // Reads every file in order and returns the number of items that passed
  // the filter (written or, past the limit, only counted).
  int32_t Export(Writer& writer, const std::vector<ArchiveFileEntry>& files);

  static constexpr size_t kDefaultCapacity = 256 * 1024;

 private:
  enum class FileEnd { kNext, kStopAll };

  FileEnd ExportFile(Writer& writer, const std::string& path);
  bool Open(const std::string& path);
  void Close();
  // Moves the unread bytes to the front and reads more behind them.
  void Refill();
  bool LimitReached() const;
  // Applies the filter to one item and writes it; false ends the file.
  bool Process(const ArchiveItem& item, Writer& writer);

  const ItemFilter* filter_;
  bool count_all_;
  std::unique_ptr<uint8_t[]> buffer_;
  size_t capacity_;
  size_t valid_ = 0;
  size_t position_ = 0;
  int fd_ = -1;
  bool at_eof_ = true;
  uint16_t day_ = 0;
  int32_t count_ = 0;
  ArchiveItem item_;
  // Class and type texts by type byte, looked up once at construction
  // rather than per item.
  struct RecordTexts {
    std::string_view class_name;
    std::string_view type_name;
  };
  std::array<RecordTexts, 256> record_texts_;
  // The date text changes only with the day: kept between items.
  int64_t date_day_ = INT64_MIN;
  char date_text_[32] = {};
  size_t date_size_ = 0;
};

}  // namespace qorarc
