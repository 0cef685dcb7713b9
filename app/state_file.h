// The state file of "--state FILE": where the last export stopped, as text
// of one "key value" per line after a first line naming the format:
//
//   qorarc-state 1
//   archive plant                      the archive name ("archive " if none)
//   from_time -1                       the first run's -ft1 (ns, -1: none)
//   file arc/2019/2019-05/2019-05-03_plant.rea
//   file_start 610156800000000000      the file's day at 00:00 (ns)
//   offset 4711                        bytes consumed of the file
//   day 7062                           the day number in force at the offset
//   device 2049                        the file's device and inode
//   inode 131078
//   fnv1a64 9c0d2b4f7e1a3c58           FNV-1a 64 of the bytes before the offset
//   rest_skipped 0                     1: a bad record at the offset ended it
//
// The keys from "file" on come all together or not at all (no position
// yet). It is read strictly: an unknown or repeated key, a missing one, or a
// number with anything around it makes the file invalid.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace qorarc {

struct ExportState {
  std::string archive;
  int64_t from_time = -1;
  bool has_position = false;
  std::string file;
  int64_t file_start = 0;
  uint64_t offset = 0;
  uint16_t day = 0;
  uint64_t device = 0;
  uint64_t inode = 0;
  uint64_t hash = 0;
  bool rest_skipped = false;
};

// The file's text, and its inverse; ParseState names the problem in
// `*problem` ("line 3: unknown key 'x'") when it returns false.
std::string StateText(const ExportState& state);
bool ParseState(std::string_view text, ExportState* state, std::string* problem);

enum class StateLoad { kMissing, kLoaded, kFailed };

// Reads `path`: kMissing when it does not exist, kFailed after a one-line
// error naming it when it cannot be read or is not valid.
StateLoad LoadState(const std::string& path, ExportState* state);

// Replaces `path` atomically: written to "<path>.tmp-<pid>", flushed to
// the disk, renamed over it. False after an error line naming it.
bool SaveState(const std::string& path, const ExportState& state);

}  // namespace qorarc
