#include "output/block_compressor.h"

#include <zlib.h>

#include <algorithm>
#include <climits>

#include "base/zstd_compress.h"

namespace qorarc {
namespace {

// zlib counts in 32-bit unsigned ints; longer texts go in slices.
constexpr size_t kZlibSlice = 1u << 30;

bool CompressGzip(std::string_view plain, std::string* out) {
  z_stream stream{};
  // 15 + 16: a 32 KiB window in a gzip wrapper rather than a zlib one.
  if (deflateInit2(&stream, Z_DEFAULT_COMPRESSION, Z_DEFLATED, 15 + 16, 8, Z_DEFAULT_STRATEGY) !=
      Z_OK)
    return false;
  const size_t start = out->size();
  const size_t bound = plain.size() <= kZlibSlice
                           ? deflateBound(&stream, static_cast<uLong>(plain.size()))
                           : plain.size() + plain.size() / 1000 + 4096;
  out->resize(start + bound);
  size_t written = 0;
  size_t read = 0;
  int result = Z_OK;
  while (result == Z_OK) {
    const size_t in_slice = std::min(plain.size() - read, kZlibSlice);
    stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(plain.data() + read));
    stream.avail_in = static_cast<uInt>(in_slice);
    if (out->size() - start - written < 4096) out->resize(out->size() + out->size() / 2 + 4096);
    const size_t out_slice = std::min(out->size() - start - written, kZlibSlice);
    stream.next_out = reinterpret_cast<Bytef*>(out->data() + start + written);
    stream.avail_out = static_cast<uInt>(out_slice);
    const bool last = read + in_slice == plain.size();
    result = deflate(&stream, last ? Z_FINISH : Z_NO_FLUSH);
    read += in_slice - stream.avail_in;
    written += out_slice - stream.avail_out;
  }
  deflateEnd(&stream);
  out->resize(start + written);
  return result == Z_STREAM_END;
}

bool CompressZstd(std::string_view plain, std::string* out) {
  std::string err;  // a failed block fails the file: the reason is not shown
  return ZstdCompress(plain, kZstdDefaultLevel, out, &err);
}

}  // namespace

Compression CompressionOf(std::string_view output_path) {
  if (output_path.ends_with(".gz")) return Compression::kGzip;
  if (output_path.ends_with(".zst")) return Compression::kZstd;
  return Compression::kNone;
}

bool CompressBlock(Compression kind, std::string_view plain, std::string* out) {
  switch (kind) {
    case Compression::kGzip:
      return CompressGzip(plain, out);
    case Compression::kZstd:
      return CompressZstd(plain, out);
    case Compression::kNone:
      break;
  }
  out->append(plain);
  return true;
}

}  // namespace qorarc
