#include "app/dataset_commit.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <set>

#include "app/dataset_layout.h"
#include "app/export_state.h"

namespace qorarc {
namespace {

std::string ParentOf(const std::string& path) {
  const std::filesystem::path parent = std::filesystem::path(path).parent_path();
  return parent.empty() ? "." : parent.string();
}

}  // namespace

bool SyncToDisk(const std::string& path) {
  const int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (fd < 0) return false;
  const bool ok = fsync(fd) == 0;
  close(fd);
  return ok;
}

bool MakeDirectories(const std::string& path, std::string* err) {
  struct stat st;
  if (stat(path.c_str(), &st) == 0) {
    if (S_ISDIR(st.st_mode)) return true;
    *err = "Failed to make folder '" + path + "': " + std::strerror(ENOTDIR) + ".";
    return false;
  }
  const std::string parent = ParentOf(path);
  if (parent != path && !MakeDirectories(parent, err)) return false;
  if (mkdir(path.c_str(), 0777) != 0 && errno != EEXIST) {
    *err = "Failed to make folder '" + path + "': " + std::strerror(errno) + ".";
    return false;
  }
  // The new folder's name on the disk before anything in it counts.
  if (!SyncToDisk(parent)) {
    *err = "Failed to make folder '" + path + "': " + std::strerror(errno) + ".";
    return false;
  }
  return true;
}

bool PutInPlace(const std::string& root, const std::vector<std::string>& renames,
                std::string* err) {
  std::set<std::string> folders;
  for (const std::string& hidden : renames) {
    const std::filesystem::path relative(hidden);
    std::string file_name;
    if (!IsPartName(relative.filename().string(), &file_name)) {
      *err = "Not a file on its way into the dataset: '" + hidden + "'.";
      return false;
    }
    const std::string from = root + '/' + hidden;
    const std::string folder = ParentOf(from);
    const std::string to = folder + '/' + file_name;
    struct stat st;
    if (lstat(from.c_str(), &st) != 0) continue;  // in place already
    if (rename(from.c_str(), to.c_str()) != 0) {
      *err = "Failed to rename '" + from + "' to '" + to + "': " + std::strerror(errno) + ".";
      return false;
    }
    folders.insert(folder);
  }
  for (const std::string& folder : folders) {
    if (!SyncToDisk(folder)) {
      *err = "Failed to write to '" + folder + "': " + std::strerror(errno) + ".";
      return false;
    }
  }
  return true;
}

bool SettleDataset(const std::string& root, const std::string& archive_folder,
                   const std::string& state_path, std::string* err) {
  ExportState state;
  const StateLoad load = LoadState(state_path, &state, err);
  if (load == StateLoad::kFailed) return false;
  if (load == StateLoad::kLoaded && state.commit == ExportState::Commit::kRenames) {
    // Every hidden file was complete before it was recorded: roll forward.
    if (!PutInPlace(root, state.renames, err)) return false;
    state.files = std::move(state.next);
    state.days = std::move(state.next_days);
    state.next.clear();
    state.next_days.clear();
    state.renames.clear();
    state.commit = ExportState::Commit::kNone;
    if (!SaveState(state_path, state, err)) return false;
  }
  // What is left hidden was never recorded: an export that did not end.
  std::error_code ec;
  const std::filesystem::path archive_dir = std::filesystem::path(root) / archive_folder;
  for (const auto& day : std::filesystem::directory_iterator(archive_dir, ec)) {
    std::error_code day_ec;
    if (!day.is_directory(day_ec)) continue;
    for (const auto& file : std::filesystem::directory_iterator(day.path(), day_ec)) {
      if (IsPartName(file.path().filename().string())) unlink(file.path().c_str());
    }
  }
  return true;
}

}  // namespace qorarc
