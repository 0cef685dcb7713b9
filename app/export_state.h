// The state file of "--state FILE": how much of each archive file earlier
// runs exported, as text. A first line names the format, then one key and
// its value a line:
//
//   qorarc-state 2
//   archive plant                the archive name ("archive " if none)
//   from_time -1                 the first run's -ft1 (ns, -1: none)
//   file 610156800000000000 4711 7062 0 2049 131078 9000 1700000000123456789
//        9c0d2b4f7e1a3c58 0 arc/2019/2019-05/2019-05-03_plant.rea
//   commit pending .qorarc-812-1.tmp
//   next 610156800000000000 5120 7062 0 ...
//
// A "file" line (one line; wrapped above) holds, in order: the file's day at
// 00:00 (ns), the bytes exported (consumed up to the end of a whole record),
// the day number in force there, 1 when a bad record there ended the file
// for good, the device, inode, size and modification time (ns) the file had
// when the run began, the FNV-1a 64 of the bytes before the offset, the
// host's time (s) since which the file has been missing (0: present), and
// the path, with "\\" for a backslash and "\n" for a line feed.
//
// "commit" records an output on its way into place (app/state_cursor.h):
// "intent" before the new output file has a hidden name, "pending" once it
// has one, followed by the "next" lines: the cursor that holds once that
// output has taken its name.
//
// A dataset's state file (app/dataset_run.h) adds the table of its day
// files after the "file" lines: one "day" line per file of the dataset,
// followed by a "begin" line per archive file that the file covers:
//
//   day 610156800000000000 0 1234 0      day (ns), file number, items,
//                                        1 when sealed (never rewritten)
//   begin 0 0 5120 arc/2019/2019-05/2019-05-03_plant.rea
//                                        the offset and day number the
//                                        file's items begin at, the offset
//                                        they end at, the path
//
// and a third commit stage, "commit renames": the hidden files of a run,
// complete on the disk, as "rename" lines (paths relative to the dataset),
// then the cursor ("next" lines) and the day table ("nextday" and
// "nextbegin" lines) that hold once each has taken its own name.
//
// Version 1 files (one position: "file", "file_start", "offset", "day",
// "device", "inode", "fnv1a64", "rest_skipped" lines) are still read; the
// next save writes version 2. Files are read strictly: an unknown or
// repeated key, a missing one, or a number with anything around it makes
// the file invalid.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace qorarc {

// How much of one archive file the runs have exported.
struct FileProgress {
  int64_t day_start = 0;
  uint64_t offset = 0;
  uint16_t day = 0;
  bool rest_skipped = false;
  uint64_t device = 0;
  uint64_t inode = 0;
  uint64_t size = 0;
  int64_t mtime_ns = 0;
  uint64_t hash = 0;
  int64_t missing_since = 0;
  std::string path;

  bool operator==(const FileProgress&) const = default;
};

// The single position a version 1 file recorded: every file of an earlier
// day counted as exported whole, this one up to `progress.offset`.
struct LegacyPosition {
  bool present = false;
  FileProgress progress;

  bool operator==(const LegacyPosition&) const = default;
};

// Where the items of one dataset file begin and end in one archive file.
struct DayBegin {
  uint64_t offset = 0;
  uint16_t day = 0;  // the day number in force at `offset`
  uint64_t end = 0;
  std::string path;

  bool operator==(const DayBegin&) const = default;
};

// One file of a dataset: a day of the archive, the file's number among
// that day's files, how many items it holds, and whether it is sealed.
struct DayFile {
  int64_t day_start = 0;
  uint32_t number = 0;
  int64_t items = 0;
  bool sealed = false;
  std::vector<DayBegin> begins;

  bool operator==(const DayFile&) const = default;
};

struct ExportState {
  enum class Commit { kNone, kIntent, kPending, kRenames };

  std::string archive;
  int64_t from_time = -1;
  std::vector<FileProgress> files;
  Commit commit = Commit::kNone;
  std::string commit_hidden;       // the output's hidden name
  std::vector<FileProgress> next;  // kPending, kRenames: the cursor once it is in place
  std::vector<DayFile> days;       // a dataset's files
  std::vector<std::string> renames;  // kRenames: the hidden files
  std::vector<DayFile> next_days;    // kRenames: the day table once they are in place
  LegacyPosition legacy;           // read from a version 1 file only

  bool operator==(const ExportState&) const = default;
};

// The file's text, and its inverse; ParseState names the problem in
// `*problem` ("line 3: unknown key 'x'") when it returns false.
std::string StateText(const ExportState& state);
bool ParseState(std::string_view text, ExportState* state, std::string* problem);

enum class StateLoad { kMissing, kLoaded, kFailed };

// Reads `path`: kMissing when it does not exist, kFailed with `*err` set
// ("Failed to read state file ...", "State file ... is not valid: ...")
// when it cannot be read or is not valid.
StateLoad LoadState(const std::string& path, ExportState* state, std::string* err);

// Replaces `path` atomically: written to "<path>.tmp", flushed to the disk,
// renamed over it, the rename flushed too. Only one run writes at a time
// (the caller holds the lock), so the temporary name is fixed and a
// leftover one is simply written over. False with `*err` set.
bool SaveState(const std::string& path, const ExportState& state, std::string* err);

}  // namespace qorarc
