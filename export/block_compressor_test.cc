// One block compressed on its own: read back by zlib and zstd, alone and
// concatenated, and the output names that ask for it.
#include "export/block_compressor.h"

#include <gtest/gtest.h>

#include <string>

#include "support/decompress.h"

namespace qorarc {
namespace {

using testing::Decompressed;

Decompressed Decompress(Compression kind, const std::string& bytes) {
  return kind == Compression::kGzip ? testing::Gunzip(bytes) : testing::Unzstd(bytes);
}

// Text that compresses, in lines like an export's, and bytes that do not.
std::string Lines(size_t size) {
  std::string text;
  for (int i = 0; text.size() < size; ++i) text += "2019-12-30," + std::to_string(i * 7919) + "\n";
  text.resize(size);
  return text;
}

std::string Noise(size_t size) {
  std::string bytes(size, '\0');
  uint32_t x = 12345;
  for (char& c : bytes) c = static_cast<char>((x = x * 1103515245 + 12345) >> 23);
  return bytes;
}

TEST(BlockCompressorTest, RoundTripAloneAndConcatenated) {
  struct Case {
    const char* what;
    std::string plain;
  };
  const Case cases[] = {
      {"empty", ""},
      {"one byte", "x"},
      {"lines of 3 MiB", Lines(3 << 20)},
      {"noise of 100 kB", Noise(100'000)},
  };
  const std::string magic[] = {"\x1f\x8b", "\x28\xb5\x2f\xfd"};
  for (Compression kind : {Compression::kGzip, Compression::kZstd}) {
    for (const Case& c : cases) {
      SCOPED_TRACE(std::string(c.what) + (kind == Compression::kGzip ? " gzip" : " zstd"));
      std::string out = "kept";
      ASSERT_TRUE(CompressBlock(kind, c.plain, &out));
      ASSERT_EQ(out.substr(0, 4), "kept");
      const std::string block = out.substr(4);
      EXPECT_EQ(block.substr(0, magic[kind == Compression::kZstd].size()),
                magic[kind == Compression::kZstd]);
      Decompressed alone = Decompress(kind, block);
      EXPECT_TRUE(alone.ok);
      EXPECT_EQ(alone.members, 1);
      EXPECT_TRUE(alone.plain == c.plain);
      // A second block after it: one stream of both texts.
      std::string both = block;
      ASSERT_TRUE(CompressBlock(kind, "tail\n", &both));
      Decompressed joined = Decompress(kind, both);
      EXPECT_TRUE(joined.ok);
      EXPECT_EQ(joined.members, 2);
      EXPECT_TRUE(joined.plain == c.plain + "tail\n");
      // Cut short, it is no longer a whole stream.
      EXPECT_FALSE(Decompress(kind, both.substr(0, both.size() - 1)).ok);
    }
  }
}

TEST(BlockCompressorTest, NoneAppendsThePlainText) {
  std::string out = "a";
  ASSERT_TRUE(CompressBlock(Compression::kNone, "bc", &out));
  EXPECT_EQ(out, "abc");
}

TEST(BlockCompressorTest, CompressionOfTheOutputName) {
  struct Case {
    const char* path;
    Compression kind;
  };
  const Case cases[] = {
      {"out.gz", Compression::kGzip},         {"dir.zst/x.csv.gz", Compression::kGzip},
      {"x.jsonl.zst", Compression::kZstd},    {".zst", Compression::kZstd},
      {"out.json", Compression::kNone},       {"out.GZ", Compression::kNone},
      {"out.gz.json", Compression::kNone},    {"outgz", Compression::kNone},
      {"out.zstd", Compression::kNone},       {"", Compression::kNone},
  };
  for (const Case& c : cases) EXPECT_EQ(CompressionOf(c.path), c.kind) << c.path;
}

}  // namespace
}  // namespace qorarc
