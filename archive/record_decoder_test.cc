#include "archive/record_decoder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "archive/archive_writer.h"

namespace qorarc {
namespace {

// Bytes from hexadecimal digits; blanks are for reading only.
std::string Hex(std::string_view digits) {
  std::string bytes;
  for (size_t i = 0; i < digits.size(); i += digits[i] == ' ' ? 1 : 2) {
    if (digits[i] == ' ') continue;
    bytes.push_back(static_cast<char>(std::stoi(std::string(digits.substr(i, 2)), nullptr, 16)));
  }
  return bytes;
}

// The bytes on the heap in a block of exactly their size, so that the
// address sanitizer or valgrind catch a read past the end.
struct Exact {
  explicit Exact(std::string_view bytes) : size(bytes.size()), data(new uint8_t[bytes.size()]) {
    std::memcpy(data.get(), bytes.data(), bytes.size());
  }
  size_t size;
  std::unique_ptr<uint8_t[]> data;
};

DecodeResult Decode(std::string_view bytes, uint16_t& day, ArchiveItem& item) {
  Exact exact(bytes);
  return DecodeRecord(exact.data.get(), exact.size, &day, &item);
}

// Values in host byte order, one after the other.
template <typename... T>
std::vector<uint8_t> Host(T... values) {
  std::vector<uint8_t> bytes;
  (..., [&] {
    const size_t at = bytes.size();
    bytes.resize(at + sizeof values);
    std::memcpy(bytes.data() + at, &values, sizeof values);
  }());
  return bytes;
}

// Byte i of `bytes` as a number.
uint32_t At(std::string_view bytes, size_t i) { return static_cast<uint8_t>(bytes[i]); }

// The bad-record item: type 0x40, count 4, no ID, no value or text, the
// day in force and the time fields of the record's first six bytes, of
// which those missing read as zero.
void ExpectBadRecordItem(const ArchiveItem& item, std::string head, uint16_t day) {
  head.resize(6, '\0');
  EXPECT_EQ(item.time_high, At(head, 0) << 8 | At(head, 1));
  EXPECT_EQ(item.time_low, At(head, 2) << 24 | At(head, 3) << 16 | At(head, 4) << 8 | At(head, 5));
  EXPECT_EQ(item.type, 0x40);
  EXPECT_EQ(item.count, 4);
  EXPECT_EQ(item.id, 0);
  EXPECT_EQ(item.day, day);
  EXPECT_EQ(item.text, "");
  EXPECT_EQ(std::vector<uint8_t>(item.value, item.value + kMaxValueBytes),
            std::vector<uint8_t>(kMaxValueBytes, 0));
}

// Every valid code, decoded one after the other into the same item: nothing
// of a record may show through the next. The writer writes the bytes given
// by hand (the others go through the writer alone: a record given by hand
// pins their layout). The decoder reads the header as stored and the value
// in host order, zeros filling its first 8 bytes (17, 18 and 27 keep the
// file's bytes); the generic encoder writes the decoded item back.
TEST(RecordDecoderTest, EveryCodeWrittenDecodedAndWrittenAgain) {
  using B = ArchiveBuilder;
  struct Case {
    void (*write)(B&);
    const char* hex;  // null: the writer's bytes are not pinned
    std::vector<uint8_t> value;
  };
  const Case cases[] = {
      {[](B& b) { b.System(TimeOfDay(1, 0, 0), 2, 4); }, "034630B8A000 40 04", {}},
      {[](B& b) { b.Bool((int64_t{1} << 47) - 1, 0xABCD, 1, 3); }, "7FFFFFFFFFFF 21 03 ABCD", {}},
      {[](B& b) { b.Byte(1, 2, 0xFE, 0, 9); }, "000000000001 02 09 0002 FE", {0xFE}},
      {[](B& b) { b.Short(0, 3, -2, 0); }, "000000000000 03 00 0003 FFFE", Host(int16_t{-2})},
      {[](B& b) { b.Long(0, 4, -12345678, 1, 7); }, "000000000000 24 07 0004 FF439EB2", Host(-12345678)},
      {[](B& b) { b.Word(0, 5, 0xBEEF, 1); }, nullptr, Host(uint16_t{0xBEEF})},
      {[](B& b) { b.DWord(0, 6, 0xA1B2C3D4, 2); }, nullptr, Host(uint32_t{0xA1B2C3D4})},
      {[](B& b) { b.Float(0, 7, 1.5f, 3, 2); }, "000000000000 67 02 0007 3FC00000", Host(1.5f)},
      {[](B& b) { b.Double(0, 8, -0.1); }, "000000000000 88 00 0008 BFB999999999999A", Host(-0.1)},
      {[](B& b) { b.Time(0, 9, 0x0102030405060708); }, nullptr, Host(uint64_t{0x0102030405060708})},
      {[](B& b) { b.Large(0, 10, INT64_MIN); }, nullptr, Host(int64_t{INT64_MIN})},
      {[](B& b) { b.Error(0, 11, 0x8001); }, nullptr, Host(uint16_t{0x8001})},
      // Strings keep the length of their zero-terminated text; a zero byte
      // inside the text is copied like any other.
      {[](B& b) { b.Text(0, 12, 25, std::string("bo\0il", 5), 3); },
       "000000000000 6C 19 000C 0005 626F00696C", Host(uint32_t{6})},
      {[](B& b) { b.Alarm31(0, 31, 0xA0B0C0D0, 3, 1); }, "000000000000 7F 01 001F A0B0C0D0", Host(0xA0B0C0D0)},
      {[](B& b) { b.Bits(0, 17, 10, {0xFF, 0x02}); }, "000000000000 91 0A 0011 FF02", {0xFF, 0x02}},
      {[](B& b) { b.Bits(0, 17, 0, std::vector<uint8_t>(32, 0xAA)); },
       "000000000000 91 00 0011 AAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAA",
       std::vector<uint8_t>(32, 0xAA)},
      {[](B& b) { b.Array<uint8_t>(18, 0, 18, {1, 255}); }, "000000000000 92 02 0012 01FF", {1, 255}},
      {[](B& b) { b.Array<int16_t>(19, 0, 19, {-1, 300}); }, "000000000000 93 02 0013 FFFF 012C",
       Host<int16_t, int16_t>(-1, 300)},
      {[](B& b) { b.Array<int32_t>(20, 0, 20, {-5, 6, 7}); },
       "000000000000 94 03 0014 FFFFFFFB 00000006 00000007", Host(-5, 6, 7)},
      {[](B& b) { b.Array<uint16_t>(21, 0, 21, {0xABCD}); }, nullptr, Host(uint16_t{0xABCD})},
      {[](B& b) { b.Array<uint32_t>(22, 0, 22, {1, 0xFFFFFFFF}); }, nullptr, Host(1u, 0xFFFFFFFFu)},
      {[](B& b) { b.Array<float>(23, 0, 23, {0.5f, -2.0f}); }, nullptr, Host(0.5f, -2.0f)},
      {[](B& b) { b.Array<double>(24, 0, 24, {1.25, 1e300}, 1); },
       "000000000000 38 02 0018 3FF4000000000000 7E37E43C8800759C", Host(1.25, 1e300)},
      {[](B& b) { b.Array<uint64_t>(25, 0, 25, {0x0102030405060708}); }, nullptr, Host(0x0102030405060708)},
      {[](B& b) { b.Array<int64_t>(26, 0, 26, {-1, 2}); }, nullptr, Host(int64_t{-1}, int64_t{2})},
      {[](B& b) { b.Array<uint16_t>(27, 0, 27, {0x1234}); }, "000000000000 9B 01 001B 1234", {0x12, 0x34}},
      {[](B& b) { b.Array<uint8_t>(18, 0, 18, {}); }, "000000000000 92 00 0012", {}},
  };
  uint16_t day = 99;
  ArchiveItem item;
  for (const Case& c : cases) {
    ArchiveBuilder builder;
    c.write(builder);
    const std::string& bytes = builder.bytes();
    SCOPED_TRACE(c.hex != nullptr ? c.hex : "code " + std::to_string(At(bytes, 6) & 0x1F));
    if (c.hex != nullptr) {
      EXPECT_EQ(bytes, Hex(c.hex));
    }

    const DecodeResult r = Decode(bytes, day, item);
    ASSERT_EQ(r.status, RecordStatus::kItem);
    EXPECT_EQ(r.length, bytes.size());
    EXPECT_EQ(item.time_high, At(bytes, 0) << 8 | At(bytes, 1));
    EXPECT_EQ(item.time_low, At(bytes, 2) << 24 | At(bytes, 3) << 16 | At(bytes, 4) << 8 | At(bytes, 5));
    EXPECT_EQ(item.type, At(bytes, 6));
    EXPECT_EQ(item.count, At(bytes, 7));
    EXPECT_EQ(item.id, item.code() == 0 ? 0 : At(bytes, 8) << 8 | At(bytes, 9));
    EXPECT_EQ(item.day, 99);
    std::vector<uint8_t> value = c.value;
    value.resize(std::max<size_t>(value.size(), 8));
    EXPECT_EQ(std::vector<uint8_t>(item.value, item.value + value.size()), value);
    EXPECT_EQ(item.text, item.code() == 12 ? bytes.substr(12) : "");

    EXPECT_EQ(ArchiveBuilder().Item(item).bytes(), bytes);
  }
}

// The day markers, the end mark, and damage that must never be trusted.
// Each record is followed by 0xFF bytes up to the longest record the format
// allows, so that the header alone decides.
TEST(RecordDecoderTest, StatusAndLengthOfEachSortOfRecord) {
  using S = RecordStatus;
  struct Case {
    const char* what;
    const char* hex;
    RecordStatus status;
    size_t length;
  };
  const Case cases[] = {
      {"end mark, a day marker after it", "FF 8000 00000001", S::kEnd, 0},
      {"day marker", "8000 00001C89", S::kDayMarker, 6},
      {"day marker of the last day", "8000 0000FFFF", S::kDayMarker, 6},
      {"day marker past the last day", "8000 00010000", S::kBad, 0},
      {"tag 0x8001", "8001 00000005", S::kBad, 0}, {"tag 0xFE00", "FE00 00000005", S::kBad, 0},
      {"code 13", "000100000002 0D 00 0001 0000", S::kBad, 0},
      {"code 16, state 7", "000100000002 F0 00", S::kBad, 0},
      {"code 28", "000100000002 1C 00", S::kBad, 0}, {"code 30", "000100000002 1E 00", S::kBad, 0},
      // Arrays hold at most 512 value bytes; the ID comes from the 0xFF bytes.
      {"64 Doubles", "000100000002 18 40", S::kItem, 522}, {"65 Doubles", "000100000002 18 41", S::kBad, 0},
      {"128 Longs", "000100000002 14 80", S::kItem, 522}, {"129 Floats", "000100000002 17 81", S::kBad, 0},
      {"255 Shorts", "000100000002 13 FF", S::kItem, 520}, {"255 Doubles", "000100000002 18 FF", S::kBad, 0},
      {"255 Bytes", "000100000002 12 FF", S::kItem, 265}, {"no Bytes", "000100000002 12 00", S::kItem, 10},
      {"bit array of count 0: 32 bytes", "000100000002 11 00", S::kItem, 42},
      {"1 bit", "000100000002 11 01", S::kItem, 11}, {"8 bits", "000100000002 11 08", S::kItem, 11},
      {"9 bits", "000100000002 11 09", S::kItem, 12}, {"255 bits", "000100000002 11 FF", S::kItem, 42},
      // A string of length L makes a record of 12 + L bytes, which the
      // runtime holds in 16 signed bits; past 32,767 the wrapped value
      // decides, as a result code: bit 14 set would make -16990 the bad
      // record's -606 and -16385 the warning -1, but only the latter counts.
      {"longest string, 32,755 bytes", "000100000002 0C 19 0005 7FF3", S::kItem, 32767},
      {"string of 32,756: -32768", "000100000002 0C 19 0005 7FF4", S::kReadError, 0},
      {"string of 48,534: -16990", "000100000002 0C 19 0005 BD96", S::kReadError, 0},
      {"string of 49,139: -16385", "000100000002 0C 19 0005 BFF3", S::kQuietEnd, 0},
      {"string of 64,918: -606", "000100000002 0C 19 0005 FD96", S::kBad, 0},
      {"string of 65,424: -100", "000100000002 0C 19 0005 FF90", S::kReadError, 0},
      {"string of 65,425: -99, a warning", "000100000002 0C 19 0005 FF91", S::kQuietEnd, 0},
      {"string of 65,523: -1, a warning", "000100000002 0C 19 0005 FFF3", S::kQuietEnd, 0},
      {"string of 65,524: wraps to 0", "000100000002 0C 19 0005 FFF4", S::kReadError, 0},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    uint16_t day = 42;
    ArchiveItem item;
    // A string read earlier leaves a text and a value to clear.
    ASSERT_EQ(Decode(ArchiveBuilder().Text(1, 9, 3, "x").bytes(), day, item).status, S::kItem);
    std::memset(item.value, 0x5A, kMaxValueBytes);

    std::string record = Hex(c.hex);
    record.resize(kMaxRecordBytes, '\xFF');
    const DecodeResult r = Decode(record, day, item);
    EXPECT_EQ(r.status, c.status);
    EXPECT_EQ(r.length, c.length);
    const uint32_t marked = At(record, 2) << 24 | At(record, 3) << 16 | At(record, 4) << 8 | At(record, 5);
    EXPECT_EQ(day, c.status == S::kDayMarker ? marked : 42u);
    if (c.status == S::kBad) ExpectBadRecordItem(item, record, 42);
  }
}

}  // namespace
}  // namespace qorarc
