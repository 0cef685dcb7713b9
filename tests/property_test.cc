// Properties of the export over random archives (seeded): the JSON parses
// (python3's json); compact and pretty JSON agree; CSV has a line per item;
// "-ic n" gives a prefix and "-ft1"/"-ft2" exactly the items within the span;
// three writer threads with batches of three items give the same output,
// messages and status as one thread. No NaN or infinite reals and no text
// arrays (codes 25, 27), which JSON cannot show; log texts hold no line feed.
// QORARC_PROPERTY_ARCHIVES sets the number of archives (default 2000).
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <string>

#include "archive/archive_writer.h"
#include "support/program_run.h"
#include "support/random_archive.h"

namespace qorarc::testing {
namespace {

TEST(PropertyTest, ExportsAgreeWithEachOther) {
  const char* count_text = std::getenv("QORARC_PROPERTY_ARCHIVES");
  const int total = count_text != nullptr ? std::atoi(count_text) : 2000;
  constexpr int kBatch = 500;
  for (int first = 0; first < total; first += kBatch) {
    const int count = std::min(kBatch, total - first);
    TempDir batch;
    std::ofstream manifest(batch.path() + "/manifest");
    for (int k = first; k < first + count; ++k) {
      const std::string folder = batch.path() + "/" + std::to_string(k);
      Random r{std::mt19937_64(0x5EED0000 + k)};
      const auto times = WriteRandomArchive(r, folder + "/arc");
      const uint64_t limit = r.Below(times.size() + 3);
      // Bounds at an item's own time (both ends are inclusive), or anywhere
      // in the archive's days and around them.
      auto bound = [&]() -> std::string {
        if (r.OneIn(4)) return "";
        int64_t day = (times.empty() ? DayNumber(2019, 6, 1) : times[0].first) + r.Between(-2, 45);
        int64_t time = r.Between(0, kNanosPerDay / kMicro - 1) * kMicro;
        if (!times.empty() && r.OneIn(2)) std::tie(day, time) = times[r.Below(times.size())];
        return std::to_string(day) + ":" + std::to_string(time / kMicro);
      };
      const std::string t1 = bound(), t2 = bound();
      manifest << folder << '\t' << times.size() << '\t' << limit << '\t' << t1 << '\t' << t2
               << '\n';
    }
    manifest.close();
    const std::string command =
        "python3 " + TestScriptPath("property_check.py") + " " + QorArcPath() + " " + batch.path() + "/manifest 2>&1";
    EXPECT_EQ(RunShell(command), "checked " + std::to_string(count) + " archives\n");
  }
}

}  // namespace
}  // namespace qorarc::testing
