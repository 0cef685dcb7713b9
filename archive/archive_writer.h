// Writes ".rea" archive files: the inverse of the record decoder in
// archive/archive_format.h. The tests of every subsystem and the archive
// generator build their files with it.
//
// Times of day are nanoseconds since midnight, 0 to 2^47 - 1; values are
// given in host order and stored big-endian. Calls that cannot be encoded
// (a time of day out of range, a state code above 7, an invalid value type
// code, a value too long for its length field) throw std::invalid_argument.
// Raw() and RawDayMarker() write anything, for damaged files.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "archive/archive_format.h"

namespace qorarc {

// Day number (0 = 2000-01-01) of a calendar date.
int64_t DayNumber(int year, unsigned month, unsigned day);

// Nanoseconds since midnight of a clock time.
constexpr int64_t TimeOfDay(int64_t hours, int64_t minutes, int64_t seconds,
                            int64_t nanoseconds = 0) {
  return ((hours * 60 + minutes) * 60 + seconds) * 1'000'000'000 + nanoseconds;
}

// "<root>/<YYYY>/<YYYY-MM>/<YYYY-MM-DD>_<name>.rea", the place of the file
// of archive `name` for a day number.
std::string ArchiveFilePath(const std::string& root, int64_t day_number,
                            const std::string& name);

// Writes `bytes` to `path`, creating the parent directories. Throws
// std::runtime_error naming the path when that fails.
void WriteArchiveFile(const std::string& path, std::string_view bytes);

// The state code of an ordinary archived value.
inline constexpr uint8_t kDataState = 4;

// Collects the records of one file. Each call appends one record and returns
// the builder, so that calls chain.
class ArchiveBuilder {
 public:
  // Day marker 0x8000 followed by `day` (not checked: 0x10000 makes a bad
  // marker).
  ArchiveBuilder& Day(uint32_t day);
  // Day marker with any tag.
  ArchiveBuilder& RawDayMarker(uint16_t tag, uint32_t day);

  // System record (code 0): 8 bytes, no ID.
  ArchiveBuilder& System(int64_t time_of_day, uint8_t state, uint8_t count);

  // Any valid record from a decoded item: its time, type, count, ID, and its
  // host-order value or text. Arrays take `count` elements from `value`
  // (17: ceil(count / 8) bytes, 32 when count is 0); 17, 18 and 27 are
  // written as they stand, like the decoder keeps them.
  ArchiveBuilder& Item(const ArchiveItem& item);

  // Bool record; the edge (0 "H->L", 1 "L->H") is its state code.
  ArchiveBuilder& Bool(int64_t time_of_day, uint16_t id, uint8_t edge,
                       uint8_t count = 0);

  // Scalars of the codes 2 to 11, one function each by its type name:
  // Byte(time_of_day, id, value, state = kDataState, count = 0) and so on.
  // Time is code 9, the unnamed 8-byte type; Error code 11, the unnamed
  // 2-byte type.
#define QORARC_SCALAR(name, code, type)                                      \
  ArchiveBuilder& name(int64_t time_of_day, uint16_t id, type value,        \
                       uint8_t state = kDataState, uint8_t count = 0) {     \
    return Scalar(code, time_of_day, id, &value, sizeof value, state, count); \
  }
  QORARC_SCALAR(Byte, 2, uint8_t)
  QORARC_SCALAR(Short, 3, int16_t)
  QORARC_SCALAR(Long, 4, int32_t)
  QORARC_SCALAR(Word, 5, uint16_t)
  QORARC_SCALAR(DWord, 6, uint32_t)
  QORARC_SCALAR(Float, 7, float)
  QORARC_SCALAR(Double, 8, double)
  QORARC_SCALAR(Time, 9, uint64_t)
  QORARC_SCALAR(Large, 10, int64_t)
  QORARC_SCALAR(Error, 11, uint16_t)
#undef QORARC_SCALAR

  // Log string (code 12); the count byte carries the level code (25 is
  // "Core Warning"), the state code the log class. Texts up to 65,535 bytes
  // are written, so overlong records can be made too.
  ArchiveBuilder& Text(int64_t time_of_day, uint16_t id, uint8_t count,
                       std::string_view text, uint8_t state = 0);

  // Alarm/event word (code 31).
  ArchiveBuilder& Alarm31(int64_t time_of_day, uint16_t id, uint32_t word,
                          uint8_t state, uint8_t count = 0);

  // Array of bits (code 17): `bytes` must hold ceil(count / 8) bytes, or 32
  // when count is 0; bit i is bit (i mod 8) of byte i / 8.
  ArchiveBuilder& Bits(int64_t time_of_day, uint16_t id, uint8_t count,
                       const std::vector<uint8_t>& bytes,
                       uint8_t state = kDataState);

  // Array of code 18 to 27 whose element size is sizeof(T); the count byte
  // is the number of values (at most 255; above 512 value bytes the record
  // is one the decoder refuses). Elements are stored big-endian.
  template <typename T>
  ArchiveBuilder& Array(uint8_t code, int64_t time_of_day, uint16_t id,
                        const std::vector<T>& values,
                        uint8_t state = kDataState) {
    static_assert(sizeof(T) == 1 || sizeof(T) == 2 || sizeof(T) == 4 ||
                  sizeof(T) == 8);
    ArrayHeader(code, sizeof(T), time_of_day, id, values.size(), state);
    for (const T& v : values) PutBigEndian(&v, sizeof(T));
    return *this;
  }

  // Bytes as given.
  ArchiveBuilder& Raw(std::string_view bytes);
  // The end mark 0xFF.
  ArchiveBuilder& End();

  const std::string& bytes() const { return bytes_; }
  size_t size() const { return bytes_.size(); }
  // Drops the bytes collected so far, keeping the capacity: the generator
  // writes a file in pieces.
  void Clear() { bytes_.clear(); }

 private:
  void Header(int64_t time_of_day, uint8_t code, uint8_t state, uint8_t count);
  ArchiveBuilder& Scalar(uint8_t code, int64_t time_of_day, uint16_t id,
                         const void* value, size_t size, uint8_t state,
                         uint8_t count);
  void ArrayHeader(uint8_t code, size_t element_size, int64_t time_of_day,
                   uint16_t id, size_t n, uint8_t state);
  // Appends a host-order number big-endian.
  template <typename T>
  void Put(T v) {
    PutBigEndian(&v, sizeof v);
  }
  // Appends a host-order value of `size` bytes (1, 2, 4 or 8) big-endian.
  void PutBigEndian(const void* value, size_t size);
  std::string bytes_;
};

}  // namespace qorarc
