// One "--state FILE" run: the cursor of an unattended export. Loads FILE,
// tells the export loop where to begin, and, once the output is complete and
// in place, records in FILE where the export stopped (app/state_file.h).
#pragma once

#include <string>
#include <vector>

#include "app/state_file.h"
#include "archive/discovery.h"
#include "archive/item_filter.h"
#include "archive/read_state.h"

namespace qorarc {

// FNV-1a 64 of the first `size` bytes of the file at `path`, which must
// still be the file of `device` and `inode`. False when it is not, or when
// it cannot be read or is shorter.
bool PrefixHash(const std::string& path, uint64_t size, uint64_t device, uint64_t inode,
                uint64_t* hash);

class StateCursor {
 public:
  // Reads FILE. Without a position yet, the filter's from-time becomes the
  // first run's (the one recorded, or this run's when FILE is missing); with
  // one, the cursor replaces it. False after a one-line error: FILE cannot
  // be read, is not valid, or belongs to another archive.
  bool Load(const std::string& path, ItemFilter* filter);

  // Where to begin in `files` (sorted by day): files of days before the
  // cursor's are skipped. When the cursor's file is shorter than the offset
  // or no longer the same file, prints the line that says so, sets
  // `*changed`, and begins at its start.
  ReadPosition Start(const std::vector<ArchiveFileEntry>& files, bool* changed);

  // Records where the export stopped; `moved`: some record was consumed.
  void Stopped(const ReadPosition& cursor, bool moved) {
    stop_ = cursor;
    moved_ = moved;
  }

  // Writes FILE; false after an error line.
  bool Save(const std::vector<ArchiveFileEntry>& files);

 private:
  std::string path_;
  ExportState state_;
  ReadPosition stop_;
  bool moved_ = false;
};

}  // namespace qorarc
