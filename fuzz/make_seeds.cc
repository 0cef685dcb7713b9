// make_seeds: writes the seed corpus of export_fuzzer into a directory, one
// ".rea" file per seed, all made with the project's archive writer. Each seed
// is a small well-formed or deliberately damaged file that reaches one part of
// the decoder or the writers, so that the fuzzer starts from every record
// kind instead of finding them byte by byte.
#include <cmath>
#include <cstdio>
#include <exception>
#include <limits>
#include <string>
#include <vector>

#include "archive/archive_writer.h"

namespace qorarc {
namespace {

// The days the fuzzer's narrow filter looks at.
const int64_t kDay = DayNumber(2019, 5, 3);
const int64_t kHour = TimeOfDay(1, 0, 0);

struct Seed {
  const char* name;
  ArchiveBuilder bytes;
};

std::vector<Seed> Seeds() {
  std::vector<Seed> seeds;
  auto add = [&](const char* name) -> ArchiveBuilder& {
    seeds.push_back({name, {}});
    return seeds.back().bytes;
  };

  add("empty");
  add("end_mark").End();
  add("scalars")
      .Day(kDay)
      .System(kHour, 1, 0)
      .Bool(kHour + 1, 1, 1)
      .Byte(kHour + 2, 2, 200, 0, 1)
      .Short(kHour + 3, 3, -5, 1)
      .Long(kHour + 4, 4, -70000, 2)
      .Word(kHour + 5, 5, 65535, 3)
      .DWord(kHour + 6, 6, 4000000000u)
      .Float(kHour + 7, 7, 1.5f)
      .Double(kHour + 8, 8, -0.0)
      .Time(kHour + 9, 9, 0x0102030405060708)
      .Large(kHour + 10, 10, 5)
      .Error(kHour + 11, 11, 0x1234)
      .Alarm31(kHour + 12, 12, 0xDEADBEEF, 3, 1)
      .End();
  add("texts")
      .Day(kDay)
      .Text(kHour * 7, 101, 25, "pump \"A\" \\ started\n\t\x01\x7F\xC3\xA9")
      .Text(kHour * 7 + 1, 102, 69, "", 7)
      .Text(kHour * 7 + 2, 103, 0, std::string("cut\0here", 8), 3)
      .End();
  add("arrays")
      .Day(kDay + 1)
      .Bits(kHour, 120, 10, {0xA5, 0x03})
      .Bits(kHour, 121, 0, std::vector<uint8_t>(32, 0x81))
      .Array<uint8_t>(18, kHour, 122, {1, 2, 255})
      .Array<int16_t>(19, kHour, 123, {-1, 2})
      .Array<int32_t>(20, kHour, 124, {-100000, 7})
      .Array<uint16_t>(21, kHour, 125, {65535})
      .Array<uint32_t>(22, kHour, 126, {4000000000u, 1})
      .Array<float>(23, kHour, 127, {0.1f, -2.5f})
      .Array<double>(24, kHour, 128, std::vector<double>(64, 1e300))
      .Array<int64_t>(26, kHour, 129, {5, -5})
      .End();
  add("reals_nan_inf")
      .Day(kDay)
      .Double(kHour * 8, 130, std::numeric_limits<double>::quiet_NaN())
      .Float(kHour * 8, 131, -std::numeric_limits<float>::infinity())
      .Array<double>(24, kHour * 8, 132, {1.0, std::nan(""), 2.0})
      .End();
  add("text_arrays_fail_json")
      .Day(kDay)
      .Array<uint64_t>(25, kHour * 9, 140, {1})
      .Array<uint16_t>(27, kHour * 9, 141, {2, 3})
      .End();
  add("days_and_no_end")
      .Long(kHour, 150, 1)  // day 0, before any day marker
      .Day(kDay)
      .Long(kHour, 151, 2)
      .Day(kDay + 1)
      .Long(TimeOfDay(23, 59, 59, 999999999), 152, 3)
      .Day(0xFFFF)
      .Long(kHour, 153, 4);
  add("bad_day_marker").Day(kDay).Long(kHour, 160, 1).RawDayMarker(0x8001, 5).Long(kHour, 161, 2);
  add("day_number_too_big").Day(kDay).RawDayMarker(0x8000, 0x10000);
  add("invalid_code").Day(kDay).Raw(std::string("\x00\x00\x00\x00\x00\x01\x0D\x00\x00\x01", 10));
  add("array_too_long").Day(kDay).Array<double>(24, kHour, 170, std::vector<double>(65, 1.0));
  add("truncated").Day(kDay).Long(kHour, 171, 1).Raw(std::string("\x00\x00\x00\x00\x00\x02\x08\x00", 8));
  // String records whose length wraps the signed 16-bit record length: a
  // quiet end (-2), the runtime's bad-record code (-606) and a read error.
  add("string_quiet_end").Day(kDay).Raw(std::string("\x00\x00\x00\x00\x00\x01\x0C\x00\x00\x01\xFF\xF2", 12));
  add("string_minus_606").Day(kDay).Raw(std::string("\x00\x00\x00\x00\x00\x01\x0C\x00\x00\x01\xFD\x96", 12));
  add("string_read_error").Day(kDay).Raw(std::string("\x00\x00\x00\x00\x00\x01\x0C\x00\x00\x01\x90\x00", 12));
  // Longer than the fuzzer's read buffer less one longest record: records
  // straddle a refill.
  ArchiveBuilder& sliding = add("sliding_buffer").Day(kDay);
  for (int i = 0; i < 5; ++i) sliding.Text(kHour + i, 200 + i, 0, std::string(32755 - i * 3, 'a' + i));
  sliding.Long(kHour * 2, 210, 42).End();
  return seeds;
}

}  // namespace
}  // namespace qorarc

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fprintf(stderr, "Usage: make_seeds DIRECTORY\n");
    return 2;
  }
  try {
    for (const qorarc::Seed& seed : qorarc::Seeds())
      qorarc::WriteArchiveFile(std::string(argv[1]) + "/" + seed.name + ".rea", seed.bytes.bytes());
  } catch (const std::exception& error) {
    std::fprintf(stderr, "make_seeds: %s\n", error.what());
    return 1;
  }
  return 0;
}
