// An archive "plant" that a runtime is writing, for the tests of --state
// runs between which it grows: records are generated ahead and reach the
// file in pieces that may end inside a record; a new day's file begins only
// once the last one is whole.
#pragma once

#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>
#include <vector>

#include "archive/archive_writer.h"
#include "support/random_archive.h"

namespace qorarc::testing {

inline void Append(const std::string& path, std::string_view bytes) {
  if (!std::filesystem::exists(path)) return WriteArchiveFile(path, bytes);
  std::ofstream out(path, std::ios::binary | std::ios::app);
  out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
}

// An archive ("plant" unless named) that a runtime is writing: records are generated ahead
// and reach the file in pieces that may end inside a record; a new day's
// file begins only once the last one is whole.
class LiveArchive {
 public:
  LiveArchive(Random* r, std::string root, std::string name = "plant")
      : r_(*r), root_(std::move(root)), name_(std::move(name)) {
    NewDay();
  }

  void Step() {
    if (pending_.empty() && r_.OneIn(5)) NewDay();
    const int records = static_cast<int>(r_.Below(12));
    for (int i = 0; i < records; ++i) AddRecord();
    // All of it, or up to any byte, also inside a record.
    const size_t n = r_.OneIn(3) ? pending_.size() : r_.Below(pending_.size() + 1);
    Append(ArchiveFilePath(root_, day_, name_), std::string_view(pending_).substr(0, n));
    pending_.erase(0, n);
  }
  void Flush() {
    Append(ArchiveFilePath(root_, day_, name_), pending_);
    pending_.clear();
  }

 private:
  void NewDay() {
    day_ = day_ == 0 ? DayNumber(2024, 2, 27) : day_ + 1 + static_cast<int64_t>(r_.OneIn(4));
    time_ = 0;
    pending_ = ArchiveBuilder().Day(static_cast<uint32_t>(day_)).bytes();
  }
  void AddRecord() {
    time_ += r_.Between(1, 1'000'000) * kMicro;
    const uint16_t id = static_cast<uint16_t>(r_.Between(1, 60));
    ArchiveBuilder b;
    switch (r_.Below(5)) {
      case 0: b.Long(time_, id, static_cast<int32_t>(r_.Bits())); break;
      case 1: b.Double(time_, id, static_cast<double>(r_.Between(-99999, 99999)) / 8); break;
      case 2: b.Bool(time_, id, static_cast<uint8_t>(r_.Below(2))); break;
      case 3:
        b.Text(time_, id, 25,
               "log, \"" + std::string(r_.OneIn(8) ? 5000 : r_.Below(40), 'x') + "\"");
        break;
      default:
        b.Array<int16_t>(19, time_, id, std::vector<int16_t>(r_.Below(6), 7));
    }
    pending_ += b.bytes();
  }

  Random& r_;
  std::string root_;
  std::string name_;
  int64_t day_ = 0;
  int64_t time_ = 0;
  std::string pending_;  // generated, not yet in the file
};

}  // namespace qorarc::testing
