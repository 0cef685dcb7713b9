// ZSTD compression of a whole buffer into one frame, with a context kept
// per thread: the one place that sets up ZSTD for the Parquet pages and the
// .zst output files.
#pragma once

#include <string>
#include <string_view>

namespace qorarc {

// ZSTD's own default level (ZSTD_CLEVEL_DEFAULT).
inline constexpr int kZstdDefaultLevel = 3;

// Appends `plain`, compressed at `level` as one frame, to *out. On failure
// *out is as it was and *err says why.
bool ZstdCompress(std::string_view plain, int level, std::string* out, std::string* err);
// The same with the shortest match ZSTD looks for set to `min_match` bytes (3
// to 7) instead of the level's own (0): 5 finds the repeats of 8-byte numbers
// that share their high bytes, which the fast levels' 6 misses, at the
// same speed.
bool ZstdCompress(std::string_view plain, int level, int min_match, std::string* out,
                  std::string* err);

}  // namespace qorarc
