#include "archive/archive_writer.h"

#include <chrono>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <stdexcept>

namespace qorarc {

int64_t DayNumber(int year, unsigned month, unsigned day) {
  const std::chrono::year_month_day date{std::chrono::year{year}, std::chrono::month{month},
                                         std::chrono::day{day}};
  if (!date.ok()) throw std::invalid_argument("not a calendar date");
  return DayNumberOf(date);
}

std::string ArchiveFilePath(const std::string& root, int64_t day_number,
                            const std::string& name) {
  const std::chrono::year_month_day date = DateOfDay(day_number);
  const int y = static_cast<int>(date.year());
  const unsigned m = static_cast<unsigned>(date.month());
  const unsigned d = static_cast<unsigned>(date.day());
  char dirs[64];
  std::snprintf(dirs, sizeof dirs, "/%04d/%04d-%02u/%04d-%02u-%02u_", y, y, m,
                y, m, d);
  return root + dirs + name + ".rea";
}

void WriteArchiveFile(const std::string& path, std::string_view bytes) {
  const std::filesystem::path file(path);
  std::error_code error;
  if (file.has_parent_path()) {
    std::filesystem::create_directories(file.parent_path(), error);
    if (error) {
      throw std::runtime_error("cannot create the directory of '" + path +
                               "': " + error.message());
    }
  }
  std::ofstream out(file, std::ios::binary | std::ios::trunc);
  out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  out.close();
  if (!out) throw std::runtime_error("cannot write '" + path + "'");
}

ArchiveBuilder& ArchiveBuilder::Day(uint32_t day) {
  return RawDayMarker(kDayMarkerTag, day);
}

ArchiveBuilder& ArchiveBuilder::RawDayMarker(uint16_t tag, uint32_t day) {
  Put(tag);
  Put(day);
  return *this;
}

ArchiveBuilder& ArchiveBuilder::System(int64_t time_of_day, uint8_t state,
                                       uint8_t count) {
  Header(time_of_day, 0, state, count);
  return *this;
}

ArchiveBuilder& ArchiveBuilder::Item(const ArchiveItem& item) {
  const int code = item.code();
  if (!IsValidCode(code)) {
    throw std::invalid_argument("invalid value type code " + std::to_string(code));
  }
  const int64_t time_of_day = item.time_of_day();
  const auto state = static_cast<uint8_t>(item.state());
  if (code == kSystemCode) return System(time_of_day, state, item.count);
  if (code == kStringCode) return Text(time_of_day, item.id, item.count, item.text, state);

  const bool array = ShapeOf(code) == ValueShape::kArray;
  const size_t value_bytes = array ? ArrayValueBytes(code, item.count) : ElementSize(code);
  if (value_bytes > kMaxValueBytes) {
    throw std::invalid_argument("array longer than 512 value bytes");
  }
  Header(time_of_day, static_cast<uint8_t>(code), state, item.count);
  Put(item.id);
  const size_t size = ElementSize(code);
  if (!array) {
    if (size != 0) PutBigEndian(item.value, size);
  } else if (KeepsStoredOrder(code)) {
    bytes_.append(reinterpret_cast<const char*>(item.value), value_bytes);
  } else {
    for (size_t i = 0; i < item.count; ++i) PutBigEndian(item.value + i * size, size);
  }
  return *this;
}

ArchiveBuilder& ArchiveBuilder::Bool(int64_t time_of_day, uint16_t id,
                                     uint8_t edge, uint8_t count) {
  Header(time_of_day, kBoolCode, edge, count);
  Put(id);
  return *this;
}

ArchiveBuilder& ArchiveBuilder::Text(int64_t time_of_day, uint16_t id,
                                     uint8_t count, std::string_view text,
                                     uint8_t state) {
  if (text.size() > 0xFFFF) {
    throw std::invalid_argument("text longer than 65,535 bytes");
  }
  Header(time_of_day, kStringCode, state, count);
  Put(id);
  Put(static_cast<uint16_t>(text.size()));
  bytes_.append(text);
  return *this;
}

ArchiveBuilder& ArchiveBuilder::Alarm31(int64_t time_of_day, uint16_t id,
                                        uint32_t word, uint8_t state,
                                        uint8_t count) {
  Header(time_of_day, kAlarmWordCode, state, count);
  Put(id);
  Put(word);
  return *this;
}

ArchiveBuilder& ArchiveBuilder::Bits(int64_t time_of_day, uint16_t id,
                                     uint8_t count,
                                     const std::vector<uint8_t>& bytes,
                                     uint8_t state) {
  const size_t expected = ArrayValueBytes(kBitArrayCode, count);
  if (bytes.size() != expected) {
    throw std::invalid_argument("bit array of " + std::to_string(count) +
                                " bits needs " + std::to_string(expected) +
                                " bytes");
  }
  Header(time_of_day, kBitArrayCode, state, count);
  Put(id);
  bytes_.append(reinterpret_cast<const char*>(bytes.data()), bytes.size());
  return *this;
}

ArchiveBuilder& ArchiveBuilder::Raw(std::string_view bytes) {
  bytes_.append(bytes);
  return *this;
}

ArchiveBuilder& ArchiveBuilder::End() {
  bytes_.push_back(static_cast<char>(kEndMark));
  return *this;
}

void ArchiveBuilder::Header(int64_t time_of_day, uint8_t code, uint8_t state,
                            uint8_t count) {
  if (time_of_day < 0 || time_of_day > kMaxTimeOfDay) {
    throw std::invalid_argument("time of day out of range: " +
                                std::to_string(time_of_day));
  }
  if (state > 7) {
    throw std::invalid_argument("state code above 7: " + std::to_string(state));
  }
  Put(static_cast<uint16_t>(time_of_day >> 32));
  Put(static_cast<uint32_t>(time_of_day));
  bytes_.push_back(static_cast<char>(code | (state << 5)));
  bytes_.push_back(static_cast<char>(count));
}

ArchiveBuilder& ArchiveBuilder::Scalar(uint8_t code, int64_t time_of_day,
                                       uint16_t id, const void* value,
                                       size_t size, uint8_t state,
                                       uint8_t count) {
  Header(time_of_day, code, state, count);
  Put(id);
  PutBigEndian(value, size);
  return *this;
}

void ArchiveBuilder::ArrayHeader(uint8_t code, size_t element_size,
                                 int64_t time_of_day, uint16_t id, size_t n,
                                 uint8_t state) {
  if (ShapeOf(code) != ValueShape::kArray || code == kBitArrayCode ||
      ElementSize(code) != element_size) {
    throw std::invalid_argument("array code " + std::to_string(code) +
                                " does not hold elements of " +
                                std::to_string(element_size) + " bytes");
  }
  if (n > 255) throw std::invalid_argument("array of more than 255 elements");
  Header(time_of_day, code, state, static_cast<uint8_t>(n));
  Put(id);
}

void ArchiveBuilder::PutBigEndian(const void* value, size_t size) {
  uint8_t stored[8] = {};
  if (size > sizeof stored) throw std::invalid_argument("a value has at most 8 bytes");
  StoreBigEndian(value, size, stored);
  bytes_.append(reinterpret_cast<const char*>(stored), size);
}

}  // namespace qorarc
