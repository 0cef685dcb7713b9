// Compressed bytes read back with zlib's and zstd's own decompressors: the
// plain bytes and how many gzip members or zstd frames held them.
#pragma once

#include <zlib.h>
#include <zstd.h>

#include <string>
#include <string_view>

namespace qorarc::testing {

struct Decompressed {
  bool ok = false;  // every byte belonged to a whole member or frame
  std::string plain;
  int members = 0;
};

inline Decompressed Decompress(bool gzip, std::string_view in) {
  Decompressed d;
  z_stream z{};
  if (gzip && inflateInit2(&z, 15 + 16) != Z_OK) return d;
  bool full = false;  // inflate filled the chunk: more may come without input
  while (!in.empty() || full) {
    if (gzip) {
      char chunk[16384];
      z.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(in.data()));
      z.avail_in = static_cast<uInt>(in.size());
      z.next_out = reinterpret_cast<Bytef*>(chunk);
      z.avail_out = sizeof chunk;
      const int code = inflate(&z, Z_NO_FLUSH);
      d.plain.append(chunk, sizeof chunk - z.avail_out);
      full = z.avail_out == 0;
      in.remove_prefix(in.size() - z.avail_in);
      if (code == Z_STREAM_END)
        ++d.members, inflateReset(&z);
      else if (code != Z_OK)
        break;
      d.ok = code == Z_STREAM_END;
      continue;
    }
    const size_t frame = ZSTD_findFrameCompressedSize(in.data(), in.size());
    const unsigned long long size = ZSTD_getFrameContentSize(in.data(), in.size());
    if (ZSTD_isError(frame) || size >= ZSTD_CONTENTSIZE_ERROR) return d;
    std::string plain(size, '\0');
    if (ZSTD_decompress(plain.data(), size, in.data(), frame) != size) return d;
    d.plain += plain;
    ++d.members;
    in.remove_prefix(frame);
    d.ok = true;
  }
  if (gzip) inflateEnd(&z);
  return d;
}

}  // namespace qorarc::testing
