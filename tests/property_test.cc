// Properties of the export over thousands of generated archives (seeded, so
// every run checks the same ones): the JSON document parses with python3's
// json module; compact and pretty JSON are the same value; CSV has one line
// per item; "--item-count n" gives a prefix of the unlimited items and
// "-ft1"/"-ft2" exactly the unlimited items within the time span.
//
// The generated archives hold every record kind except those two that the
// properties exclude by design: no NaN or infinite reals (JSON leaves an
// empty slot for them, tested on its own below) and no text arrays of codes
// 25 and 27 (the JSON export ends with an error there). Log texts hold any
// byte but the line feed, since CSV cells are not quoted.
//
// QORARC_PROPERTY_ARCHIVES sets the number of archives (default 2000); the
// sanitizer build runs fewer.
#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cinttypes>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include "archive/archive_writer.h"
#include "support/program_run.h"

extern char** environ;

namespace qorarc::testing {
namespace {

// Reads the whole output of a shell command.
std::string Capture(const std::string& command) {
  std::string out;
  FILE* pipe = popen(command.c_str(), "r");
  if (pipe == nullptr) return out;
  char buffer[4096];
  for (size_t n; (n = fread(buffer, 1, sizeof buffer, pipe)) > 0;) out.append(buffer, n);
  pclose(pipe);
  return out;
}

// Starts QorArc with `args`, standard output and standard error going to
// files; returns its process ID. The runs of one archive go in parallel.
pid_t Start(const std::vector<std::string>& args, const std::string& out,
            const std::string& err) {
  std::string program = QorArcPath();
  std::vector<char*> argv = {program.data()};
  for (const std::string& arg : args) argv.push_back(const_cast<char*>(arg.c_str()));
  argv.push_back(nullptr);
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, 0, "/dev/null", O_RDONLY, 0);
  posix_spawn_file_actions_addopen(&actions, 1, out.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
  posix_spawn_file_actions_addopen(&actions, 2, err.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
  pid_t pid = -1;
  if (posix_spawn(&pid, program.c_str(), &actions, nullptr, argv.data(), environ) != 0) pid = -1;
  posix_spawn_file_actions_destroy(&actions);
  return pid;
}

// Exit status as the shell sees it, -1 when the process was killed.
int Wait(pid_t pid) {
  int wstatus = 0;
  if (pid < 0 || waitpid(pid, &wstatus, 0) != pid) return -1;
  return WIFEXITED(wstatus) ? WEXITSTATUS(wstatus) : -1;
}

// Checks one batch of archives. Each manifest line: the folder of the
// outputs, the number of items written to the archive, the "-ic" value and
// the two time bounds as "ts" texts ("" when not given).
const char kChecker[] = R"(import json, sys

def load(path):
    with open(path, 'rb') as f:
        # Texts are byte strings of any encoding; latin-1 keeps every byte.
        return f.read().decode('latin-1')

def parse(path):
    return json.loads(load(path))

failures = []
checked = 0
for line in open(sys.argv[1]):
    folder, items, limit, t1, t2 = line.rstrip('\n').split('\t')
    items, limit = int(items), int(limit)
    def fail(what):
        failures.append(folder + ': ' + what)
    try:
        compact = parse(folder + '/compact.json')
        pretty = parse(folder + '/pretty.json')
        limited = parse(folder + '/limited.json')
        timed = parse(folder + '/timed.json')
    except ValueError as error:
        fail('JSON does not parse: ' + str(error))
        continue
    data = compact['data']
    if list(compact) != ['data']:
        fail('unexpected members ' + str(list(compact)))
    if len(data) != items:
        fail('%d items exported, %d written' % (len(data), items))
    if pretty != compact:
        fail('pretty and compact JSON differ')
    csv = load(folder + '/out.csv')
    if csv.count('\n') != len(data) or (csv and not csv.endswith('\n')):
        fail('%d CSV lines for %d items' % (csv.count('\n'), len(data)))
    if limited['data'] != data[:limit]:
        fail('-ic %d is not a prefix of the whole export' % limit)
    if limited.get('total_item_count') != len(data):
        fail('total_item_count %s for %d items' % (limited.get('total_item_count'), len(data)))
    within = [item for item in data
              if (not t1 or item['ts'] >= t1) and (not t2 or item['ts'] <= t2)]
    if timed['data'] != within:
        fail('-ft1 %s -ft2 %s: %d items, %d expected' % (t1, t2, len(timed['data']), len(within)))
    checked += 1
for failure in failures[:20]:
    print(failure)
print('checked %d archives' % checked)
)";

// Pseudo-random numbers reduced to ranges by plain arithmetic, which the
// standard fixes (its distributions differ between implementations).
class Random {
 public:
  explicit Random(uint64_t seed) : engine_(seed) {}
  uint64_t Below(uint64_t n) { return engine_() % n; }
  int64_t Between(int64_t lo, int64_t hi) {
    return lo + static_cast<int64_t>(Below(static_cast<uint64_t>(hi - lo) + 1));
  }
  bool OneIn(uint64_t n) { return Below(n) == 0; }
  uint64_t Bits() { return engine_(); }
  // A finite double of any magnitude, now and then a zero of either sign.
  double FiniteDouble() {
    if (OneIn(20)) return OneIn(2) ? 0.0 : -0.0;
    for (;;) {
      uint64_t bits = engine_();
      double d;
      std::memcpy(&d, &bits, sizeof d);
      if (std::isfinite(d)) return OneIn(3) ? d : static_cast<double>(Between(-100000, 100000)) / 64;
    }
  }
  float FiniteFloat() {
    for (;;) {
      uint32_t bits = static_cast<uint32_t>(engine_());
      float f;
      std::memcpy(&f, &bits, sizeof f);
      if (std::isfinite(f)) return OneIn(3) ? f : static_cast<float>(Between(-1000, 1000)) / 8;
    }
  }

