// How many threads format an export, and how many items a batch holds.
#pragma once

#include <cstddef>

namespace qorarc {

// QORARC_THREADS when it is a whole number from 1 to 256; otherwise the
// CPUs this process may run on, at most 16. 1 means no threads at all.
int ExportThreads();

// QORARC_BATCH_ITEMS when it is a whole number from 1 up, else `fallback`.
// For tests: small batches put batch edges everywhere in small archives.
size_t ExportBatchItems(size_t fallback);

}  // namespace qorarc
