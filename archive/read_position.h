// Where the export loop stands in a file and where it begins in one: the
// positions a cursor that a later run resumes from is made of
// (app/state_cursor.h).
#pragma once

#include <cstddef>
#include <cstdint>

namespace qorarc {

// Where the export loop stands in its files.
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

// Where the loop begins in one file.
struct FileStart {
  bool skip = false;      // nothing of the file is to be read
  uint64_t offset = 0;    // begin here, the end of a whole record,
  uint16_t day = 0;       // with this day number in force
  // A record cut short at the end of the file is one still being written,
  // not damage: it is neither handed on nor reported.
  bool hold_tail = false;
};

}  // namespace qorarc
