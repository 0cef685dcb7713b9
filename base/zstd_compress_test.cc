#include "base/zstd_compress.h"

#include <gtest/gtest.h>

#include <string>

#include "support/decompress.h"

namespace qorarc {
namespace {

// Each call appends one whole frame after what *out holds, at any level.
TEST(ZstdCompressTest, AppendsOneFramePerCall) {
  std::string plain;
  for (int i = 0; i < 20000; ++i) plain += "line " + std::to_string(i % 97) + "\n";
  for (int level : {1, kZstdDefaultLevel}) {
    SCOPED_TRACE("level " + std::to_string(level));
    std::string out = "head";
    std::string err;
    ASSERT_TRUE(ZstdCompress(plain, level, &out, &err)) << err;
    ASSERT_TRUE(ZstdCompress("", level, &out, &err)) << err;
    ASSERT_EQ(out.substr(0, 4), "head");
    EXPECT_LT(out.size(), plain.size() / 10);
    const testing::Decompressed d = testing::Decompress(false, std::string_view(out).substr(4));
    EXPECT_TRUE(d.ok);
    EXPECT_EQ(d.members, 2);
    EXPECT_EQ(d.plain, plain);
    EXPECT_EQ(err, "");
  }
}

// A shorter shortest match finds repeats that a fast level passes over:
// 5-byte words of a small vocabulary, each followed by a byte of noise, so
// that no repeat is 6 bytes long. Out of range: a message, *out as it was.
TEST(ZstdCompressTest, MinMatch) {
  std::string plain;
  uint64_t noise = 1;
  for (int i = 0; i < 50000; ++i) {
    noise = noise * 6364136223846793005u + 1442695040888963407u;
    const uint64_t word = (noise >> 60) * 0x9E3779B97F4A7C15u;  // one of 16
    for (int b = 0; b < 5; ++b) plain += static_cast<char>(word >> (8 * b + 24));
    plain += static_cast<char>(noise >> 32);
  }
  std::string level_own, five, err;
  ASSERT_TRUE(ZstdCompress(plain, 1, &level_own, &err)) << err;
  ASSERT_TRUE(ZstdCompress(plain, 1, 5, &five, &err)) << err;
  EXPECT_LT(five.size(), level_own.size() * 9 / 10);  // about 3/4
  EXPECT_EQ(testing::Decompress(false, five).plain, plain);
  std::string out = "kept";
  EXPECT_FALSE(ZstdCompress(plain, 1, 99, &out, &err));
  EXPECT_EQ(out, "kept");
  EXPECT_NE(err.find("ZSTD compression failed: "), std::string::npos) << err;
}

}  // namespace
}  // namespace qorarc
