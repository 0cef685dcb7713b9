// reference_export: the export written the straightforward way, to check the
// fast path of QorArc against on a large archive (bench/run.sh compares the
// two outputs byte for byte).
//
//   reference_export json|pretty|csv OUTPUT FILE...
//
// Exports every item of the given ".rea" files, in the order given, as
// `QorArc -i ARC NAME` (json), `-p` (pretty) or `--csv` write them without
// filters. Nothing here is tuned: whole files are read into memory, date and
// time texts come from snprintf, JSON goes through a plain RapidJSON Writer
// over a StringBuffer, and CSV cells are built as std::strings. Only the
// record decoder, the record text tables and the element accessors are
// shared with QorArc. Damaged files are not expected in a generated archive
// and stop the run.
#include <rapidjson/prettywriter.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include <chrono>
#include <cmath>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>
#include <vector>

#include "archive/archive_format.h"
#include "archive/record_decoder.h"
#include "export/export_item.h"
#include "export/real_text.h"
#include "export/record_texts.h"
#include "export/time_text.h"

namespace qorarc {
namespace {

std::string DateOf(int64_t timestamp) {
  if (timestamp == 0) return "---";
  const std::chrono::year_month_day date = DateOfDay(DayOf(timestamp));
  char text[32];
  std::snprintf(text, sizeof text, "%4i%c%02i%c%02i", static_cast<int>(date.year()), '-',
                static_cast<int>(static_cast<unsigned>(date.month())), '-',
                static_cast<int>(static_cast<unsigned>(date.day())));
  return text;
}

std::string TimeOf(int64_t timestamp) {
  if (timestamp == 0) return "---";
  int64_t of_day = timestamp % kNanosPerDay;
  if (of_day < 0) of_day += kNanosPerDay;
  const int64_t seconds = of_day / kNanosPerSecond;
  const int64_t nanos = of_day % kNanosPerSecond;
  char text[48];
  std::snprintf(text, sizeof text, "%02i%c%02i%c%0*.*f", static_cast<int>(seconds / 3600), ':',
                static_cast<int>(seconds / 60 % 60), ':', 9, 6,
                static_cast<double>(seconds % 60) + static_cast<double>(nanos) / 1e9);
  return text;
}

std::string TextOf(const ArchiveItem& item) {
  if (item.code() == 12) return std::string(item.text.c_str());  // up to the first NUL
  if (item.code() < 17) return "UNKNOWN ALARM!";
  throw std::runtime_error("an array of times or errors has no text");
}

ItemValue ValueOf(const ArchiveItem& item) {
  return ItemValue{static_cast<uint8_t>(item.code()), item.value, item.text};
}

// The item's JSON object through RapidJSON's writer interface.
template <typename Json>
void WriteJsonItem(Json& json, const ArchiveItem& item) {
  const int64_t timestamp = item.timestamp();
  const ItemValue value = ValueOf(item);
  json.StartObject();
  json.Key("ts");
  json.String((DateOf(timestamp) + "T" + TimeOf(timestamp) + "Z").c_str());
  if (item.code() != 0) {
    json.Key("id");
    json.Int(item.id);
  }
  json.Key("class");
  json.String(std::string(ClassText(item.code())).c_str());
  json.Key("type");
  json.String(std::string(TypeText(item.type)).c_str());
  if (item.code() == 12) {
    json.Key("level");
    json.String(std::string(LevelText(item.count)).c_str());
  }
  const int32_t count = ValueCount(item.code(), item.count);
  if (count > 0) {
    json.Key("values");
    json.StartArray();
    switch (CategoryOf(value.code)) {
      case ValueCategory::kNone:
        break;
      case ValueCategory::kText:
        json.String(TextOf(item).c_str());
        break;
      case ValueCategory::kFlags:
        for (int i = 0; i < count; ++i) json.Bool(FlagElement(value, i));
        break;
      case ValueCategory::kInteger:
        for (int i = 0; i < count; ++i) json.Int(IntegerElement(value, i));
        break;
      case ValueCategory::kReal:
        for (int i = 0; i < count; ++i) json.Double(RealElement(value, i));
        break;
    }
    json.EndArray();
  }
  json.EndObject();
}

std::string RealCell(double value) {
  if (std::isnan(value)) return "nan";
  if (std::isinf(value)) return value < 0 ? "-inf" : "inf";
  rapidjson::StringBuffer text;
  rapidjson::Writer<rapidjson::StringBuffer> json(text);
  json.Double(value);
  return text.GetString();
}

std::string CsvLine(const ArchiveItem& item) {
  const int64_t timestamp = item.timestamp();
  const ItemValue value = ValueOf(item);
  std::vector<std::string> cells = {
      DateOf(timestamp),
      TimeOf(timestamp),
      std::string(ClassText(item.code())),
      std::string(TypeText(item.type)),
      item.code() == 12 ? std::string(LevelText(item.count)) : "",
      std::to_string(item.code() == 0 ? -1 : item.id),
  };
  const int32_t count = ValueCount(item.code(), item.count);
  for (int i = 0; i < count; ++i) {
    switch (CategoryOf(value.code)) {
      case ValueCategory::kNone:
        cells.push_back("");
        break;
      case ValueCategory::kText:
        cells.push_back(TextOf(item));
        break;
      case ValueCategory::kFlags:
        cells.push_back(FlagElement(value, i) ? "on" : "off");
        break;
      case ValueCategory::kInteger: {
        char text[16];
        std::snprintf(text, sizeof text, "%d", IntegerElement(value, i));
        cells.push_back(text);
        break;
      }
      case ValueCategory::kReal:
        cells.push_back(RealCell(RealElement(value, i)));
        break;
    }
  }
  std::string line;
  for (size_t i = 0; i < cells.size(); ++i) line += (i == 0 ? "" : ",") + cells[i];
  return line + "\n";
}

// Calls `each` for every item of the file at `path`.
template <typename Each>
void ForEachItem(const std::string& path, Each each) {
  std::ifstream in(path, std::ios::binary);
  if (!in) throw std::runtime_error("cannot read '" + path + "'");
  const std::vector<uint8_t> bytes{std::istreambuf_iterator<char>(in), {}};
  size_t position = 0;
  uint16_t day = 0;
  ArchiveItem item;
  for (;;) {
    const DecodeResult result =
        DecodeRecord(bytes.data() + position, bytes.size() - position, &day, &item);
    switch (result.status) {
      case RecordStatus::kItem:
        each(item);
        break;
      case RecordStatus::kDayMarker:
        break;
      case RecordStatus::kEnd:
        return;
      default:
        throw std::runtime_error("damaged record in '" + path + "'");
    }
    position += result.length;
  }
}

class Output {
 public:
  explicit Output(const char* path) : file_(std::fopen(path, "wb")) {
    if (file_ == nullptr) throw std::runtime_error(std::string("cannot create '") + path + "'");
  }
  ~Output() {
    if (file_ != nullptr) std::fclose(file_);
  }
  void Write(const char* data, size_t size) {
    if (std::fwrite(data, 1, size, file_) != size) throw std::runtime_error("write failed");
  }
  void Close() {
    const bool failed = std::fclose(file_) != 0;
    file_ = nullptr;
    if (failed) throw std::runtime_error("write failed");
  }