 private:
  std::mt19937_64 engine_;
};

uint64_t BitsOf(double d) {
  uint64_t bits;
  std::memcpy(&bits, &d, sizeof bits);
  return bits;
}

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
    case 7: b.Float(time, id, r.FiniteFloat(), state, count); break;
    case 8: b.Double(time, id, r.FiniteDouble(), state, count); break;
    case 9: b.Time(time, id, BitsOf(r.FiniteDouble()), state, count); break;
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
      const uint8_t codes[] = {18, 19, 20, 21, 22, 23, 24, 26};
      uint8_t code = codes[r.Below(8)];
      size_t size = code == 18 ? 1 : (code == 19 || code == 21) ? 2 : (code == 24 || code == 26) ? 8 : 4;
      size_t n = r.Below(std::min<size_t>(255, 512 / size) + 1);
      if (!r.OneIn(8)) n = std::min<size_t>(n, 6);
      if (code == 23) {
        std::vector<float> v(n);
        for (float& x : v) x = r.FiniteFloat();
        b.Array(code, time, id, v, state);
      } else if (code == 24) {
        std::vector<double> v(n);
        for (double& x : v) x = r.FiniteDouble();
        b.Array(code, time, id, v, state);
      } else if (size == 1) {
        std::vector<uint8_t> v(n);
        for (uint8_t& x : v) x = static_cast<uint8_t>(r.Bits());
        b.Array(code, time, id, v, state);
      } else if (size == 2) {
        std::vector<uint16_t> v(n);
        for (uint16_t& x : v) x = static_cast<uint16_t>(r.Bits());
        b.Array(code, time, id, v, state);
      } else if (size == 4) {
        std::vector<uint32_t> v(n);
        for (uint32_t& x : v) x = static_cast<uint32_t>(r.Bits());
        b.Array(code, time, id, v, state);
      } else {
        std::vector<int64_t> v(n);
        for (int64_t& x : v) x = static_cast<int64_t>(r.Bits()) >> r.Below(64);
        b.Array(code, time, id, v, state);
      }
    }
  }
}

constexpr int64_t kMicro = 1000;

// "2019-05-03 01:02:03.000004" for -ft1/-ft2, and its "ts" form.
struct TimeTexts {
  std::string option;
  std::string ts;
};

TimeTexts TextsOf(int64_t day, int64_t time_of_day) {
  using namespace std::chrono;
  year_month_day date{sys_days{2000y / January / 1} + days{day}};
  int64_t us = time_of_day / kMicro;
  char date_text[16], time_text[32];
  std::snprintf(date_text, sizeof date_text, "%04d-%02u-%02u", static_cast<int>(date.year()),
                static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()));
  std::snprintf(time_text, sizeof time_text, "%02" PRId64 ":%02" PRId64 ":%02" PRId64 ".%06" PRId64,
                us / 3'600'000'000, us / 60'000'000 % 60, us / 1'000'000 % 60, us % 1'000'000);
  return {std::string(date_text) + " " + time_text, std::string(date_text) + "T" + time_text + "Z"};
}

