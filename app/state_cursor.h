// The cursor of "--state FILE" runs: how much of each archive file earlier
// runs exported (app/export_state.h), so that each run exports every record
// no earlier run exported, in whatever file, day or folder it is (a late
// file, an append to an earlier day, a clock that jumped), and none twice.
//
// A file is known by its path, and by its content where the path is new: a
// file whose first bytes are those an entry of the same day exported (a
// copy put in place of the file, a restored duplicate in another folder)
// begins where that entry ended. A file that no longer has the bytes its
// entry exported is exported again from its start, with a line that says
// so. An entry whose file is gone is kept for kForgetMissingDays days of the
// host's clock (a file that comes back in that time is not exported again),
// then dropped: the file holds one line per file of the archive and per
// file gone lately.
//
// With an output file that takes its name when complete, the output and the
// cursor commit as one step: the state file first records the output's
// hidden name ("intent"), then, once the output is whole under that name,
// the new cursor beside the old one ("pending"); the rename of the output
// to its own name is the commit. A run that ends anywhere in between is
// settled by the next one: a hidden name still there means the output never
// took its name (it is removed and the old cursor holds), a hidden name gone
// means it did (the new cursor holds).
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "app/export_state.h"
#include "archive/discovery.h"
#include "archive/item_filter.h"
#include "archive/read_position.h"
#include "output/output_file.h"

namespace qorarc {

inline constexpr int64_t kForgetMissingDays = 30;

// FNV-1a 64 of the bytes [from, to) of the file at `path`, continuing from
// `*hash` (the hash of the bytes before `from`). The file must still be the
// one of `device` and `inode`; false when it is not, or when it cannot be
// read or is shorter.
bool ExtendPrefixHash(const std::string& path, uint64_t from, uint64_t to, uint64_t device,
                      uint64_t inode, uint64_t* hash);

class StateCursor : public CommitObserver {
 public:
  // Reads FILE and settles a commit that an earlier run did not finish; a
  // missing FILE starts an empty cursor. The filter's from-time becomes the
  // first run's, for every run. False with `*err` set: FILE cannot be read
  // or written, is not valid, or belongs to another archive.
  bool Load(const std::string& path, ItemFilter* filter, std::string* err);

  // Where the loop begins in each of `files` (sorted by day). Writes the
  // line of each file whose exported bytes changed, which is exported from
  // its start, and sets `*changed`.
  std::vector<FileStart> Plan(const std::vector<ArchiveFileEntry>& files, bool* changed);

  // Takes what the export consumed of the files given to Plan(): the cursor
  // to save.
  void Advance(const std::vector<ArchiveFileEntry>& files,
               const std::vector<ReadPosition>& consumed);

  // Writes the new cursor as FILE, when it differs from the one on the
  // disk. False with `*err` set.
  bool Save(std::string* err);

  // A dataset's table of day files (app/dataset_run.h), as loaded, and the
  // one to save with the cursor.
  const std::vector<DayFile>& days() const { return next_.days; }
  void SetDays(std::vector<DayFile> days) { next_.days = std::move(days); }

  // A dataset's commit (app/dataset_commit.h): records the hidden files
  // `renames` with the cursor and the day table `days` that hold once they
  // are in place. False with `*err` set.
  bool RecordRenames(const std::vector<std::string>& renames, const std::vector<DayFile>& days,
                     std::string* err);

  // The steps of an output file's commit (see above).
  bool Naming(const std::string& hidden) override;
  bool Named(const std::string& hidden) override;
  bool Abandoned(const std::string& hidden) override;
  // What made a step refuse.
  const std::string& error() const { return error_; }

 private:
  bool Write(const ExportState& state, std::string* err);

  std::string path_;
  ExportState saved_;  // as FILE holds it
  ExportState next_;   // the cursor after this run
  // Per file given to Plan(): its progress before the export, and whether
  // there is any to keep (a file that could not even be examined has none).
  std::vector<FileProgress> planned_;
  std::vector<bool> known_;
  std::vector<FileProgress> others_;  // entries of files not given to Plan()
  // The cursor before this run's export, in this run's terms: what the
  // state file holds while the output is on its way.
  std::vector<FileProgress> base_files_;
  std::string error_;
};

}  // namespace qorarc
