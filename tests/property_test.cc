// Properties of the export over generated archives (seeded): the JSON parses
// (python3's json); compact and pretty JSON agree; CSV has a line per item;
// "-ic n" gives a prefix and "-ft1"/"-ft2" exactly the items within the span;
// three writer threads with batches of three items give the same output,
// messages and status as one thread. No NaN or infinite reals and no text
// arrays (codes 25, 27), which JSON cannot show; log texts hold no line feed.
// QORARC_PROPERTY_ARCHIVES sets the number of archives (default 2000).
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstdlib>
#include <fstream>
#include <random>
#include <string>
#include <type_traits>
#include <vector>

#include "archive/archive_writer.h"
#include "support/program_run.h"

namespace qorarc::testing {
namespace {

// Pseudo-random numbers reduced to ranges by plain arithmetic, which the
// standard fixes (its distributions differ between implementations).
struct Random {
  std::mt19937_64 engine;
  uint64_t Bits() { return engine(); }
  uint64_t Below(uint64_t n) { return engine() % n; }
  int64_t Between(int64_t lo, int64_t hi) {
    return lo + static_cast<int64_t>(Below(static_cast<uint64_t>(hi - lo) + 1));
  }
  bool OneIn(uint64_t n) { return Below(n) == 0; }
  // A finite real of any magnitude or a short decimal, now and then a zero
  // of either sign.
  template <typename T>
  T Finite() {
    if (OneIn(20)) return OneIn(2) ? T(0) : -T(0);
    for (;;) {
      using Bits = std::conditional_t<sizeof(T) == 8, uint64_t, uint32_t>;
      T value = std::bit_cast<T>(static_cast<Bits>(engine()));
      if (std::isfinite(value)) return OneIn(3) ? value : T(Between(-100000, 100000)) / 64;
    }
  }
};

// Appends one random record of any kind the properties allow.
void AddRecord(Random& r, ArchiveBuilder& b, int64_t time) {
  const uint16_t id = static_cast<uint16_t>(r.OneIn(4) ? r.Bits() : r.Below(50));
  const uint8_t state = static_cast<uint8_t>(r.Below(8));
  const uint8_t count = static_cast<uint8_t>(r.OneIn(2) ? 0 : r.Bits());
  switch (r.Below(21)) {
    case 0: b.System(time, static_cast<uint8_t>(r.Below(4)), count); break;
    case 1: b.Bool(time, id, static_cast<uint8_t>(r.Below(8)), count); break;
    case 2: b.Byte(time, id, static_cast<uint8_t>(r.Bits()), state, count); break;
    case 3: b.Short(time, id, static_cast<int16_t>(r.Bits()), state, count); break;
    case 4: b.Long(time, id, static_cast<int32_t>(r.Bits()), state, count); break;
    case 5: b.Word(time, id, static_cast<uint16_t>(r.Bits()), state, count); break;
    case 6: b.DWord(time, id, static_cast<uint32_t>(r.Bits()), state, count); break;
    case 7: b.Float(time, id, r.Finite<float>(), state, count); break;
    case 8: b.Double(time, id, r.Finite<double>(), state, count); break;
    case 9: b.Time(time, id, std::bit_cast<uint64_t>(r.Finite<double>()), state, count); break;
    case 10: b.Large(time, id, static_cast<int64_t>(r.Bits()) >> r.Below(64), state, count); break;
    case 11: b.Error(time, id, static_cast<uint16_t>(r.Bits()), state, count); break;
    case 12:
    case 13: {
      std::string text(r.OneIn(10) ? r.Below(3000) : r.Below(40), '\0');
      for (char& c : text) {
        do c = static_cast<char>(r.OneIn(2) ? r.Between(' ', '~') : r.Bits());
        while (c == '\n');
      }
      b.Text(time, id, static_cast<uint8_t>(r.Below(256)), text, state);
      break;
    }
    case 14: b.Alarm31(time, id, static_cast<uint32_t>(r.Bits()), state, count); break;
    case 15: {
      uint8_t n = static_cast<uint8_t>(r.Below(40));
      std::vector<uint8_t> bytes(n == 0 ? 32 : (n + 7) / 8);
      for (uint8_t& byte : bytes) byte = static_cast<uint8_t>(r.Bits());
      b.Bits(time, id, n, bytes, state);
      break;
    }
    default: {
      // Arrays of the numeric codes 18 to 24 and 26, up to their 512 bytes.
      const uint8_t code = std::array<uint8_t, 8>{18, 19, 20, 21, 22, 23, 24, 26}[r.Below(8)];
      size_t size = code == 18 ? 1 : (code == 19 || code == 21) ? 2 : (code == 24 || code == 26) ? 8 : 4;
      size_t n = r.Below(std::min<size_t>(255, 512 / size) + 1);
      if (!r.OneIn(8)) n = std::min<size_t>(n, 6);
      auto array = [&](auto element) {
        std::vector<decltype(element())> values(n);
        for (auto& value : values) value = element();
        b.Array(code, time, id, values, state);
      };
      if (code == 23) array([&] { return r.Finite<float>(); });
      else if (code == 24) array([&] { return r.Finite<double>(); });
      else if (code == 26) array([&] { return static_cast<int64_t>(r.Bits()) >> r.Below(64); });
      else if (size == 1) array([&] { return static_cast<uint8_t>(r.Bits()); });
      else if (size == 2) array([&] { return static_cast<uint16_t>(r.Bits()); });
      else array([&] { return static_cast<uint32_t>(r.Bits()); });
    }
  }
}

constexpr int64_t kMicro = 1000;

// Writes one archive: 1 to 3 day files of "plant", items in time order at
// whole microseconds (so that their "ts" texts are exact), some files ending
// in a cut-off record, which is reported as one more item. Returns the
// (day, time of day) of every item.
std::vector<std::pair<int64_t, int64_t>> Generate(Random& r, const std::string& root) {
  std::vector<std::pair<int64_t, int64_t>> times;
  int64_t day = DayNumber(2019, 1, 1) + r.Between(0, 700);
  for (int64_t files = r.Between(1, 3); files > 0; --files, day += r.Between(1, 40)) {
    ArchiveBuilder b;
    b.Day(static_cast<uint32_t>(day));
    int64_t time = r.Between(1, 1000) * kMicro;
    for (int64_t n = r.OneIn(10) ? r.Below(400) : r.Below(30); n > 0; --n) {
      if (!r.OneIn(5)) time += r.Between(0, 30'000'000) * kMicro;  // up to 30 s
      time = std::min<int64_t>(time, kNanosPerDay - kMicro);
      AddRecord(r, b, time);
      times.push_back({day, time});
    }
    if (r.OneIn(8)) {
      // A Double record cut short: a bad-record item at its time.
      time = std::min<int64_t>(time + kMicro, kNanosPerDay - kMicro);
      ArchiveBuilder cut;
      cut.Double(time, 1, 1.0);
      b.Raw(cut.bytes().substr(0, 6 + r.Below(11)));
      times.push_back({day, time});
    } else if (r.OneIn(2)) {
      b.End();
    }
    WriteArchiveFile(ArchiveFilePath(root, day, "plant"), b.bytes());
  }
  return times;
}

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
      const auto times = Generate(r, folder + "/arc");
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
