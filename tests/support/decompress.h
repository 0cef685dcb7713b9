// Reading compressed outputs back in tests, with zlib's and zstd's own
// decompressors: the plain bytes and the number of gzip members or zstd
// frames they came in.
#pragma once

#include <zlib.h>
#include <zstd.h>

#include <string>
#include <string_view>

namespace qorarc::testing {

struct Decompressed {
  bool ok = false;  // every byte belonged to a complete member or frame
  std::string plain;
  int members = 0;
};

inline Decompressed Gunzip(std::string_view in) {
  Decompressed result;
  z_stream stream{};
  if (inflateInit2(&stream, 15 + 16) != Z_OK) return result;
  stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(in.data()));
  stream.avail_in = static_cast<uInt>(in.size());
  char chunk[16384];
  int code = Z_OK;
  while (code == Z_OK) {
    stream.next_out = reinterpret_cast<Bytef*>(chunk);
    stream.avail_out = sizeof chunk;
    code = inflate(&stream, Z_NO_FLUSH);
    result.plain.append(chunk, sizeof chunk - stream.avail_out);
    if (code == Z_STREAM_END) {
      ++result.members;
      if (stream.avail_in == 0) break;
      code = inflateReset(&stream);
    }
  }
  inflateEnd(&stream);
  result.ok = code == Z_STREAM_END;
  return result;
}

inline Decompressed Unzstd(std::string_view in) {
  Decompressed result;
  while (!in.empty()) {
    const size_t frame = ZSTD_findFrameCompressedSize(in.data(), in.size());
    const unsigned long long size = ZSTD_getFrameContentSize(in.data(), in.size());
    if (ZSTD_isError(frame) || size == ZSTD_CONTENTSIZE_ERROR ||
        size == ZSTD_CONTENTSIZE_UNKNOWN)
      return result;
    std::string plain(size, '\0');
    const size_t got = ZSTD_decompress(plain.data(), plain.size(), in.data(), frame);
    if (ZSTD_isError(got) || got != size) return result;
    result.plain += plain;
    ++result.members;
    in.remove_prefix(frame);
  }
  result.ok = true;
  return result;
}

}  // namespace qorarc::testing
