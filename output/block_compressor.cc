#include "output/block_compressor.h"

#include <zlib.h>
#include <zstd.h>

#include <algorithm>
#include <climits>
#include <memory>

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

struct ZstdContextFree {
  void operator()(ZSTD_CCtx* context) const { ZSTD_freeCCtx(context); }
};

bool CompressZstd(std::string_view plain, std::string* out) {
  // One context per thread, kept: making one costs more than a small block.
  thread_local std::unique_ptr<ZSTD_CCtx, ZstdContextFree> context(ZSTD_createCCtx());
  if (context == nullptr) return false;
  const size_t start = out->size();
  out->resize(start + ZSTD_compressBound(plain.size()));
  const size_t size = ZSTD_compressCCtx(context.get(), out->data() + start, out->size() - start,
                                        plain.data(), plain.size(), ZSTD_CLEVEL_DEFAULT);
  if (ZSTD_isError(size)) {
    out->resize(start);
    return false;
  }
  out->resize(start + size);
  return true;
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
