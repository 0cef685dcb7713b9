// The value encodings of Parquet pages that the encoder uses: PLAIN, the
// RLE/bit-packed hybrid of definition levels and dictionary indices, and
// DELTA_BINARY_PACKED for integers.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace qorarc::parquet {

void PutFixed32(uint32_t value, std::string* out);  // little-endian
void PutFixed64(uint64_t value, std::string* out);

// PLAIN: little-endian numbers back to back. The INT32 values must fit.
void EncodePlainInt32(std::span<const int64_t> values, std::string* out);
void EncodePlainInt64(std::span<const int64_t> values, std::string* out);
void EncodePlainDouble(std::span<const double> values, std::string* out);
// PLAIN byte arrays: each value its 4-byte length and its bytes. Value i
// ends at ends[i] in `text` and starts where value i-1 ends (0 for the first);
// the ends must not decrease nor pass the end of `text`.
void EncodePlainByteArrays(std::string_view text, std::span<const uint32_t> ends,
                           std::string* out);

// The fewest bits that hold every number below `count` (at least 1, so that
// a dictionary of one value still has indices of a width every reader takes).
int BitWidthFor(uint64_t count);

// The RLE/bit-packed hybrid of `values` at `bit_width` (1 to 32), without the
// length prefix: a value repeated 8 times or more makes an RLE run, the
// others go bit-packed in groups of 8, the last group padded with zeros.
// Every value must fit the bit width.
void EncodeRleHybrid(std::span<const uint8_t> values, int bit_width, std::string* out);
void EncodeRleHybrid(std::span<const int64_t> values, int bit_width, std::string* out);
void EncodeRleHybrid(std::span<const uint32_t> values, int bit_width, std::string* out);

// DELTA_BINARY_PACKED: blocks of kDeltaBlockValues differences between
// consecutive values, each block its smallest difference and, per miniblock
// of kDeltaMiniblockValues, the differences above it bit-packed at the
// fewest bits that hold them (0 to 64). Differences wrap around as 64-bit
// numbers do, so every INT64 sequence is encoded, extremes included.
void EncodeDeltaBinaryPacked(std::span<const int64_t> values, std::string* out);

}  // namespace qorarc::parquet
