#include "archive/archive_writer.h"

#include <chrono>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <stdexcept>

namespace qorarc {

namespace {

constexpr std::chrono::sys_days kEpoch =
    std::chrono::year{2000} / std::chrono::January / 1;

constexpr int64_t kMaxTimeOfDay = (int64_t{1} << 47) - 1;

// Element size of the array codes 18-27, indexed by code - 16.
constexpr size_t kElementSize[12] = {0, 0, 1, 2, 4, 2, 4, 4, 8, 8, 8, 2};

bool IsValidCode(int code) {
  return code <= 12 || (code >= 17 && code <= 27) || code == 31;
}

// Value bytes of the scalar codes 1-11 and 31 (a Bool has none).
size_t ScalarSize(int code) {
  switch (code) {
    case 2:
      return 1;
    case 3: case 5: case 11:
      return 2;
    case 4: case 6: case 7: case 31:
      return 4;
    case 8: case 9: case 10:
      return 8;
    default:
      return 0;
  }
}

}  // namespace

int64_t DayNumber(int year, unsigned month, unsigned day) {
  const std::chrono::year_month_day date{std::chrono::year{year},
                                         std::chrono::month{month},
                                         std::chrono::day{day}};
  if (!date.ok()) throw std::invalid_argument("not a calendar date");
  return (std::chrono::sys_days{date} - kEpoch).count();
}

std::string ArchiveFilePath(const std::string& root, int64_t day_number,
                            const std::string& name) {
  const std::chrono::year_month_day date{kEpoch +
                                         std::chrono::days{day_number}};
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
  Put16(tag);
  Put32(day);
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
    throw std::invalid_argument("invalid value type code " +
                                std::to_string(code));
  }
  const int64_t time_of_day = item.time_of_day();
  const auto state = static_cast<uint8_t>(item.state());
  if (code == 0) return System(time_of_day, state, item.count);
  if (code == 12)
    return Text(time_of_day, item.id, item.count, item.text, state);

  if (code >= 17 && code <= 27) {
    const size_t value_bytes =
        code == 17 ? (item.count == 0 ? 32 : (item.count + 7u) / 8u)
                   : size_t{kElementSize[code - 16]} * item.count;
    if (value_bytes > kMaxValueBytes) {
      throw std::invalid_argument("array longer than 512 value bytes");
    }
    Header(time_of_day, static_cast<uint8_t>(code), state, item.count);
    Put16(item.id);
    if (code == 17 || code == 18 || code == 27) {
      bytes_.append(reinterpret_cast<const char*>(item.value), value_bytes);
    } else {
      const size_t size = kElementSize[code - 16];
      for (size_t i = 0; i < item.count; ++i) Put(item.value + i * size, size);
    }
    return *this;
  }
  Header(time_of_day, static_cast<uint8_t>(code), state, item.count);
  Put16(item.id);
  const size_t size = ScalarSize(code);
  if (size != 0) Put(item.value, size);
  return *this;
}

ArchiveBuilder& ArchiveBuilder::Bool(int64_t time_of_day, uint16_t id,
                                     uint8_t edge, uint8_t count) {
  Header(time_of_day, 1, edge, count);
  Put16(id);
  return *this;
}

ArchiveBuilder& ArchiveBuilder::Byte(int64_t time_of_day, uint16_t id,
                                     uint8_t value, uint8_t state,
                                     uint8_t count) {
  return Scalar(2, time_of_day, id, &value, sizeof value, state, count);
}

ArchiveBuilder& ArchiveBuilder::Short(int64_t time_of_day, uint16_t id,
                                      int16_t value, uint8_t state,
                                      uint8_t count) {
  return Scalar(3, time_of_day, id, &value, sizeof value, state, count);
}

ArchiveBuilder& ArchiveBuilder::Long(int64_t time_of_day, uint16_t id,
                                     int32_t value, uint8_t state,
                                     uint8_t count) {
  return Scalar(4, time_of_day, id, &value, sizeof value, state, count);
}

ArchiveBuilder& ArchiveBuilder::Word(int64_t time_of_day, uint16_t id,
                                     uint16_t value, uint8_t state,
                                     uint8_t count) {
  return Scalar(5, time_of_day, id, &value, sizeof value, state, count);
}

ArchiveBuilder& ArchiveBuilder::DWord(int64_t time_of_day, uint16_t id,
                                      uint32_t value, uint8_t state,
                                      uint8_t count) {
  return Scalar(6, time_of_day, id, &value, sizeof value, state, count);
}

ArchiveBuilder& ArchiveBuilder::Float(int64_t time_of_day, uint16_t id,
                                      float value, uint8_t state,
                                      uint8_t count) {
  return Scalar(7, time_of_day, id, &value, sizeof value, state, count);
}

