// A "--dataset DIR" run: each archive named (or, with --all, each one found
// under the input) exported as Parquet into a Hive-style dataset
// (app/dataset_layout.h), one archive after another, each with its cursor
// and lock in DIR/_qorarc, so that repeated runs add each item exactly once.
//
// Each day of an archive has one open file. A run that finds new records of
// a day exports the day again, from where its open file begins to the new
// end, into a hidden file in the day's folder, and renames it over the open
// file: the new version holds every item of the old one and the new ones,
// so a reader that lists the dataset at any instant sees each item once,
// and a reader that has the old file open goes on reading it. A finished
// day is thus one file. When an archive file that a day's open file covers
// is gone or no longer has the bytes it was exported from (or its export
// gives another number of items), the file is sealed, never written again,
// and the day's new items go into its next file. The commit of each archive
// is that of app/dataset_commit.h.
#pragma once

#include "app/options.h"

namespace qorarc {

// Runs the dataset export of `options` (--dataset or --all given) and
// returns the exit status: 1 for options that do not go together, -1 when
// something could not be written, else 4 when an archive was in use by
// another run for longer than --state-wait (and skipped), else 2 when some
// archive data could not be read, else 0 (3 with --strict when an archive
// was not found).
int RunDataset(const Options& options);

}  // namespace qorarc
