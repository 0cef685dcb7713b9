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

}  // namespace qorarc
