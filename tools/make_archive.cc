// make_archive: writes a realistic ".rea" archive directory tree, for
// trying the exporter out and for measuring it on large archives.
//
// Each archive name gets one file per day. The items of a run are spread
// evenly over the files; within a file they are in time order. The mix is
// mostly scalar process values, some small arrays and bit arrays, alarms of
// every alarm code, log messages and a few system records. The output
// depends only on the options (tests/support/seeded_random.h).
#include <charconv>
#include <cstdint>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <fstream>
#include <random>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "archive/archive_format.h"
#include "archive/archive_writer.h"
#include "support/seeded_random.h"

namespace qorarc {
namespace {

constexpr const char kUsage[] =
    "Usage: make_archive [OPTION]...\n"
    "Writes a realistic archive directory tree: one \".rea\" file per archive\n"
    "name and day, as ROOT/YYYY/YYYY-MM/YYYY-MM-DD_NAME.rea.\n"
    "\n"
    "  -o, --output ROOT  directory to write into (default \"arc\")\n"
    "  -n, --items N      number of items in all files together (default "
    "1000)\n"
    "  -d, --days N       number of days (default 4)\n"
    "  -s, --start DATE   first day, YYYY-MM-DD (default 2019-12-30)\n"
    "      --seed N       seed of the pseudo-random numbers (default 1)\n"
    "      --names LIST   comma-separated archive names (default "
    "\"plant,boiler\")\n"
    "      --wide N       every item an array of N Doubles (1 to 64) instead\n"
    "  -h, --help         print this help and exit\n"
    "\n"
    "The same options always give the same files. Most items are Double,\n"
    "Float and Long values; the rest are small arrays, bit arrays, alarms,\n"
    "log messages and system records. Some files lack the end mark.\n";

struct Options {
  std::string root = "arc";
  uint64_t items = 1000;
  int64_t days = 4;
  int64_t start_day = DayNumber(2019, 12, 30);
  uint64_t seed = 1;
  std::vector<std::string> names = {"plant", "boiler"};
  int wide = 0;  // elements of every item's Double array; 0: the usual mix
  bool help = false;
};

// Pseudo-random numbers reduced to ranges by plain arithmetic. The modulo
// bias on a 64-bit draw is far below anything a test archive could show.
using testing::Random;

// The signals of one archive: their IDs, shapes and current values, which
// drift from item to item and from day to day.
struct Signals {
  static constexpr int kDoubles = 24;      // IDs 100-123
  static constexpr int kFloats = 8;        // IDs 200-207
  static constexpr int kCounters = 8;      // IDs 300-307
  static constexpr int kDoubleArrays = 4;  // IDs 400-403
  static constexpr int kLongArrays = 2;    // IDs 420-421
  static constexpr int kBitArrays = 3;     // IDs 440-442

  explicit Signals(Random& random) {
    for (int64_t& v : double_milli) v = random.Between(-50'000, 500'000);
    for (int64_t& v : float_centi) v = random.Between(0, 10'000);
    for (int64_t& v : counter) v = random.Between(0, 1'000'000);
    for (uint8_t& n : double_array_size)
      n = static_cast<uint8_t>(random.Between(2, 8));
    for (uint8_t& n : long_array_size)
      n = static_cast<uint8_t>(random.Between(2, 8));
    for (uint8_t& n : bit_count)
      n = static_cast<uint8_t>(random.Between(1, 16));
  }

  int64_t double_milli[kDoubles];
  int64_t float_centi[kFloats];
  int64_t counter[kCounters];
  uint8_t double_array_size[kDoubleArrays];
  uint8_t long_array_size[kLongArrays];
  uint8_t bit_count[kBitArrays];
};

// Log messages with their level codes (source x 10 + level: 24 is "Core
// Info", 66 "IODriver Error").
struct LogMessage {
  uint8_t level;
  const char* format;  // one %d
};

constexpr LogMessage kMessages[] = {
    {24, "Pump %d started"},
    {24, "Pump %d stopped"},
    {25, "Task 'Main%d' overran its period"},
    {26, "Block 'PID%d' parameter out of range"},
    {14, "Configuration 'unit%d.cfg' loaded"},
    {34, "User 'operator%d' logged in"},
    {54, "Archive file switched, %d items written"},
    {55, "Archive buffer %d%% full"},
    {64, "Connection to I/O module %d restored"},
    {66, "Connection to I/O module %d lost"},
};

// Writes one file's records, flushing them to disk in pieces so that a
// file of millions of items never sits in memory whole.
class FileWriter {
 public:
  explicit FileWriter(const std::string& path) : path_(path) {
    const std::filesystem::path file(path);
    std::filesystem::create_directories(file.parent_path());
    out_.open(file, std::ios::binary | std::ios::trunc);
    if (!out_) throw std::runtime_error("cannot create '" + path + "'");
  }

