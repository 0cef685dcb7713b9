#include "support/random_archive.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <limits>
#include <type_traits>

#include "archive/archive_format.h"
#include "archive/archive_writer.h"

namespace qorarc::testing {
namespace {

// A finite real of any magnitude or a short decimal, now and then a zero of
// either sign; with `non_finite`, one in eight is NaN or an infinity.
template <typename T>
T Real(Random& r, RandomValues values) {
  if (values.non_finite && r.OneIn(8)) {
    const T infinity = std::numeric_limits<T>::infinity();
    return r.OneIn(3) ? std::numeric_limits<T>::quiet_NaN() : r.OneIn(2) ? infinity : -infinity;
  }
  if (r.OneIn(20)) return r.OneIn(2) ? T(0) : -T(0);
  for (;;) {
    using Bits = std::conditional_t<sizeof(T) == 8, uint64_t, uint32_t>;
    T value = std::bit_cast<T>(static_cast<Bits>(r.Bits()));
    if (std::isfinite(value)) return r.OneIn(3) ? value : T(r.Between(-100000, 100000)) / 64;
  }
}

// Appends one random record of any kind `values` allows.
void AddRecord(Random& r, ArchiveBuilder& b, int64_t time, RandomValues values) {
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
    case 7: b.Float(time, id, Real<float>(r, values), state, count); break;
    case 8: b.Double(time, id, Real<double>(r, values), state, count); break;
    case 9: b.Time(time, id, std::bit_cast<uint64_t>(Real<double>(r, {})), state, count); break;
    case 10: b.Large(time, id, static_cast<int64_t>(r.Bits()) >> r.Below(64), state, count); break;
    case 11: b.Error(time, id, static_cast<uint16_t>(r.Bits()), state, count); break;
    case 12:
    case 13: {
      std::string text(r.OneIn(10) ? r.Below(3000) : r.Below(40), '\0');
      for (char& c : text) {
        do c = static_cast<char>(r.OneIn(2) ? r.Between(' ', '~') : r.Bits());
        while (c == '\n' && !values.text_arrays);
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
      // Arrays of the numeric codes 18 to 24 and 26, up to their 512 bytes;
      // of the text codes 25 and 27 too when allowed.
      const uint8_t codes[] = {18, 19, 20, 21, 22, 23, 24, 26, 25, 27};
      const uint8_t code = codes[r.Below(values.text_arrays ? 10 : 8)];
      const size_t size = ElementSize(code);
      size_t n = r.Below(std::min<size_t>(255, 512 / size) + 1);
      if (!r.OneIn(8)) n = std::min<size_t>(n, 6);
      auto array = [&](auto element) {
        std::vector<decltype(element())> elements(n);
        for (auto& e : elements) e = element();
        b.Array(code, time, id, elements, state);
      };
      if (code == 23) array([&] { return Real<float>(r, values); });
      else if (code == 24) array([&] { return Real<double>(r, values); });
      else if (code == 26) array([&] { return static_cast<int64_t>(r.Bits()) >> r.Below(64); });
      else if (size == 1) array([&] { return static_cast<uint8_t>(r.Bits()); });
      else if (size == 2) array([&] { return static_cast<uint16_t>(r.Bits()); });
      else if (size == 4) array([&] { return static_cast<uint32_t>(r.Bits()); });
      else array([&] { return r.Bits(); });
    }
  }
}

}  // namespace

std::vector<std::pair<int64_t, int64_t>> WriteRandomArchive(Random& r, const std::string& root,
                                                            RandomValues values) {
  std::vector<std::pair<int64_t, int64_t>> times;
  int64_t day = DayNumber(2019, 1, 1) + r.Between(0, 700);
  for (int64_t files = r.Between(1, 3); files > 0; --files, day += r.Between(1, 40)) {
    ArchiveBuilder b;
    b.Day(static_cast<uint32_t>(day));
    int64_t time = r.Between(1, 1000) * kMicro;
    for (int64_t n = r.OneIn(10) ? r.Below(400) : r.Below(30); n > 0; --n) {
      if (!r.OneIn(5)) time += r.Between(0, 30'000'000) * kMicro;  // up to 30 s
      time = std::min<int64_t>(time, kNanosPerDay - kMicro);
      AddRecord(r, b, time, values);
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

}  // namespace qorarc::testing
