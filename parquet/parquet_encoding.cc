#include "parquet/parquet_encoding.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <limits>
#include <type_traits>

#include "parquet/parquet_format.h"
#include "parquet/parquet_thrift.h"

namespace qorarc::parquet {

void PutFixed32(uint32_t value, std::string* out) {
  for (size_t i = 0; i < kInt32Bytes; ++i) out->push_back(static_cast<char>(value >> (8 * i)));
}

void PutFixed64(uint64_t value, std::string* out) {
  for (size_t i = 0; i < kInt64Bytes; ++i) out->push_back(static_cast<char>(value >> (8 * i)));
}

namespace {

// PLAIN numbers: little-endian, back to back. Written by storing each
// number's bytes in place, which on a little-endian machine the compiler
// turns into plain copies.
template <typename Stored, typename T>
void EncodePlain(std::span<const T> values, std::string* out) {
  const size_t at = out->size();
  out->resize(at + values.size() * sizeof(Stored));
  char* p = out->data() + at;
  for (const T v : values) {
    uint64_t bits;
    if constexpr (std::is_floating_point_v<T>) {
      bits = std::bit_cast<uint64_t>(v);
    } else {
      bits = static_cast<uint64_t>(v);
    }
    if constexpr (std::endian::native == std::endian::little) {
      std::memcpy(p, &bits, sizeof(Stored));
    } else {
      for (size_t i = 0; i < sizeof(Stored); ++i) p[i] = static_cast<char>(bits >> (8 * i));
    }
    p += sizeof(Stored);
  }
}

}  // namespace

void EncodePlainInt32(std::span<const int64_t> values, std::string* out) {
  EncodePlain<uint32_t>(values, out);
}

void EncodePlainInt64(std::span<const int64_t> values, std::string* out) {
  EncodePlain<uint64_t>(values, out);
}

void EncodePlainDouble(std::span<const double> values, std::string* out) {
  EncodePlain<uint64_t>(values, out);
}

void EncodePlainByteArrays(std::string_view text, std::span<const uint32_t> ends,
                           std::string* out) {
  out->reserve(out->size() + text.size() + ends.size() * kByteArrayLengthBytes);
  uint32_t begin = 0;
  for (uint32_t end : ends) {
    PutFixed32(end - begin, out);
    out->append(text.substr(begin, end - begin));
    begin = end;
  }
}

int BitWidthFor(uint64_t count) {
  return count <= 2 ? 1 : static_cast<int>(std::bit_width(count - 1));
}

namespace {

// Eight definition levels (bytes 0 or 1) from p, as the 8 bits of a
// bit-packed group, the first lowest: the product puts byte i's bit at bit
// 56 + i, and no two of its terms share a bit.
uint8_t PackLevels(const uint8_t* p) {
  uint64_t bytes;
  std::memcpy(&bytes, p, sizeof bytes);
  return static_cast<uint8_t>((bytes * 0x0102040810204080u) >> 56);
}

// Appends bit-packed groups of 8 values from values[begin, end) (end - begin
// a multiple of 8, values past the span's end count as 0), lowest bit first.
template <typename T>
void PutBitPacked(std::span<const T> values, size_t begin, size_t end, int bit_width,
                  std::string* out) {
  PutVarint(((end - begin) / kBitPackedGroup) << 1 | 1, out);
  const size_t at = out->size();
  out->resize(at + (end - begin) / kBitPackedGroup * static_cast<size_t>(bit_width));
  char* p = out->data() + at;
  size_t i = begin;
  if constexpr (std::is_same_v<T, uint8_t> && std::endian::native == std::endian::little) {
    if (bit_width == 1) {
      for (; i + kBitPackedGroup <= std::min(end, values.size()); i += kBitPackedGroup)
        *p++ = static_cast<char>(PackLevels(values.data() + i));
    }
  }
  if constexpr (std::endian::native == std::endian::little) {
    if (bit_width <= 16) {
      // A group of 8 values of up to 16 bits is at most 16 bytes: two
      // halves of 4 values, joined in two words.
      const int half = 4 * bit_width;
      for (; i + kBitPackedGroup <= std::min(end, values.size()); i += kBitPackedGroup) {
        const T* v = values.data() + i;
        uint64_t low = 0, high = 0;
        for (int j = 0; j < 4; ++j) {
          low |= static_cast<uint64_t>(v[j]) << (j * bit_width);
          high |= static_cast<uint64_t>(v[4 + j]) << (j * bit_width);
        }
        uint64_t words[2] = {low | (half < 64 ? high << half : 0),
                             half < 64 ? (half == 0 ? 0 : high >> (64 - half)) : high};
        std::memcpy(p, words, static_cast<size_t>(bit_width));
        p += bit_width;
      }
    }
  }
  uint64_t buffer = 0;  // bits not yet written, lowest first
  int buffered = 0;
  for (; i < end; ++i) {
    uint64_t v = i < values.size() ? static_cast<uint64_t>(values[i]) : 0;
    buffer |= v << buffered;
    buffered += bit_width;
    while (buffered >= 8) {
      *p++ = static_cast<char>(buffer);
      buffer >>= 8;
      buffered -= 8;
    }
  }
  // 8 values of any width fill whole bytes, so nothing is left over.
}

void PutRleRun(uint64_t value, size_t count, int bit_width, std::string* out) {
  PutVarint(static_cast<uint64_t>(count) << 1, out);
  for (int i = 0; i < (bit_width + 7) / 8; ++i) out->push_back(static_cast<char>(value >> (8 * i)));
}

// Whether the 8 bytes from p all equal `byte`.
bool EightOf(const uint8_t* p, uint8_t byte) {
  uint64_t bytes;
  std::memcpy(&bytes, p, sizeof bytes);
  return bytes == byte * uint64_t{0x0101010101010101};
}

// How many times values[i] repeats from i on.
template <typename T>
size_t RunLength(std::span<const T> values, size_t i) {
  size_t j = i + 1;
  if constexpr (std::is_same_v<T, uint8_t>) {
    while (j + 8 <= values.size() && EightOf(values.data() + j, values[i])) j += 8;
  }
  while (j < values.size() && values[j] == values[i]) ++j;
  return j - i;
}

// Whether a run of at least 8 values starts at values[i].
template <typename T>
bool RunOfAGroup(std::span<const T> values, size_t i) {
  if (i + kBitPackedGroup > values.size()) return false;
  if constexpr (std::is_same_v<T, uint8_t>) {
    return EightOf(values.data() + i, values[i]);
  } else {
    for (size_t j = i + 1; j < i + kBitPackedGroup; ++j)
      if (values[j] != values[i]) return false;
    return true;
  }
}

// A run counts at most 2^31 - 1 values, so that readers can keep the count in
// a signed 32-bit number.
constexpr size_t kMaxRunValues = std::numeric_limits<int32_t>::max();
constexpr size_t kMaxBitPackedValues = kMaxRunValues / kBitPackedGroup * kBitPackedGroup;

template <typename T>
void EncodeHybrid(std::span<const T> values, int bit_width, std::string* out) {
  size_t i = 0;
  while (i < values.size()) {
    size_t run = std::min(RunLength(values, i), kMaxRunValues);
    if (run >= kBitPackedGroup) {
      PutRleRun(static_cast<uint64_t>(values[i]), run, bit_width, out);
      i += run;
      continue;
    }
    // Groups of 8 until a run of 8 starts at a group boundary or the values end.
    size_t end = i;
    do {
      end += kBitPackedGroup;
    } while (end < values.size() && end - i < kMaxBitPackedValues && !RunOfAGroup(values, end));
    PutBitPacked(values, i, end, bit_width, out);
    i = end;
  }
}

}  // namespace

void EncodeRleHybrid(std::span<const uint8_t> values, int bit_width, std::string* out) {
  EncodeHybrid(values, bit_width, out);
}

void EncodeRleHybrid(std::span<const int64_t> values, int bit_width, std::string* out) {
  EncodeHybrid(values, bit_width, out);
}

void EncodeRleHybrid(std::span<const uint32_t> values, int bit_width, std::string* out) {
  EncodeHybrid(values, bit_width, out);
}

namespace {

// Appends `values` (a multiple of 8 of them, each below 2^bit_width) packed
// at `bit_width` bits, lowest bit first: 0 bits write nothing.
void PackBits(std::span<const uint64_t> values, int bit_width, std::string* out) {
  if (bit_width == 0) return;
  const size_t at = out->size();
  out->resize(at + values.size() * bit_width / 8);
  char* p = out->data() + at;
  uint64_t buffer = 0;  // bits not yet written, lowest first
  int buffered = 0;     // below 64
  for (const uint64_t v : values) {
    buffer |= v << buffered;
    buffered += bit_width;
    if (buffered >= 64) {
      for (int i = 0; i < 8; ++i) *p++ = static_cast<char>(buffer >> (8 * i));
      buffered -= 64;
      // The bits of v that did not fit.
      buffer = buffered == 0 ? 0 : v >> (bit_width - buffered);
    }
  }
  // 8 values of any width fill whole bytes.
  for (int i = 0; i < buffered / 8; ++i) *p++ = static_cast<char>(buffer >> (8 * i));
}

}  // namespace

void EncodeDeltaBinaryPacked(std::span<const int64_t> values, std::string* out) {
  PutVarint(kDeltaBlockValues, out);
  PutVarint(kDeltaMiniblocks, out);
  PutVarint(values.size(), out);
  PutVarint(ZigZag(values.empty() ? 0 : values[0]), out);
  uint64_t deltas[kDeltaBlockValues];
  for (size_t begin = 1; begin < values.size(); begin += kDeltaBlockValues) {
    const size_t n = std::min(kDeltaBlockValues, values.size() - begin);
    int64_t min_delta = std::numeric_limits<int64_t>::max();
    for (size_t i = 0; i < n; ++i) {
      // Differences and their offsets from the smallest wrap as unsigned numbers.
      deltas[i] = static_cast<uint64_t>(values[begin + i]) - static_cast<uint64_t>(values[begin + i - 1]);
      min_delta = std::min(min_delta, static_cast<int64_t>(deltas[i]));
    }
    std::fill(deltas + n, deltas + kDeltaBlockValues, static_cast<uint64_t>(min_delta));
    for (uint64_t& d : deltas) d -= static_cast<uint64_t>(min_delta);
    PutVarint(ZigZag(min_delta), out);
    // Miniblocks past the values have width 0 and no bytes.
    int widths[kDeltaMiniblocks];
    for (size_t m = 0; m < kDeltaMiniblocks; ++m) {
      uint64_t all = 0;
      for (size_t i = m * kDeltaMiniblockValues; i < (m + 1) * kDeltaMiniblockValues; ++i)
        all |= deltas[i];
      widths[m] = m * kDeltaMiniblockValues < n ? std::bit_width(all) : 0;
      out->push_back(static_cast<char>(widths[m]));
    }
    for (size_t m = 0; m < kDeltaMiniblocks; ++m) {
      PackBits(std::span<const uint64_t>(deltas + m * kDeltaMiniblockValues, kDeltaMiniblockValues),
               widths[m], out);
    }
  }
}

}  // namespace qorarc::parquet
