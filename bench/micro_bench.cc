// Micro-benchmarks of the per-item steps of an export: decoding a record,
// the time and date texts, the text of a real, and one item through each
// writer. bench/run.sh measures the whole export; these show where its time
// goes.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <ostream>
#include <streambuf>
#include <vector>

#include "archive/archive_format.h"
#include "archive/record_decoder.h"
#include "archive/archive_writer.h"
#include "export/csv_writer.h"
#include "export/export_item.h"
#include "export/json_writer.h"
#include "export/real_text.h"
#include "export/time_text.h"

namespace qorarc {
namespace {

constexpr int64_t kNanosPerSecond = 1'000'000'000;
// 2019-12-30 12:34:56.789012345, the middle of a generated archive's day.
constexpr int64_t kDay = 7303;
constexpr int64_t kTimeOfDay = TimeOfDay(12, 34, 56, 789'012'345);

// A stream that drops what it gets, so that only the writer is measured.
class NullBuffer : public std::streambuf {
 protected:
  int_type overflow(int_type c) override { return traits_type::not_eof(c); }
  std::streamsize xsputn(const char*, std::streamsize n) override { return n; }
};

// The records of a generated archive in about their proportions: scalars
// first, then a double array, a long array, bits, an alarm and a log line.
std::string RecordMix() {
  ArchiveBuilder b;
  b.Day(kDay);
  int64_t t = kTimeOfDay;
  for (int i = 0; i < 4; ++i) b.Double(t += 1000, 100, 271.828 + i);
  b.Float(t += 1000, 200, 12.5f);
  b.Long(t += 1000, 300, 123456);
  b.Array<double>(24, t += 1000, 400, {1.5, 2.25, 3.125, 99.999, 0.001});
  b.Array<int32_t>(20, t += 1000, 420, {-5, 7, 900});
  b.Bits(t += 1000, 440, 10, {0xA5, 0x02});
  b.Short(t += 1000, 530, -17, 3, 1);
  b.Text(t += 1000, 902, 24, "Pump 7 started");
  b.End();
  return b.bytes();
}

void BM_DecodeRecord(benchmark::State& state) {
  const std::string bytes = RecordMix();
  const auto* data = reinterpret_cast<const uint8_t*>(bytes.data());
  ArchiveItem item;
  int64_t items = 0;
  for (auto _ : state) {
    uint16_t day = 0;
    size_t position = 0;
    for (;;) {
      const DecodeResult result = DecodeRecord(data + position, bytes.size() - position, &day, &item);
      if (result.status == RecordStatus::kEnd) break;
      if (result.status == RecordStatus::kItem) ++items;
      position += result.length;
    }
    benchmark::DoNotOptimize(item);
  }
  state.SetItemsProcessed(items);
}
BENCHMARK(BM_DecodeRecord);

void BM_TimeText(benchmark::State& state) {
  char text[kTimeTextSize];
  int64_t timestamp = kDay * kNanosPerDay + kTimeOfDay;
  for (auto _ : state) {
    benchmark::DoNotOptimize(FormatTime(timestamp, text));
    benchmark::ClobberMemory();
    timestamp += 12'345'679;  // a new fraction every time
  }
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_TimeText);

// The same text through snprintf, for comparison.
void BM_TimeTextSnprintf(benchmark::State& state) {
  char text[48];
  int64_t of_day = kTimeOfDay;
  for (auto _ : state) {
    const int64_t seconds = of_day / kNanosPerSecond;
    benchmark::DoNotOptimize(std::snprintf(
        text, sizeof text, "%02i%c%02i%c%0*.*f", static_cast<int>(seconds / 3600), ':',
        static_cast<int>(seconds / 60 % 60), ':', 9, 6,
        static_cast<double>(seconds % 60) + static_cast<double>(of_day % kNanosPerSecond) / 1e9));
    of_day = (of_day + 12'345'679) % kNanosPerDay;
  }
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_TimeTextSnprintf);

void BM_DayDate(benchmark::State& state) {
  char text[kDateTextSize];
  int64_t day = kDay;
  for (auto _ : state) {
    benchmark::DoNotOptimize(FormatDayDate(day, text));
    day = day == kDay + 400 ? kDay : day + 1;
  }
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_DayDate);

void BM_RealText(benchmark::State& state) {
  char text[kRealTextSize];
  double value = 271.828;
  for (auto _ : state) {
    benchmark::DoNotOptimize(FormatReal(value, text));
    value += 0.013;
  }
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_RealText);

// Items as the export loop hands them to a writer, by benchmark argument:
// 0 a Double scalar, 1 a Double array of 5, 2 a log line.
const double kReals[] = {1.5, 2.25, 3.125, 99.999, 0.001};

ExportItem SampleItem(int64_t which) {
  ExportItem item;
  item.date = "2019-12-30";
  item.time = "12:34:56.789012";
  item.type_name = "data";
  item.value_count = 1;
  item.value.payload = reinterpret_cast<const uint8_t*>(kReals);
  switch (which) {
    case 0:
      item.class_name = "AlDouble";
      item.id = 100;
      item.value.code = 8;
      break;
    case 1:
      item.class_name = "GrDouble";
      item.id = 400;
      item.value_count = 5;
      item.value.code = 24;
      break;
    default:
      item.class_name = "AlString";
      item.type_name = "Norm";
      item.level = "Core Info";
      item.id = 902;
      item.value.code = 12;
      item.value.text = "Pump 7 started";
      break;
  }
  return item;
}

void WriteItems(benchmark::State& state, Writer& writer) {
  const ExportItem item = SampleItem(state.range(0));
  writer.beginDocument();
  for (auto _ : state) writer.writeItem(item);
  writer.flush();
  state.SetItemsProcessed(state.iterations());
}

void BM_JsonItem(benchmark::State& state) {
  NullBuffer discard;
  std::ostream out(&discard);
  CompactJsonWriter writer(&out, false);
  WriteItems(state, writer);
}
BENCHMARK(BM_JsonItem)->DenseRange(0, 2);

void BM_PrettyJsonItem(benchmark::State& state) {
  NullBuffer discard;
  std::ostream out(&discard);
  PrettyJsonWriter writer(&out, false);
  WriteItems(state, writer);
}
BENCHMARK(BM_PrettyJsonItem)->DenseRange(0, 2);

void BM_CsvItem(benchmark::State& state) {
  NullBuffer discard;
  std::ostream out(&discard);
  CsvWriter writer(&out, "", {}, kComma);
  WriteItems(state, writer);
}
BENCHMARK(BM_CsvItem)->DenseRange(0, 2);

}  // namespace
}  // namespace qorarc

BENCHMARK_MAIN();
