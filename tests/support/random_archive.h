// Seeded random archives for the end-to-end property tests: items of every
// kind in time order at whole microseconds, some files ending in a record
// cut short.
#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "support/seeded_random.h"

namespace qorarc::testing {

// The items' times of day are whole microseconds, so that their time
// texts are exact.
inline constexpr int64_t kMicro = 1000;

// What the values may hold beyond finite numbers and texts without a line
// feed; JSON documents have no form for either.
struct RandomValues {
  bool non_finite = false;   // NaN and infinite reals
  bool text_arrays = false;  // arrays of codes 25 and 27, and line feeds in texts
};

// Writes 1 to 3 day files of "plant" under `root`. Returns the (day, time of
// day) of every item, a cut-off record's bad-record item included.
std::vector<std::pair<int64_t, int64_t>> WriteRandomArchive(Random& r, const std::string& root,
                                                            RandomValues values = {});

}  // namespace qorarc::testing
