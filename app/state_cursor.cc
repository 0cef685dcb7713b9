#include "app/state_cursor.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <ctime>
#include <memory>
#include <unordered_map>

#include "base/messages.h"
#include "base/time_base.h"

namespace qorarc {
namespace {

constexpr uint64_t kFnvBasis = 0xcbf29ce484222325;
// A file unchanged for this long is written no more.
constexpr int64_t kSettledSeconds = 86'400;

// What a file is now: its identity, size and modification time.
struct FileStatus {
  bool present = false;  // a regular file that could be examined
  uint64_t device = 0, inode = 0, size = 0;
  int64_t mtime_ns = 0;
};

FileStatus StatusOf(const std::string& path) {
  FileStatus s;
  struct stat st;
  if (stat(path.c_str(), &st) != 0 || !S_ISREG(st.st_mode)) return s;
  s.present = true;
  s.device = st.st_dev;
  s.inode = st.st_ino;
  s.size = static_cast<uint64_t>(st.st_size);
  s.mtime_ns = static_cast<int64_t>(st.st_mtim.tv_sec) * kNanosPerSecond + st.st_mtim.tv_nsec;
  return s;
}

// True when the file is as an entry recorded it: nothing in it changed
// since, short of a write that kept its size and time.
bool Unchanged(const FileProgress& f, const FileStatus& s) {
  return s.present && f.device == s.device && f.inode == s.inode && f.size == s.size &&
         f.mtime_ns == s.mtime_ns;
}

// True when the file's first f.offset bytes are those the entry exported.
bool HasExportedBytes(const std::string& path, const FileProgress& f, const FileStatus& s) {
  if (!s.present || s.size < f.offset) return false;
  uint64_t hash = kFnvBasis;
  return ExtendPrefixHash(path, 0, f.offset, s.device, s.inode, &hash) && hash == f.hash;
}

void TakeStatus(const FileStatus& s, FileProgress* f) {
  f->device = s.device;
  f->inode = s.inode;
  f->size = s.size;
  f->mtime_ns = s.mtime_ns;
  f->missing_since = 0;
}

int64_t HostSeconds() { return static_cast<int64_t>(std::time(nullptr)); }

// The entries in a stable order: by day, then path.
void SortEntries(std::vector<FileProgress>* files) {
  std::sort(files->begin(), files->end(), [](const FileProgress& a, const FileProgress& b) {
    return a.day_start != b.day_start ? a.day_start < b.day_start : a.path < b.path;
  });
}

}  // namespace

bool ExtendPrefixHash(const std::string& path, uint64_t from, uint64_t to, uint64_t device,
                      uint64_t inode, uint64_t* hash) {
  if (from == to) return true;
  const int fd = open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
  if (fd < 0) return false;
  struct stat st;
  bool ok = fstat(fd, &st) == 0 && S_ISREG(st.st_mode) && st.st_dev == device &&
            st.st_ino == inode && static_cast<uint64_t>(st.st_size) >= to && from <= to;
  uint64_t h = *hash;
  constexpr size_t kChunk = 256 * 1024;
  std::unique_ptr<uint8_t[]> buffer(new uint8_t[kChunk]);
  uint64_t offset = from;
  while (ok && offset < to) {
    const uint64_t want = std::min<uint64_t>(to - offset, kChunk);
    const ssize_t n = pread(fd, buffer.get(), want, static_cast<off_t>(offset));
    if (n < 0 && errno == EINTR) continue;
    ok = n > 0;
    if (!ok) break;
    for (ssize_t i = 0; i < n; ++i) h = (h ^ buffer[i]) * 0x100000001b3;
    offset += static_cast<uint64_t>(n);
  }
  close(fd);
  if (ok) *hash = h;
  return ok;
}

bool StateCursor::Load(const std::string& path, ItemFilter* filter, std::string* err) {
  path_ = path;
  // Only this run writes it (it holds the lock): what is left is an
  // earlier run's, ended while it saved.
  unlink((path + ".tmp").c_str());
  const StateLoad load = LoadState(path, &saved_, err);
  if (load == StateLoad::kFailed) return false;
  if (load == StateLoad::kMissing) {
    saved_ = {};
    saved_.archive = filter->archive_name;
    saved_.from_time = filter->from_time > 0 ? filter->from_time : -1;
    next_ = saved_;
    // Nothing to settle, and FILE is written only once there is a cursor.
    filter->from_time = saved_.from_time;
    return true;
  }
  if (saved_.archive != filter->archive_name) {
    *err = "State file '" + path + "' belongs to archive '" + saved_.archive + "', not '" +
           filter->archive_name + "'.";
    return false;
  }
  if (saved_.commit == ExportState::Commit::kRenames) {
    // Settled by the dataset run before it loads the cursor.
    *err = "State file '" + path + "' is in the middle of a dataset's commit.";
    return false;
  }
  // -ft1 is the first run's: the runs add up to that run's export.
  filter->from_time = saved_.from_time;
  next_ = saved_;
  if (saved_.commit == ExportState::Commit::kNone) return true;
  // An earlier run ended during its commit. Its output took its name if,
  // and only if, the hidden name it had is gone after it was recorded.
  struct stat st;
  const bool hidden_left = lstat(saved_.commit_hidden.c_str(), &st) == 0;
  const bool took_its_name = saved_.commit == ExportState::Commit::kPending && !hidden_left;
  if (hidden_left) {
    // Recorded as not committed before the name goes, so that a run killed
    // in between cannot take the missing name for a commit.
    if (saved_.commit == ExportState::Commit::kPending) {
      ExportState undone = saved_;
      undone.commit = ExportState::Commit::kIntent;
      undone.next.clear();
      if (!Write(undone, err)) return false;
    }
    if (unlink(saved_.commit_hidden.c_str()) != 0 && errno != ENOENT) {
      *err = "Failed to remove '" + saved_.commit_hidden + "', an export that was not completed.";
      return false;
    }
  }
  next_ = saved_;
  if (took_its_name) next_.files = saved_.next;
  next_.commit = ExportState::Commit::kNone;
  next_.commit_hidden.clear();
  next_.next.clear();
  return Save(err);
}

std::vector<FileStart> StateCursor::Plan(const std::vector<ArchiveFileEntry>& files,
                                         bool* changed) {
  std::vector<FileStart> starts(files.size());
  planned_.assign(files.size(), {});
  known_.assign(files.size(), false);
  std::unordered_map<std::string, size_t> by_path;
  for (size_t e = 0; e < next_.files.size(); ++e) by_path.emplace(next_.files[e].path, e);
  std::vector<bool> matched(next_.files.size(), false);
  const LegacyPosition& legacy = next_.legacy;
  const int64_t now = HostSeconds();

  for (size_t i = 0; i < files.size(); ++i) {
    const ArchiveFileEntry& file = files[i];
    const FileStatus status = StatusOf(file.path);
    FileProgress base;
    base.hash = kFnvBasis;
    FileStart& start = starts[i];
    // A record cut short at the end of a file is one being written (the
    // runtime may write a record in pieces, minutes apart, in any file,
    // whatever its day), unless the file has not changed for a day.
    start.hold_tail = !status.present || now - status.mtime_ns / kNanosPerSecond < kSettledSeconds;
    const auto found = by_path.find(file.path);
    if (found != by_path.end()) {
      matched[found->second] = true;
      const FileProgress& entry = next_.files[found->second];
      if (Unchanged(entry, status)) {
        base = entry;
      } else if (!status.present || HasExportedBytes(file.path, entry, status)) {
        base = entry;  // grown, or the same bytes in a copy put in its place
      } else {
        ErrorLine("Archive file '" + file.path +
                  "' changed since the last export; exporting it from its start.");
        *changed = true;
      }
    } else if (legacy.present && file.day_start < legacy.progress.day_start) {
      // A cursor of one position counted every earlier day's file as
      // exported whole.
      if (status.present) {
        base.offset = status.size;
        base.day = static_cast<uint16_t>(std::clamp<int64_t>(DayOf(file.day_start), 0, 65535));
        base.hash = kFnvBasis;
        if (!ExtendPrefixHash(file.path, 0, status.size, status.device, status.inode,
                              &base.hash)) {
          base = {};
          base.hash = kFnvBasis;
        }
      }
    } else if (legacy.present && file.day_start == legacy.progress.day_start &&
               HasExportedBytes(file.path, legacy.progress, status)) {
      base = legacy.progress;
    } else {
      // A path new to the cursor: a copy of a file of the same day (restored
      // into another folder, say) begins where that file's entry ended.
      for (const FileProgress& entry : next_.files) {
        if (entry.day_start == file.day_start && entry.offset > base.offset &&
            HasExportedBytes(file.path, entry, status))
          base = entry;
      }
    }
    known_[i] = status.present || found != by_path.end();
    if (status.present) TakeStatus(status, &base);
    base.path = file.path;
    base.day_start = file.day_start;
    planned_[i] = base;
    start.offset = base.offset;
    start.day = base.day;
    start.skip = base.rest_skipped || (status.present && base.offset >= status.size);
  }

  // The entries of files this run does not read: out of its time span,
  // behind a directory that cannot be listed, or gone.
  others_.clear();
  for (size_t e = 0; e < next_.files.size(); ++e) {
    if (matched[e]) continue;
    FileProgress entry = next_.files[e];
    struct stat st;
    if (stat(entry.path.c_str(), &st) != 0 && errno == ENOENT) {
      if (entry.missing_since == 0) entry.missing_since = now;
      if (now - entry.missing_since > kForgetMissingDays * 86'400) continue;
    } else {
      entry.missing_since = 0;
    }
    others_.push_back(std::move(entry));
  }
  base_files_ = others_;
  for (size_t i = 0; i < planned_.size(); ++i)
    if (known_[i]) base_files_.push_back(planned_[i]);
  SortEntries(&base_files_);
  return starts;
}

void StateCursor::Advance(const std::vector<ArchiveFileEntry>& files,
                          const std::vector<ReadPosition>& consumed) {
  for (const ReadPosition& p : consumed) {
    FileProgress& f = planned_[p.file];
    known_[p.file] = true;
    if (f.device != p.device || f.inode != p.inode) {
      // Another file took the name between Plan() and its reading: it was
      // read from the offset planned for the one before; the next run
      // checks the bytes again.
      f.device = p.device;
      f.inode = p.inode;
      f.size = 0;
      f.mtime_ns = 0;
    }
    uint64_t hash = f.hash;
    if (p.offset < f.offset ||
        !ExtendPrefixHash(files[p.file].path, f.offset, p.offset, p.device, p.inode, &hash))
      hash = 0;  // changed while it was read: the next run sees it changed
    f.hash = hash;
    f.offset = p.offset;
    f.day = p.day;
    f.rest_skipped = p.rest_skipped;
  }
  next_.files = others_;
  for (size_t i = 0; i < planned_.size(); ++i)
    if (known_[i]) next_.files.push_back(planned_[i]);
  SortEntries(&next_.files);
  next_.legacy = {};
  next_.commit = ExportState::Commit::kNone;
  next_.commit_hidden.clear();
  next_.next.clear();
}

bool StateCursor::Write(const ExportState& state, std::string* err) {
  if (!SaveState(path_, state, err)) return false;
  saved_ = state;
  return true;
}

bool StateCursor::Save(std::string* err) {
  if (next_ == saved_) return true;
  return Write(next_, err);
}

bool StateCursor::RecordRenames(const std::vector<std::string>& renames,
                                const std::vector<DayFile>& days, std::string* err) {
  ExportState state = next_;
  state.files = base_files_;
  state.days = saved_.days;
  state.commit = ExportState::Commit::kRenames;
  state.commit_hidden.clear();
  state.renames = renames;
  state.next = next_.files;
  state.next_days = days;
  return Write(state, err);
}

bool StateCursor::Naming(const std::string& hidden) {
  ExportState state = next_;
  state.files = base_files_;
  state.commit = ExportState::Commit::kIntent;
  state.commit_hidden = hidden;
  state.next.clear();
  return Write(state, &error_);
}

bool StateCursor::Named(const std::string& hidden) {
  ExportState state = next_;
  state.files = base_files_;
  state.commit = ExportState::Commit::kPending;
  state.commit_hidden = hidden;
  state.next = next_.files;
  return Write(state, &error_);
}

bool StateCursor::Abandoned(const std::string& hidden) {
  // Not committed; the hidden name may go once the state file says so
  // (and, should this run end first, the next run removes it).
  return Naming(hidden);
}

}  // namespace qorarc
