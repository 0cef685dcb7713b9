// Blocks compressed on their own, read back with zlib and zstd, and the
// output names that ask for them.
#include "output/block_compressor.h"

#include <gtest/gtest.h>

#include <string>

#include "support/decompress.h"

namespace qorarc {
namespace {

// Each text and a second block after it read back as one stream of two
// members; "kept" shows that blocks are appended.
TEST(BlockCompressorTest, RoundTripAloneAndConcatenated) {
  std::string lines;
  for (int i = 0; lines.size() < (3u << 20); ++i) lines += "2019-12-30," + std::to_string(i) + "\n";
  for (Compression kind : {Compression::kGzip, Compression::kZstd}) {
    for (const std::string& text : {std::string(), std::string("x"), lines}) {
      SCOPED_TRACE(std::to_string(text.size()) + (kind == Compression::kGzip ? " gzip" : " zstd"));
      std::string out = "kept";
      ASSERT_TRUE(CompressBlock(kind, text, &out));
      ASSERT_TRUE(CompressBlock(kind, "tail\n", &out));
      ASSERT_EQ(out.substr(0, 4), "kept");
      testing::Decompressed d = testing::Decompress(kind == Compression::kGzip, out.substr(4));
      EXPECT_TRUE(d.ok);
      EXPECT_EQ(d.members, 2);
      EXPECT_TRUE(d.plain == text + "tail\n");
    }
  }
  std::string plain = "a";
  ASSERT_TRUE(CompressBlock(Compression::kNone, "bc", &plain));
  EXPECT_EQ(plain, "abc");
}

TEST(BlockCompressorTest, CompressionOfTheOutputName) {
  const std::pair<const char*, Compression> cases[] = {
      {"out.gz", Compression::kGzip},      {"dir.zst/x.csv.gz", Compression::kGzip},
      {"x.jsonl.zst", Compression::kZstd}, {"out.GZ", Compression::kNone},
      {"out.gz.json", Compression::kNone}, {"outgz", Compression::kNone},
      {"out.zstd", Compression::kNone},    {"", Compression::kNone},
  };
  for (const auto& [path, kind] : cases) EXPECT_EQ(CompressionOf(path), kind) << path;
}

}  // namespace
}  // namespace qorarc
