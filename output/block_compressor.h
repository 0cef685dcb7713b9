// Compressed output files: which compression an output name asks for, and
// one block of text compressed on its own, so that blocks made by several
// threads can be concatenated in any grouping and still read as one stream
// by gzip or zstd.
#pragma once

#include <string>
#include <string_view>

namespace qorarc {

enum class Compression { kNone, kGzip, kZstd };

// By the name's ending: ".gz" gzip, ".zst" zstd, anything else none.
Compression CompressionOf(std::string_view output_path);

// Appends `plain` to *out as one independent gzip member (kGzip) or zstd
// frame (kZstd); kNone appends `plain` as it is. An empty `plain` still makes
// a member or frame. Thread-safe: every thread compresses with contexts of
// its own. False when the compressor fails; *out may then hold part of a
// block.
bool CompressBlock(Compression kind, std::string_view plain, std::string* out);

}  // namespace qorarc
