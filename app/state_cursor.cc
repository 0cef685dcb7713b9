#include "app/state_cursor.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <memory>

#include "core/messages.h"

namespace qorarc {

bool PrefixHash(const std::string& path, uint64_t size, uint64_t device, uint64_t inode,
                uint64_t* hash) {
  const int fd = open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
  if (fd < 0) return false;
  struct stat st;
  bool ok = fstat(fd, &st) == 0 && S_ISREG(st.st_mode) && st.st_dev == device &&
            st.st_ino == inode && static_cast<uint64_t>(st.st_size) >= size;
  uint64_t h = 0xcbf29ce484222325;
  constexpr size_t kChunk = 256 * 1024;
  std::unique_ptr<uint8_t[]> buffer(new uint8_t[kChunk]);
  uint64_t left = size;
  while (ok && left > 0) {
    const ssize_t n = read(fd, buffer.get(), left < kChunk ? left : kChunk);
    if (n < 0 && errno == EINTR) continue;
    ok = n > 0;
    if (!ok) break;
    for (ssize_t i = 0; i < n; ++i) h = (h ^ buffer[i]) * 0x100000001b3;
    left -= static_cast<uint64_t>(n);
  }
  close(fd);
  *hash = h;
  return ok;
}

bool StateCursor::Load(const std::string& path, ItemFilter* filter) {
  path_ = path;
  const StateLoad load = LoadState(path, &state_);
  if (load == StateLoad::kFailed) return false;
  if (load == StateLoad::kMissing) {
    state_ = {};
    state_.archive = filter->archive_name;
    state_.from_time = filter->from_time > 0 ? filter->from_time : -1;
    return true;
  }
  if (state_.archive != filter->archive_name) {
    ErrorLine("State file '" + path + "' belongs to archive '" + state_.archive + "', not '" +
              filter->archive_name + "'.");
    return false;
  }
  // -ft1 applies to the first run only; until a position exists that run's
  // from-time stays in force, so that the runs add up to the first one's
  // export.
  filter->from_time = state_.has_position ? -1 : state_.from_time;
  return true;
}

ReadPosition StateCursor::Start(const std::vector<ArchiveFileEntry>& files, bool* changed) {
  ReadPosition start;
  if (!state_.has_position) return start;
  // The cursor's file is the one of its day (an archive has one file a day;
  // the path may be spelled otherwise by another -i).
  while (start.file < files.size() && files[start.file].day_start < state_.file_start) ++start.file;
  if (start.file == files.size() || files[start.file].day_start != state_.file_start) return start;
  const std::string& path = files[start.file].path;
  uint64_t hash = 0;
  if (!PrefixHash(path, state_.offset, state_.device, state_.inode, &hash) || hash != state_.hash) {
    ErrorLine("Archive file '" + path +
              "' changed since the last export; exporting it from its start.");
    *changed = true;
    return start;
  }
  if (state_.rest_skipped) {  // read to its bad record already
    ++start.file;
    return start;
  }
  start.offset = state_.offset;
  start.day = state_.day;
  start.device = state_.device;
  start.inode = state_.inode;
  return start;
}

bool StateCursor::Save(const std::vector<ArchiveFileEntry>& files) {
  // Without a record consumed the cursor stays as it was.
  if (moved_) {
    const ArchiveFileEntry& file = files[stop_.file];
    uint64_t hash = 0;
    if (!PrefixHash(file.path, stop_.offset, stop_.device, stop_.inode, &hash)) {
      ErrorLine("Archive file '" + file.path + "' changed during the export.");
      ErrorLine("Failed to write state file '" + path_ + "'.");
      return false;
    }
    state_.has_position = true;
    state_.file = file.path;
    state_.file_start = file.day_start;
    state_.offset = stop_.offset;
    state_.day = stop_.day;
    state_.device = stop_.device;
    state_.inode = stop_.inode;
    state_.hash = hash;
    state_.rest_skipped = stop_.rest_skipped;
  }
  return SaveState(path_, state_);
}

}  // namespace qorarc
