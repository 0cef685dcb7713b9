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

}  // namespace
}  // namespace qorarc
