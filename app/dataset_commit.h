// The files of a dataset run on their way into place (app/dataset_run.h).
// Every change a reader of the dataset can see is one rename of one file
// whose items no other visible file holds: a day's new file, or a new
// version of a day's open file that holds every item of the old one and
// more. A run commits per archive in three steps, each on the disk before
// the next: the hidden files complete; the state file records them
// ("commit renames") with the cursor and day table that hold once they are
// in place; the renames. A run that ends anywhere is settled by the next:
// recorded renames are rolled forward (a hidden file still there is
// complete and takes its name), and hidden files no state file records,
// those of a run that ended before it recorded them, are removed.
#pragma once

#include <string>
#include <vector>

namespace qorarc {

// Makes `path` and the folders above it that are missing, each flushed to
// the disk in its parent. False with `*err` set.
bool MakeDirectories(const std::string& path, std::string* err);

// Flushes a file, or a folder's entries, to the disk; false when it cannot
// be opened or flushed.
bool SyncToDisk(const std::string& path);

// Renames each hidden file of `renames` (relative to `root`) that is still
// there to its own name, then flushes their folders. False with `*err` set.
bool PutInPlace(const std::string& root, const std::vector<std::string>& renames,
                std::string* err);

// Settles the state file `state_path` of the dataset at `root` that a run
// left during its commit, then removes the hidden files under
// `root/<archive_folder>` that no commit records. The caller holds the
// state file's lock. False with `*err` set.
bool SettleDataset(const std::string& root, const std::string& archive_folder,
                   const std::string& state_path, std::string* err);

}  // namespace qorarc