// One generated archive: 1 to 3 day files of "plant", items in time order at
// whole microseconds (so that their "ts" texts are exact), some files ending
// in a cut-off record, which is reported as one more item.
struct Archive {
  int items = 0;
  std::vector<std::pair<int64_t, int64_t>> times;  // (day, time of day) of every item
};

Archive Generate(Random& r, const std::string& root) {
  Archive archive;
  int64_t day = DayNumber(2019, 1, 1) + r.Between(0, 700);
  int files = static_cast<int>(r.Between(1, 3));
  for (int f = 0; f < files; ++f, day += r.Between(1, 40)) {
    ArchiveBuilder b;
    b.Day(static_cast<uint32_t>(day));
    int n = static_cast<int>(r.OneIn(10) ? r.Below(400) : r.Below(30));
    int64_t time = r.Between(1, 1000) * kMicro;
    for (int i = 0; i < n; ++i) {
      if (!r.OneIn(5)) time += r.Between(0, 30'000'000) * kMicro;  // up to 30 s
      time = std::min<int64_t>(time, kNanosPerDay - kMicro);
      AddRecord(r, b, time);
      archive.times.push_back({day, time});
    }
    if (r.OneIn(8)) {
      // A Double record cut short: a bad-record item at its time.
      time = std::min<int64_t>(time + kMicro, kNanosPerDay - kMicro);
      ArchiveBuilder cut;
      cut.Double(time, 1, 1.0);
      b.Raw(cut.bytes().substr(0, 6 + r.Below(11)));
      archive.times.push_back({day, time});
    } else if (r.OneIn(2)) {
      b.End();
    }
    WriteArchiveFile(ArchiveFilePath(root, day, "plant"), b.bytes());
  }
  archive.items = static_cast<int>(archive.times.size());
  return archive;
}

void WriteFile(const std::string& path, const std::string& text) {
  std::ofstream(path, std::ios::binary) << text;
}

int ArchiveCount() {
  const char* text = std::getenv("QORARC_PROPERTY_ARCHIVES");
  return text != nullptr ? std::atoi(text) : 2000;
}

TEST(PropertyTest, ExportsAgreeWithEachOther) {
  const int total = ArchiveCount();
  constexpr int kBatch = 500;
  TempDir scratch;
  const std::string checker = scratch.path() + "/check.py";
  WriteFile(checker, kChecker);
  for (int first = 0; first < total; first += kBatch) {
    const int count = std::min(kBatch, total - first);
    TempDir batch;
    std::string manifest;
    for (int k = first; k < first + count; ++k) {
      const std::string folder = batch.path() + "/" + std::to_string(k);
      Random r(0x5EED0000 + k);
      Archive archive = Generate(r, folder + "/arc");
      const std::string arc = folder + "/arc";
      const int limit = static_cast<int>(r.Below(archive.items + 3));
      // Bounds at an item's own time (both ends are inclusive), or anywhere
      // in the archive's days and around them.
      auto bound = [&]() -> TimeTexts {
        if (r.OneIn(4)) return {"", ""};
        if (!archive.times.empty() && r.OneIn(2)) {
          auto [day, time] = archive.times[r.Below(archive.times.size())];
          return TextsOf(day, time);
        }
        int64_t day = archive.times.empty() ? DayNumber(2019, 6, 1) : archive.times[0].first;
        return TextsOf(day + r.Between(-2, 45), r.Between(0, kNanosPerDay / kMicro - 1) * kMicro);
      };
      TimeTexts t1 = bound(), t2 = bound();
      std::vector<std::string> timed = {"-i", arc};
      if (!t1.option.empty()) timed.insert(timed.end(), {"-ft1", t1.option});
      if (!t2.option.empty()) timed.insert(timed.end(), {"-ft2", t2.option});
      timed.push_back("plant");

      struct Run {
        std::vector<std::string> args;
        const char* file;
      };
      const Run runs[] = {
          {{"-i", arc, "plant"}, "compact.json"},
          {{"-i", arc, "-p", "plant"}, "pretty.json"},
          {{"-i", arc, "--csv", "plant"}, "out.csv"},
          {{"-i", arc, "-ic", std::to_string(limit), "-itc", "plant"}, "limited.json"},
          {timed, "timed.json"},
      };
      pid_t pids[std::size(runs)];
      for (size_t i = 0; i < std::size(runs); ++i)
        pids[i] = Start(runs[i].args, folder + "/" + runs[i].file, folder + "/" + runs[i].file + ".err");
      int statuses[std::size(runs)];
      for (size_t i = 0; i < std::size(runs); ++i) statuses[i] = Wait(pids[i]);
      for (size_t i = 0; i < std::size(runs); ++i) {
        const std::string out = folder + "/" + runs[i].file;
        const std::string err = ReadFile(out + ".err");
        ASSERT_EQ(statuses[i], 0) << out << ": " << err;
        // A span that meets none of the files finds nothing, and says so.
        if (!err.empty()) {
          ASSERT_EQ(err, "Archive 'plant' not found in '" + arc +
                             "' for the timespan specified. Try parameter '--scan' to find "
                             "available archives and their timespans.\n")
              << out;
          ASSERT_EQ(ReadFile(out), "{\"data\": []}\n");
        }
      }
      manifest += folder + "\t" + std::to_string(archive.items) + "\t" + std::to_string(limit) +
                  "\t" + t1.ts + "\t" + t2.ts + "\n";
    }
    WriteFile(batch.path() + "/manifest", manifest);
    EXPECT_EQ(Capture("python3 " + checker + " " + batch.path() + "/manifest 2>&1"),
              "checked " + std::to_string(count) + " archives\n");
  }
}

