#include "export/item_processor.h"

#include <gtest/gtest.h>

namespace qorarc {
namespace {

constexpr int64_t kT = 1'000'000;

// Both time bounds are inclusive. The end-to-end exports pin the ID ranges
// and the kind switches.
TEST(JudgeTest, TimeSpan) {
  const struct {
    const char* what;
    int64_t until, timestamp;
    Verdict verdict;
  } cases[] = {
      {"before the from-time", 20 * kT, 10 * kT - 1, Verdict::kSkip},
      {"at the from-time", 20 * kT, 10 * kT, Verdict::kPass},
      {"at the until-time", 20 * kT, 20 * kT, Verdict::kPass},
      {"past the until-time", 20 * kT, 20 * kT + 1, Verdict::kStopFile},
      {"no time stamp", 20 * kT, 0, Verdict::kPass},
      {"no until-time", -1, 1'000'000 * kT, Verdict::kPass},
  };
  for (const auto& c : cases) {
    ItemFilter filter;
    filter.from_time = 10 * kT;
    filter.until_time = c.until;
    EXPECT_EQ(Judge(filter, RangeSet({}, 0), c.timestamp, 1, kKindData), c.verdict) << c.what;
  }
}

// Counts the items it is given; may have failed.
struct CountingOutput : ItemOutput {
  void Write(const ArchiveItem&, const RowMask*) override { ++written; }
  void Report(LoopMessage) override {}
  bool Failed() const override { return failed; }
  int written = 0;
  bool failed = false;
};

// Items are read until the processor is done: at the limit, or at the cap of
// the total count, or when the output has failed.
TEST(ItemProcessorTest, LimitAndTotalCount) {
  const struct {
    const char* what;
    int32_t limit;
    bool count_all, failed;
    int32_t written, counted;
  } cases[] = {
      {"no limit", -1, false, false, 100'100, 100'100},
      {"limit 0", 0, false, false, 0, 0},
      {"limit 3", 3, false, false, 3, 3},
      {"counted past the limit, up to 99,999", 3, true, false, 3, 99'999},
      {"failed output", -1, false, true, 0, 0},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    ItemFilter filter;
    filter.item_count_limit = c.limit;
    CountingOutput output;
    output.failed = c.failed;
    ItemProcessor processor(&filter, c.count_all, &output);
    for (int i = 0; i < 100'100 && !processor.Done(); ++i) processor.Item(ArchiveItem{});
    EXPECT_EQ(output.written, c.written);
    EXPECT_EQ(processor.count(), c.counted);
  }
}

}  // namespace
}  // namespace qorarc
