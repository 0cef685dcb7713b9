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

// Appends bit-packed groups of 8 values from values[begin, end) (end - begin
// a multiple of 8, values past the span's end count as 0), lowest bit first.
template <typename T>
void PutBitPacked(std::span<const T> values, size_t begin, size_t end, int bit_width,
                  std::string* out) {
  PutVarint(((end - begin) / kBitPackedGroup) << 1 | 1, out);
  uint64_t buffer = 0;  // bits not yet written, lowest first
  int buffered = 0;
  for (size_t i = begin; i < end; ++i) {
    uint64_t v = i < values.size() ? static_cast<uint64_t>(values[i]) : 0;
    buffer |= v << buffered;
    buffered += bit_width;
    while (buffered >= 8) {
      out->push_back(static_cast<char>(buffer));
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

// How many times values[i] repeats from i on.
template <typename T>
size_t RunLength(std::span<const T> values, size_t i) {
  size_t j = i + 1;
  while (j < values.size() && values[j] == values[i]) ++j;
  return j - i;
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
    } while (end < values.size() && end - i < kMaxBitPackedValues &&
             RunLength(values, end) < kBitPackedGroup);
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

}  // namespace qorarc::parquet
