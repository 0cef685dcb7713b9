// The compressing stream buffer: full members whatever the flushes and the
// threads, failures as stream failures.
#include "output/compressing_streambuf.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <ostream>
#include <sstream>
#include <string>

#include "support/decompress.h"

namespace qorarc {
namespace {

using testing::Decompress;

// Members of 1000 bytes: 999 bytes and a flush write nothing, the 1000th
// byte a member; 2500 more two members, 499 left for Finish().
TEST(CompressingStreambufTest, MembersAreFullWhateverTheFlushes) {
  for (bool gzip : {true, false}) {
    std::stringbuf sink;
    CompressingStreambuf buffer(gzip ? Compression::kGzip : Compression::kZstd, &sink, 1, 1000);
    std::ostream out(&buffer);
    std::string plain;
    const std::pair<size_t, int> steps[] = {{1, 0}, {998, 0}, {1, 1}, {2500, 3}};
    for (const auto& [size, members] : steps) {
      plain += std::string(size, static_cast<char>('a' + plain.size() % 26));
      out << plain.substr(plain.size() - size) << std::flush;
      EXPECT_EQ(Decompress(gzip, sink.str()).members, members) << plain.size();
    }
    ASSERT_TRUE(buffer.Finish());
    testing::Decompressed d = Decompress(gzip, sink.str());
    EXPECT_TRUE(d.ok && d.members == 4 && d.plain == plain);
    out << "late" << std::flush;  // after Finish(): refused
    EXPECT_FALSE(out);
  }
}

// Takes `room` bytes, then refuses.
class LimitedSink : public std::streambuf {
 public:
  explicit LimitedSink(size_t room) : room(room) {}
  size_t room;
  size_t taken = 0;

 protected:
  std::streamsize xsputn(const char*, std::streamsize n) override {
    const size_t now = std::min(static_cast<size_t>(n), room - taken);
    taken += now;
    return static_cast<std::streamsize>(now);
  }
};

// A short write within the document fails the stream at once, one of the
// last member Finish(); nothing is written after it.
TEST(CompressingStreambufTest, AShortWriteFailsTheStream) {
  const struct {
    size_t room, plain_size;
    bool stream_fails;
  } cases[] = {{10, 5000, true}, {10, 500, false}, {0, 1000, true}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.plain_size);
    LimitedSink sink(c.room);
    CompressingStreambuf buffer(Compression::kGzip, &sink, 1, 1000);
    std::ostream out(&buffer);
    out << std::string(c.plain_size, 'x') << std::flush;
    EXPECT_EQ(!out, c.stream_fails);
    EXPECT_FALSE(buffer.Finish());
    out << "late" << std::flush;
    EXPECT_EQ(sink.taken, c.room);
  }
}

}  // namespace
}  // namespace qorarc