ArchiveBuilder& ArchiveBuilder::Double(int64_t time_of_day, uint16_t id,
                                       double value, uint8_t state,
                                       uint8_t count) {
  return Scalar(8, time_of_day, id, &value, sizeof value, state, count);
}

ArchiveBuilder& ArchiveBuilder::Time(int64_t time_of_day, uint16_t id,
                                     uint64_t value, uint8_t state,
                                     uint8_t count) {
  return Scalar(9, time_of_day, id, &value, sizeof value, state, count);
}

ArchiveBuilder& ArchiveBuilder::Large(int64_t time_of_day, uint16_t id,
                                      int64_t value, uint8_t state,
                                      uint8_t count) {
  return Scalar(10, time_of_day, id, &value, sizeof value, state, count);
}

ArchiveBuilder& ArchiveBuilder::Error(int64_t time_of_day, uint16_t id,
                                      uint16_t value, uint8_t state,
                                      uint8_t count) {
  return Scalar(11, time_of_day, id, &value, sizeof value, state, count);
}

ArchiveBuilder& ArchiveBuilder::Text(int64_t time_of_day, uint16_t id,
                                     uint8_t count, std::string_view text,
                                     uint8_t state) {
  if (text.size() > 0xFFFF) {
    throw std::invalid_argument("text longer than 65,535 bytes");
  }
  Header(time_of_day, 12, state, count);
  Put16(id);
  Put16(static_cast<uint16_t>(text.size()));
  bytes_.append(text);
  return *this;
}

ArchiveBuilder& ArchiveBuilder::Alarm31(int64_t time_of_day, uint16_t id,
                                        uint32_t word, uint8_t state,
                                        uint8_t count) {
  Header(time_of_day, 31, state, count);
  Put16(id);
  Put32(word);
  return *this;
}

ArchiveBuilder& ArchiveBuilder::Bits(int64_t time_of_day, uint16_t id,
                                     uint8_t count,
                                     const std::vector<uint8_t>& bytes,
                                     uint8_t state) {
  const size_t expected = count == 0 ? 32 : (count + 7u) / 8u;
  if (bytes.size() != expected) {
    throw std::invalid_argument("bit array of " + std::to_string(count) +
                                " bits needs " + std::to_string(expected) +
                                " bytes");
  }
  Header(time_of_day, 17, state, count);
  Put16(id);
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
  Put16(static_cast<uint16_t>(time_of_day >> 32));
  Put32(static_cast<uint32_t>(time_of_day));
  bytes_.push_back(static_cast<char>(code | (state << 5)));
  bytes_.push_back(static_cast<char>(count));
}

ArchiveBuilder& ArchiveBuilder::Scalar(uint8_t code, int64_t time_of_day,
                                       uint16_t id, const void* value,
                                       size_t size, uint8_t state,
                                       uint8_t count) {
  Header(time_of_day, code, state, count);
  Put16(id);
  Put(value, size);
  return *this;
}

void ArchiveBuilder::ArrayHeader(uint8_t code, size_t element_size,
                                 int64_t time_of_day, uint16_t id, size_t n,
                                 uint8_t state) {
  if (code < 18 || code > 27 || kElementSize[code - 16] != element_size) {
    throw std::invalid_argument("array code " + std::to_string(code) +
                                " does not hold elements of " +
                                std::to_string(element_size) + " bytes");
  }
  if (n > 255) throw std::invalid_argument("array of more than 255 elements");
  Header(time_of_day, code, state, static_cast<uint8_t>(n));
  Put16(id);
}

void ArchiveBuilder::Put16(uint16_t v) {
  const char b[2] = {static_cast<char>(v >> 8), static_cast<char>(v)};
  bytes_.append(b, 2);
}

void ArchiveBuilder::Put32(uint32_t v) {
  Put16(static_cast<uint16_t>(v >> 16));
  Put16(static_cast<uint16_t>(v));
}

void ArchiveBuilder::Put64(uint64_t v) {
  Put32(static_cast<uint32_t>(v >> 32));
  Put32(static_cast<uint32_t>(v));
}

void ArchiveBuilder::Put(const void* value, size_t size) {
  switch (size) {
    case 1:
      bytes_.push_back(*static_cast<const char*>(value));
      break;
    case 2: {
      uint16_t v;
      std::memcpy(&v, value, 2);
      Put16(v);
      break;
    }
    case 4: {
      uint32_t v;
      std::memcpy(&v, value, 4);
      Put32(v);
      break;
    }
    default: {
      uint64_t v;
      std::memcpy(&v, value, 8);
      Put64(v);
      break;
    }
  }
}

}  // namespace qorarc