// The one place where JSON is not valid: a NaN or infinite real leaves an
// empty slot. CSV writes "nan", "inf" and "-inf".
TEST(PropertyTest, NanAndInfinityLeaveAnEmptyJsonSlot) {
  TempDir dir;
  const double nan = std::numeric_limits<double>::quiet_NaN();
  const double inf = std::numeric_limits<double>::infinity();
  ArchiveBuilder b;
  b.Day(DayNumber(2019, 5, 3))
      .Double(TimeOfDay(1, 0, 0), 1, nan)
      .Float(TimeOfDay(1, 0, 0), 2, static_cast<float>(-inf))
      .Array<double>(24, TimeOfDay(1, 0, 0), 3, {1.0, nan, 2.0})
      .Array<double>(24, TimeOfDay(1, 0, 0), 4, {inf, 0.5})
      .Array<float>(23, TimeOfDay(1, 0, 0), 5, {0.5f, static_cast<float>(-inf)});
  const std::string file = dir.path() + "/2019-05-03_plant.rea";
  WriteArchiveFile(file, b.bytes());
  const std::string head = "{\"ts\":\"2019-05-03T01:00:00.000000Z\",\"id\":";
  ProgramResult result = RunQorArc({"-i", file});
  EXPECT_EQ(result.out,
            "{\"data\":[" + head + "1,\"class\":\"AlDouble\",\"type\":\"data\",\"values\":[]}," +
                head + "2,\"class\":\"AlFloat\",\"type\":\"data\",\"values\":[]}," + head +
                "3,\"class\":\"GrDouble\",\"type\":\"data\",\"values\":[1.0,,2.0]}," + head +
                "4,\"class\":\"GrDouble\",\"type\":\"data\",\"values\":[,0.5]}," + head +
                "5,\"class\":\"GrFloat\",\"type\":\"data\",\"values\":[0.5,]}]}");
  EXPECT_EQ(result.err, "");
  EXPECT_EQ(result.status, 0);
  result = RunQorArc({"-i", file, "-p", "-f", "3"});
  EXPECT_EQ(result.out,
            "{\n"
            "    \"data\": [\n"
            "        {\n"
            "            \"ts\": \"2019-05-03T01:00:00.000000Z\",\n"
            "            \"id\": 3,\n"
            "            \"class\": \"GrDouble\",\n"
            "            \"type\": \"data\",\n"
            "            \"values\": [\n"
            "                1.0,\n"
            "                ,\n"
            "                2.0\n"
            "            ]\n"
            "        }\n"
            "    ]\n"
            "}");
  result = RunQorArc({"-i", file, "--csv", "-ccf", "5..8"});
  EXPECT_EQ(result.out, "1,nan\n2,-inf\n3,1.0,nan,2.0\n4,inf,0.5\n5,0.5,-inf\n");
  EXPECT_EQ(result.status, 0);
}

}  // namespace
}  // namespace qorarc::testing
