// The compressing stream buffer: members of the set size whatever the
// flushes, compressed blocks in their place, and failures as stream failures.
#include "export/compressing_streambuf.h"

#include <gtest/gtest.h>

#include <ostream>
#include <sstream>
#include <string>

#include "support/decompress.h"

namespace qorarc {
namespace {

using testing::Decompressed;

Decompressed Decompress(Compression kind, const std::string& bytes) {
  return kind == Compression::kGzip ? testing::Gunzip(bytes) : testing::Unzstd(bytes);
}

// Takes `room` bytes, then refuses writes.
class LimitedSink : public std::streambuf {
 public:
  explicit LimitedSink(size_t room) : room_(room) {}
  std::string bytes;

 protected:
  std::streamsize xsputn(const char* s, std::streamsize n) override {
    const size_t taken = std::min(static_cast<size_t>(n), room_ - bytes.size());
    bytes.append(s, taken);
    return static_cast<std::streamsize>(taken);
  }
  int_type overflow(int_type c) override {
    const char ch = traits_type::to_char_type(c);
    return xsputn(&ch, 1) == 1 ? c : traits_type::eof();
  }

 private:
  size_t room_;
};

TEST(CompressingStreambufTest, MembersAreFullWhateverTheFlushes) {
  for (Compression kind : {Compression::kGzip, Compression::kZstd}) {
    SCOPED_TRACE(kind == Compression::kGzip ? "gzip" : "zstd");
    std::stringbuf sink;
    CompressingStreambuf buffer(kind, &sink, 1000);
    std::ostream out(&buffer);
    std::string plain;
    struct Step {
      size_t size;
      size_t members_after;  // members in the sink after the write and a flush
    };
    // 999 bytes wait; the 1000th makes a member; a write of 2500 bytes
    // fills two more and leaves 499 waiting.
    const Step steps[] = {{1, 0}, {998, 0}, {1, 1}, {2500, 3}, {0, 3}};
    char next = 'a';
    for (const Step& step : steps) {
      std::string piece(step.size, next);
      next = next == 'z' ? 'a' : next + 1;
      out << piece << std::flush;
      plain += piece;
      EXPECT_EQ(Decompress(kind, sink.str()).members, static_cast<int>(step.members_after));
    }
    ASSERT_TRUE(buffer.Finish());
    Decompressed result = Decompress(kind, sink.str());
    EXPECT_TRUE(result.ok);
    EXPECT_EQ(result.members, 4);
    EXPECT_EQ(result.plain, plain);
    out << "late" << std::flush;  // after Finish(): refused
    EXPECT_FALSE(out);
    EXPECT_EQ(Decompress(kind, sink.str()).plain, plain);
  }
}

TEST(CompressingStreambufTest, CompressedBlocksKeepTheirPlace) {
  for (Compression kind : {Compression::kGzip, Compression::kZstd}) {
    SCOPED_TRACE(kind == Compression::kGzip ? "gzip" : "zstd");
    std::stringbuf sink;
    CompressingStreambuf buffer(kind, &sink);
    std::ostream out(&buffer);
    std::string block;
    ASSERT_TRUE(CompressBlock(kind, "[block]", &block));
    out << "before";
    ASSERT_TRUE(buffer.WriteCompressed(block.data(), block.size()));
    ASSERT_TRUE(buffer.WriteCompressed(block.data(), block.size()));
    out << "after";
    ASSERT_TRUE(buffer.Finish());
    Decompressed result = Decompress(kind, sink.str());
    EXPECT_TRUE(result.ok);
    EXPECT_EQ(result.members, 4);
    EXPECT_EQ(result.plain, "before[block][block]after");
  }
}

TEST(CompressingStreambufTest, AnEmptyDocumentIsOneEmptyMember) {
  for (Compression kind : {Compression::kGzip, Compression::kZstd}) {
    std::stringbuf sink;
    CompressingStreambuf buffer(kind, &sink);
    ASSERT_TRUE(buffer.Finish());
    Decompressed result = Decompress(kind, sink.str());
    EXPECT_TRUE(result.ok);
    EXPECT_EQ(result.members, 1);
    EXPECT_EQ(result.plain, "");
  }
}

// A sink that takes fewer bytes than given, at a member or at the end:
// the stream fails, Finish() says so, and nothing more is written.
TEST(CompressingStreambufTest, AShortWriteFailsTheStream) {
  struct Case {
    const char* what;
    size_t room;
    size_t plain_size;
    bool stream_fails;  // before Finish()
  };
  const Case cases[] = {
      {"a full member", 10, 5000, true},
      {"the last member", 10, 500, false},
      {"nothing taken", 0, 1000, true},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    LimitedSink sink(c.room);
    CompressingStreambuf buffer(Compression::kGzip, &sink, 1000);
    std::ostream out(&buffer);
    out << std::string(c.plain_size, 'x') << std::flush;
    EXPECT_EQ(!out, c.stream_fails);
    EXPECT_FALSE(buffer.Finish());
    EXPECT_TRUE(buffer.failed());
    EXPECT_EQ(sink.bytes.size(), c.room);
    EXPECT_FALSE(buffer.WriteCompressed("x", 1));
  }
}

}  // namespace
}  // namespace qorarc