 private:
  FILE* file_;
};

template <typename Json>
void ExportJson(Json& json, rapidjson::StringBuffer& text, const std::vector<std::string>& files,
                Output& out) {
  json.StartObject();
  json.Key("data");
  json.StartArray();
  for (const std::string& path : files) {
    ForEachItem(path, [&](const ArchiveItem& item) {
      WriteJsonItem(json, item);
      if (text.GetSize() >= (1 << 20)) {
        out.Write(text.GetString(), text.GetSize());
        text.Clear();
      }
    });
  }
  json.EndArray();
  json.EndObject();
  out.Write(text.GetString(), text.GetSize());
}

int Run(int argc, char** argv) {
  const std::string mode = argc > 1 ? argv[1] : "";
  if (argc < 4 || (mode != "json" && mode != "pretty" && mode != "csv")) {
    std::fputs("Usage: reference_export json|pretty|csv OUTPUT FILE...\n", stderr);
    return 2;
  }
  const std::vector<std::string> files(argv + 3, argv + argc);
  Output out(argv[2]);
  if (mode == "csv") {
    for (const std::string& path : files) {
      ForEachItem(path, [&](const ArchiveItem& item) {
        const std::string line = CsvLine(item);
        out.Write(line.data(), line.size());
      });
    }
  } else {
    rapidjson::StringBuffer text;
    if (mode == "pretty") {
      rapidjson::PrettyWriter<rapidjson::StringBuffer> json(text);
      json.SetIndent(' ', 4);
      ExportJson(json, text, files, out);
    } else {
      rapidjson::Writer<rapidjson::StringBuffer> json(text);
      ExportJson(json, text, files, out);
    }
  }
  out.Close();
  return 0;
}

}  // namespace
}  // namespace qorarc

int main(int argc, char** argv) {
  try {
    return qorarc::Run(argc, argv);
  } catch (const std::exception& e) {
    std::fprintf(stderr, "reference_export: %s\n", e.what());
    return 1;
  }
}