  ArchiveBuilder& builder() { return builder_; }

  // Writes what the builder holds once it is large enough.
  void MaybeFlush() {
    if (builder_.size() >= (1 << 20)) Flush();
  }

  // Returns the size of the file.
  uint64_t Close() {
    Flush();
    out_.close();
    if (!out_) throw std::runtime_error("cannot write '" + path_ + "'");
    return written_;
  }

 private:
  void Flush() {
    out_.write(builder_.bytes().data(),
               static_cast<std::streamsize>(builder_.size()));
    written_ += builder_.size();
    builder_.Clear();
  }

  std::string path_;
  std::ofstream out_;
  ArchiveBuilder builder_;
  uint64_t written_ = 0;
};

// Appends one item of a randomly chosen kind at time of day `tod`.
void WriteItem(Random& random, Signals& s, int64_t day, int64_t tod,
               ArchiveBuilder& b) {
  const uint64_t pick = random.Below(1000);
  if (pick < 380) {  // process value
    const int i = static_cast<int>(random.Below(Signals::kDoubles));
    s.double_milli[i] += random.Between(-250, 250);
    b.Double(tod, static_cast<uint16_t>(100 + i), s.double_milli[i] / 1000.0);
  } else if (pick < 500) {
    const int i = static_cast<int>(random.Below(Signals::kFloats));
    s.float_centi[i] += random.Between(-20, 20);
    b.Float(tod, static_cast<uint16_t>(200 + i),
            static_cast<float>(s.float_centi[i]) / 100.0f);
  } else if (pick < 620) {  // counter
    const int i = static_cast<int>(random.Below(Signals::kCounters));
    s.counter[i] += random.Between(0, 4);
    b.Long(tod, static_cast<uint16_t>(300 + i),
           static_cast<int32_t>(s.counter[i]));
  } else if (pick < 710) {
    const int i = static_cast<int>(random.Below(Signals::kDoubleArrays));
    std::vector<double> values(s.double_array_size[i]);
    for (double& v : values) v = random.Between(0, 100'000) / 1000.0;
    b.Array<double>(24, tod, static_cast<uint16_t>(400 + i), values);
  } else if (pick < 760) {
    const int i = static_cast<int>(random.Below(Signals::kLongArrays));
    std::vector<int32_t> values(s.long_array_size[i]);
    for (int32_t& v : values)
      v = static_cast<int32_t>(random.Between(-1000, 1000));
    b.Array<int32_t>(20, tod, static_cast<uint16_t>(420 + i), values);
  } else if (pick < 810) {
    const int i = static_cast<int>(random.Below(Signals::kBitArrays));
    const uint8_t count = s.bit_count[i];
    std::vector<uint8_t> bytes((count + 7) / 8);
    for (uint8_t& byte : bytes) byte = static_cast<uint8_t>(random.Below(256));
    // Bits past the count are stored clear.
    if (count % 8 != 0)
      bytes.back() &= static_cast<uint8_t>((1 << (count % 8)) - 1);
    b.Bits(tod, static_cast<uint16_t>(440 + i), count, bytes);
  } else if (pick < 900) {  // limit alarm of codes 1 to 11
    const int code = static_cast<int>(random.Between(1, 11));
    const auto id = static_cast<uint16_t>(500 + code * 10 + random.Below(4));
    const auto state = static_cast<uint8_t>(random.Below(4));  // Lo .. HiHi
    const auto count = static_cast<uint8_t>(random.Below(2));
    const int64_t level = random.Between(0, 2000);
    switch (code) {
      case 1:
        b.Bool(tod, id, static_cast<uint8_t>(random.Below(2)), count);
        break;
      case 2:
        b.Byte(tod, id, static_cast<uint8_t>(level % 256), state, count);
        break;
      case 3:
        b.Short(tod, id, static_cast<int16_t>(level - 1000), state, count);
        break;
      case 4:
        b.Long(tod, id, static_cast<int32_t>(level * 100), state, count);
        break;
      case 5:
        b.Word(tod, id, static_cast<uint16_t>(level), state, count);
        break;
      case 6:
        b.DWord(tod, id, static_cast<uint32_t>(level * 1000), state, count);
        break;
      case 7:
        b.Float(tod, id, static_cast<float>(level) / 10.0f, state, count);
        break;
      case 8:
        b.Double(tod, id, static_cast<double>(level) / 10.0, state, count);
        break;
      case 9:  // the moment the limit was crossed
        b.Time(tod, id, static_cast<uint64_t>(day * kNanosPerDay + tod), state,
               count);
        break;
      case 10:
        b.Large(tod, id, level * 1'000'000'000, state, count);
        break;
      default:  // an error code, as the runtime's negative 16-bit codes
        b.Error(tod, id, static_cast<uint16_t>(-level), state, count);
        break;
    }
  } else if (pick < 930) {  // alarm acknowledgement word
    b.Alarm31(tod, static_cast<uint16_t>(700 + random.Below(8)),
              static_cast<uint32_t>(1u << random.Below(16)),
              static_cast<uint8_t>(random.Below(4)),
              static_cast<uint8_t>(random.Below(2)));
  } else if (pick < 995) {  // log message
    const LogMessage& message = kMessages[random.Below(std::size(kMessages))];
    char text[96];
    std::snprintf(text, sizeof text, message.format,
                  static_cast<int>(random.Between(1, 99)));
    // Log classes Norm, LogF, Arch, User and SYST.
    const uint8_t log_class =
        random.OneIn(8) ? 7 : static_cast<uint8_t>(random.Below(4));
    b.Text(tod, static_cast<uint16_t>(900 + message.level / 10), message.level,
           text, log_class);
  } else {  // executive or archive event
    b.System(tod, static_cast<uint8_t>(random.Between(1, 2)), 0);
  }
}

// Writes the file of one archive and day with `n` items; returns its size.
uint64_t WriteFile(const Options& options, Random& random, Signals& signals,
                   const std::string& name, int64_t day, uint64_t n,
                   bool first_of_archive) {
  FileWriter file(ArchiveFilePath(options.root, day, name));
  ArchiveBuilder& b = file.builder();
  b.Day(static_cast<uint32_t>(day));
  // Items get whole microseconds, one in each slot of the day.
  const int64_t slot = n == 0 ? 0 : kNanosPerDay / 1000 / static_cast<int64_t>(n);
  for (uint64_t i = 0; i < n; ++i) {
    const int64_t tod =
        (static_cast<int64_t>(i) * slot + random.Between(0, slot - 1)) * 1000;
    if (options.wide > 0) {
      std::vector<double> values(static_cast<size_t>(options.wide));
      for (double& v : values) v = static_cast<double>(random.Between(-1'000'000, 1'000'000)) / 64;
      b.Array<double>(24, tod, static_cast<uint16_t>(i % 1000), values);
    } else if (i == 0 && first_of_archive) {
      b.System(tod, 1, 0);  // the runtime starts: an executive event
    } else {
      WriteItem(random, signals, day, tod, b);
    }
    file.MaybeFlush();
  }
  if (!random.OneIn(4)) b.End();
  return file.Close();
}

bool ParseNumber(std::string_view text, uint64_t& value) {
  const char* end = text.data() + text.size();
  const auto [ptr, error] = std::from_chars(text.data(), end, value);
  return error == std::errc() && ptr == end && !text.empty();
}

bool ParseDate(const std::string& text, int64_t& day) {
  int year = 0;
  unsigned month = 0, mday = 0;
  int used = 0;
  if (std::sscanf(text.c_str(), "%4d-%2u-%2u%n", &year, &month, &mday, &used) !=
          3 ||
      static_cast<size_t>(used) != text.size()) {
    return false;
  }
  try {
    day = DayNumber(year, month, mday);
  } catch (const std::invalid_argument&) {
    return false;
  }
  return true;
}

std::vector<std::string> SplitNames(const std::string& list) {
  std::vector<std::string> names;
  size_t begin = 0;
  for (;;) {
    const size_t comma = list.find(',', begin);
    names.push_back(list.substr(begin, comma - begin));
    if (comma == std::string::npos) break;
    begin = comma + 1;
  }
  return names;
}

// Fills `options` from the command line; returns an error text or "".
std::string ParseOptions(int argc, char** argv, Options& options) {
  for (int i = 1; i < argc; ++i) {
    const std::string arg = argv[i];
    if (arg == "-h" || arg == "--help") {
      options.help = true;
      continue;
    }
    if (i + 1 >= argc) return "option '" + arg + "' needs a value";
    const std::string value = argv[++i];
    uint64_t number = 0;
    if (arg == "-o" || arg == "--output") {
      if (value.empty()) return "the output directory is empty";
      options.root = value;
    } else if (arg == "-n" || arg == "--items") {
      // At most one item per microsecond of a day in each file.
      if (!ParseNumber(value, number) || number > 1'000'000'000) {
        return "bad item count '" + value + "'";
      }
      options.items = number;
    } else if (arg == "-d" || arg == "--days") {
      if (!ParseNumber(value, number) || number == 0 || number > 0x10000) {
        return "bad number of days '" + value + "'";
      }
      options.days = static_cast<int64_t>(number);
    } else if (arg == "-s" || arg == "--start") {
      if (!ParseDate(value, options.start_day) || options.start_day < 0) {
        return "bad start date '" + value + "' (YYYY-MM-DD, 2000 or later)";
      }
    } else if (arg == "--seed") {
      if (!ParseNumber(value, number)) return "bad seed '" + value + "'";
      options.seed = number;
    } else if (arg == "--wide") {
      if (!ParseNumber(value, number) || number == 0 || number > 64) {
        return "bad array width '" + value + "' (1 to 64)";
      }
      options.wide = static_cast<int>(number);
    } else if (arg == "--names") {
      options.names = SplitNames(value);
      for (const std::string& name : options.names) {
        if (name.empty() || name.find('/') != std::string::npos) {
          return "bad archive name list '" + value + "'";
        }
      }
    } else {
      return "unknown option '" + arg + "'";
    }
  }
  // Day markers hold day numbers up to 0xFFFF.
  if (options.start_day + options.days - 1 > kMaxDayNumber) {
    return "the days run past 2179-06-06";
  }
  return "";
}

int Run(int argc, char** argv) {
  Options options;
  const std::string error = ParseOptions(argc, argv, options);
  if (!error.empty()) {
    std::fprintf(stderr, "make_archive: %s\nTry 'make_archive --help'.\n",
                 error.c_str());
    return 1;
  }
  if (options.help) {
    std::fputs(kUsage, stdout);
    return 0;
  }

  Random random{std::mt19937_64(options.seed)};
  std::vector<Signals> signals;
  for (size_t i = 0; i < options.names.size(); ++i)
    signals.emplace_back(random);

  const uint64_t files =
      static_cast<uint64_t>(options.days) * options.names.size();
  uint64_t bytes = 0;
  uint64_t file_index = 0;
  for (int64_t d = 0; d < options.days; ++d) {
    for (size_t a = 0; a < options.names.size(); ++a, ++file_index) {
      // The first files take one item more when the count does not divide.
      const uint64_t n =
          options.items / files + (file_index < options.items % files ? 1 : 0);
      bytes += WriteFile(options, random, signals[a], options.names[a],
                         options.start_day + d, n, d == 0);
    }
  }
  std::fprintf(
      stderr,
      "make_archive: wrote %llu items in %llu files (%llu bytes) under %s\n",
      static_cast<unsigned long long>(options.items),
      static_cast<unsigned long long>(files),
      static_cast<unsigned long long>(bytes), options.root.c_str());
  return 0;
}

}  // namespace
}  // namespace qorarc

int main(int argc, char** argv) {
  try {
    return qorarc::Run(argc, argv);
  } catch (const std::exception& e) {
    std::fprintf(stderr, "make_archive: %s\n", e.what());
    return 1;
  }
}
