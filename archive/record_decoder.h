// The decoder of one record of a ".rea" file (the format is in
// archive/archive_format.h). It trusts no length: every record is checked
// against the bytes given before anything is read.
#pragma once

#include <cstddef>
#include <cstdint>

#include "archive/archive_format.h"

namespace qorarc {

enum class RecordStatus {
  kItem,        // `item` holds a decoded item record
  kDayMarker,   // `day` was updated
  kEnd,         // end mark, or no bytes left
  kTruncated,   // the record runs past the bytes given: read more, or, at the
                // end of the file, call MarkBadRecord and stop
  kBad,         // `item` holds the bad-record item; stop reading the file
  kQuietEnd,    // overlong string whose length reads as a warning: stop quietly
  kReadError,   // overlong string: stop and report a read error
};

struct DecodeResult {
  RecordStatus status;
  size_t length;  // bytes the record occupies (kItem, kDayMarker)
};

// Decodes the record at the start of data[0, size). `*day` is the day number
// in force; a day marker changes it, an item record copies it into `*item`.
// Never reads past data + size.
DecodeResult DecodeRecord(const uint8_t* data, size_t size, uint16_t* day, ArchiveItem* item);

// Turns `*item` into the bad-record item for the record at data[0, size).
void MarkBadRecord(const uint8_t* data, size_t size, uint16_t day, ArchiveItem* item);

}  // namespace qorarc
