#include "archive/record_decoder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "archive/archive_writer.h"

namespace qorarc {
namespace {

// Bytes from hexadecimal digits; blanks are for reading only.
std::string Hex(std::string_view digits) {
  std::string bytes;
  for (size_t i = 0; i < digits.size(); ++i) {
    if (digits[i] == ' ') continue;
    bytes.push_back(static_cast<char>(std::stoi(std::string(digits.substr(i, 2)), nullptr, 16)));
    ++i;
  }
  return bytes;
}

// The bytes on the heap in a block of exactly their size, so that the
// address sanitizer or valgrind catch a read past the end.
struct Exact {
  explicit Exact(std::string_view bytes)
      : size(bytes.size()), data(new uint8_t[bytes.size()]) {
    std::memcpy(data.get(), bytes.data(), bytes.size());
  }
  size_t size;
  std::unique_ptr<uint8_t[]> data;
};

DecodeResult Decode(std::string_view bytes, uint16_t& day, ArchiveItem& item) {
  Exact exact(bytes);
  return DecodeRecord(exact.data.get(), exact.size, &day, &item);
}

template <typename T>
T ValueAs(const ArchiveItem& item, size_t index = 0) {
  T v;
  std::memcpy(&v, item.value + index * sizeof(T), sizeof v);
  return v;
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

// Every valid code: the builder writes the bytes given by hand, the decoder
// reads them back (the header as stored, the value in host order; 17, 18
// and 27 keep the file's bytes), and the generic encoder writes the decoded
// item back to the same bytes.
TEST(RecordDecoderTest, EveryCodeWrittenDecodedAndWrittenAgain) {
  using B = ArchiveBuilder;
  struct Case {
    std::function<void(B&)> write;
    std::string hex;
    std::vector<uint8_t> value;
  };
  const int64_t hour = TimeOfDay(1, 0, 0);
  const Case cases[] = {
      {[&](B& b) { b.System(hour, 2, 4); }, "034630B8A000 40 04", {}},
      {[](B& b) { b.Bool((int64_t{1} << 47) - 1, 0xABCD, 1, 3); }, "7FFFFFFFFFFF 21 03 ABCD", {}},
      {[](B& b) { b.Byte(1, 2, 0xFE, 0, 9); }, "000000000001 02 09 0002 FE", {0xFE}},
      {[](B& b) { b.Short(0, 3, -2, 0); }, "000000000000 03 00 0003 FFFE", Host(int16_t{-2})},
      {[](B& b) { b.Long(0, 4, -123456789, 1, 7); }, "000000000000 24 07 0004 F8A432EB",
       Host(int32_t{-123456789})},
      {[](B& b) { b.Word(0, 5, 0xBEEF, 1); }, "000000000000 25 00 0005 BEEF", Host(uint16_t{0xBEEF})},
      {[](B& b) { b.DWord(0, 6, 0xA1B2C3D4, 2); }, "000000000000 46 00 0006 A1B2C3D4",
       Host(uint32_t{0xA1B2C3D4})},
      {[](B& b) { b.Float(0, 7, 1.5f, 3, 2); }, "000000000000 67 02 0007 3FC00000", Host(1.5f)},
      {[](B& b) { b.Double(0, 8, -0.1); }, "000000000000 88 00 0008 BFB999999999999A", Host(-0.1)},
      {[](B& b) { b.Time(0, 9, 0x0102030405060708); }, "000000000000 89 00 0009 0102030405060708",
       Host(uint64_t{0x0102030405060708})},
      {[](B& b) { b.Large(0, 10, INT64_MIN); }, "000000000000 8A 00 000A 8000000000000000",
       Host(int64_t{INT64_MIN})},
      {[](B& b) { b.Error(0, 11, 0x8001); }, "000000000000 8B 00 000B 8001", Host(uint16_t{0x8001})},
      // Strings keep the length of their zero-terminated text.
      {[](B& b) { b.Text(0, 12, 25, "boiler", 3); }, "000000000000 6C 19 000C 0006 626F696C6572",
       Host(uint32_t{7})},
      {[](B& b) { b.Text(0, 1, 0, "", 7); }, "000000000000 EC 00 0001 0000", Host(uint32_t{1})},
      {[](B& b) { b.Alarm31(0, 31, 0xA0B0C0D0, 3, 1); }, "000000000000 7F 01 001F A0B0C0D0",
       Host(uint32_t{0xA0B0C0D0})},
      {[](B& b) { b.Bits(0, 17, 10, {0xFF, 0x02}); }, "000000000000 91 0A 0011 FF02", {0xFF, 0x02}},
      {[](B& b) { b.Bits(0, 17, 0, std::vector<uint8_t>(32, 0xAA)); },
       "000000000000 91 00 0011" + std::string(64, 'A'), std::vector<uint8_t>(32, 0xAA)},
      {[](B& b) { b.Array<uint8_t>(18, 0, 18, {1, 255}); }, "000000000000 92 02 0012 01FF", {1, 255}},
      {[](B& b) { b.Array<int16_t>(19, 0, 19, {-1, 300}); }, "000000000000 93 02 0013 FFFF 012C",
       Host(int16_t{-1}, int16_t{300})},
      {[](B& b) { b.Array<int32_t>(20, 0, 20, {-5, 6, 7}); },
       "000000000000 94 03 0014 FFFFFFFB 00000006 00000007", Host(-5, 6, 7)},
      {[](B& b) { b.Array<uint16_t>(21, 0, 21, {0xABCD}); }, "000000000000 95 01 0015 ABCD",
       Host(uint16_t{0xABCD})},
      {[](B& b) { b.Array<uint32_t>(22, 0, 22, {1, 0xFFFFFFFF}); },
       "000000000000 96 02 0016 00000001 FFFFFFFF", Host(1u, 0xFFFFFFFFu)},
      {[](B& b) { b.Array<float>(23, 0, 23, {0.5f, -2.0f}); },
       "000000000000 97 02 0017 3F000000 C0000000", Host(0.5f, -2.0f)},
      {[](B& b) { b.Array<double>(24, 0, 24, {1.25, 1e300}, 1); },
       "000000000000 38 02 0018 3FF4000000000000 7E37E43C8800759C", Host(1.25, 1e300)},
      {[](B& b) { b.Array<uint64_t>(25, 0, 25, {0x0102030405060708}); },
       "000000000000 99 01 0019 0102030405060708", Host(uint64_t{0x0102030405060708})},
      {[](B& b) { b.Array<int64_t>(26, 0, 26, {-1, 2}); },
       "000000000000 9A 02 001A FFFFFFFFFFFFFFFF 0000000000000002", Host(int64_t{-1}, int64_t{2})},
      {[](B& b) { b.Array<uint16_t>(27, 0, 27, {0x1234}); }, "000000000000 9B 01 001B 1234",
       {0x12, 0x34}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.hex);
    const std::string bytes = Hex(c.hex);
    ArchiveBuilder builder;
    c.write(builder);
    EXPECT_EQ(builder.bytes(), bytes);

    uint16_t day = 99;
    ArchiveItem item;
    const DecodeResult r = Decode(bytes, day, item);
    ASSERT_EQ(r.status, RecordStatus::kItem);
    EXPECT_EQ(r.length, bytes.size());
    auto at = [&](size_t i) { return uint32_t{static_cast<uint8_t>(bytes[i])}; };
    EXPECT_EQ(item.time_high, at(0) << 8 | at(1));
    EXPECT_EQ(item.time_low, at(2) << 24 | at(3) << 16 | at(4) << 8 | at(5));
    EXPECT_EQ(item.type, at(6));
    EXPECT_EQ(item.count, at(7));
    EXPECT_EQ(item.id, item.code() == 0 ? 0 : at(8) << 8 | at(9));
    EXPECT_EQ(item.day, 99);
    EXPECT_EQ(std::vector<uint8_t>(item.value, item.value + c.value.size()), c.value);
    EXPECT_EQ(item.text, item.code() == 12 ? bytes.substr(12) : "");

    ArchiveBuilder again;
    again.Item(item);
    EXPECT_EQ(again.bytes(), bytes);
  }
}

TEST(RecordDecoderTest, EndOfData) {
  uint16_t day = 0;
  ArchiveItem item;
  EXPECT_EQ(Decode("", day, item).status, RecordStatus::kEnd);
  EXPECT_EQ(Decode(Hex("FF"), day, item).status, RecordStatus::kEnd);
  // Nothing after the end mark matters, not even a valid day marker.
  EXPECT_EQ(Decode(Hex("FF 8000 00000001"), day, item).status, RecordStatus::kEnd);
  EXPECT_EQ(day, 0);
}

TEST(RecordDecoderTest, ItemsTakeTheDayInForce) {
  ArchiveBuilder b;
  b.Long(5, 1, 1).Day(7305).Long(6, 1, 2).Day(0xFFFF).Long(7, 1, 3).End();
  std::string_view bytes = b.bytes();
  uint16_t day = 0;
  ArchiveItem item;
  std::vector<uint16_t> days;
  for (DecodeResult r; (r = Decode(bytes, day, item)).status != RecordStatus::kEnd;) {
    ASSERT_TRUE(r.status == RecordStatus::kItem || r.status == RecordStatus::kDayMarker);
    if (r.status == RecordStatus::kItem) days.push_back(item.day);
    bytes.remove_prefix(r.length);
  }
  EXPECT_EQ(days, (std::vector<uint16_t>{0, 7305, 0xFFFF}));
  EXPECT_EQ(item.timestamp(), 0xFFFF * kNanosPerDay + 7);
  EXPECT_EQ(bytes, "\xFF");
}

TEST(RecordDecoderTest, ArrayLengths) {
  struct Case {
    int code;
    int count;
    RecordStatus status;
    size_t length;
  };
  const Case cases[] = {
      {24, 64, RecordStatus::kItem, 522},  // 512 value bytes
      {24, 65, RecordStatus::kBad, 0},
      {24, 255, RecordStatus::kBad, 0},  // 2040 bytes
      {26, 65, RecordStatus::kBad, 0}, {20, 128, RecordStatus::kItem, 522},
      {23, 129, RecordStatus::kBad, 0}, {19, 255, RecordStatus::kItem, 520},
      {27, 255, RecordStatus::kItem, 520}, {18, 255, RecordStatus::kItem, 265},
      {18, 0, RecordStatus::kItem, 10},
      {17, 0, RecordStatus::kItem, 42},  // 32 value bytes
      {17, 1, RecordStatus::kItem, 11}, {17, 8, RecordStatus::kItem, 11},
      {17, 9, RecordStatus::kItem, 12}, {17, 255, RecordStatus::kItem, 42},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(testing::Message() << c.code << " x " << c.count);
    // Enough bytes for any of these records; the rest is never read.
    std::string record = Hex("000000000000") + char(c.code) + char(c.count) + Hex("0001");
    record.append(2040, '\x5A');
    uint16_t day = 0;
    ArchiveItem item;
    const DecodeResult r = Decode(record, day, item);
    EXPECT_EQ(r.status, c.status);
    EXPECT_EQ(r.length, c.length);
  }
}

// The bad-record item: type 0x40, count 4, no ID, the given time fields
// and day.
void ExpectBadRecordItem(const ArchiveItem& item, uint16_t time_high, uint32_t time_low,
                         uint16_t day) {
  EXPECT_EQ(item.time_high, time_high);
  EXPECT_EQ(item.time_low, time_low);
  EXPECT_EQ(item.type, 0x40);
  EXPECT_EQ(item.count, 4);
  EXPECT_EQ(item.id, 0);
  EXPECT_EQ(item.day, day);
}

// A bad record is handed on as the bad-record item with the time fields of
// its first six bytes; nothing of an earlier record shows through.
TEST(RecordDecoderTest, BadRecords) {
  struct Case {
    const char* cause;
    const char* hex;
    uint16_t time_high;
    uint32_t time_low;
  };
  const Case cases[] = {
      {"tag 0x8001", "8001 00000005", 0x8001, 5}, {"tag 0xFE00", "FE00 00000005", 0xFE00, 5},
      {"day 0x10000", "8000 00010000", 0x8000, 0x10000},
      {"code 13", "000100000002 0D 00 0001 0000", 1, 2},
      {"code 14", "000100000002 0E 00 0001", 1, 2}, {"code 15", "000100000002 0F 00 0001", 1, 2},
      {"code 16, state 7", "000100000002 F0 00", 1, 2}, {"code 28", "000100000002 1C 00", 1, 2},
      {"code 29", "000100000002 1D 00", 1, 2}, {"code 30", "000100000002 1E 00", 1, 2},
      {"65 Doubles", "000100000002 18 41 0001", 1, 2},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.cause);
    uint16_t day = 42;
    ArchiveItem item;
    // A string read earlier leaves a text and a value to clear.
    ArchiveBuilder warm;
    warm.Array<double>(24, 1, 9, std::vector<double>(64, 1.0)).Text(1, 9, 3, "x");
    ASSERT_EQ(Decode(warm.bytes(), day, item).status, RecordStatus::kItem);
    ASSERT_EQ(Decode(warm.bytes().substr(522), day, item).status, RecordStatus::kItem);

    EXPECT_EQ(Decode(Hex(c.hex), day, item).status, RecordStatus::kBad);
    EXPECT_EQ(day, 42);
    ExpectBadRecordItem(item, c.time_high, c.time_low, 42);
    EXPECT_EQ(item.text, "");
    EXPECT_EQ(std::vector<uint8_t>(item.value, item.value + kMaxValueBytes),
              std::vector<uint8_t>(kMaxValueBytes, 0));
  }
}

TEST(RecordDecoderTest, MarkBadRecordOnAShortRecord) {
  struct Case {
    const char* hex;
    uint16_t time_high;
    uint32_t time_low;
  };
  const Case cases[] = {
      {"", 0, 0},
      {"12", 0x1200, 0},
      {"123456", 0x1234, 0x56000000},
      {"123456789ABC 08 00", 0x1234, 0x56789ABC},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.hex);
    ArchiveItem item;
    Exact exact(Hex(c.hex));
    MarkBadRecord(exact.data.get(), exact.size, 17, &item);
    ExpectBadRecordItem(item, c.time_high, c.time_low, 17);
  }
}

// Every prefix of a file yields its whole records, then kTruncated where a
// record is cut (or kEnd where the cut falls between records); no byte past
// the prefix is read.
TEST(RecordDecoderTest, TruncationAtEveryOffset) {
  ArchiveBuilder b;
  b.Day(7305)
      .System(TimeOfDay(0, 0, 1), 1, 0)
      .Bool(TimeOfDay(0, 0, 2), 7, 1)
      .Double(TimeOfDay(0, 0, 3), 8, 21.5)
      .Text(TimeOfDay(0, 0, 4), 9, 25, "Pump 3 started")
      .Array<int32_t>(20, TimeOfDay(0, 0, 5), 10, {1, -2, 3})
      .Bits(TimeOfDay(0, 0, 6), 11, 0, std::vector<uint8_t>(32, 0xA5))
      .Alarm31(TimeOfDay(0, 0, 7), 12, 0x10, 1)
      .End();
  const std::string& file = b.bytes();
  const std::vector<size_t> ends = {6, 14, 24, 42, 68, 90, 132, 146};
  ASSERT_EQ(file.size(), ends.back() + 1);

  for (size_t prefix = 0; prefix <= file.size(); ++prefix) {
    SCOPED_TRACE(prefix);
    Exact exact(std::string_view(file).substr(0, prefix));
    uint16_t day = 0;
    ArchiveItem item;
    size_t at = 0;
    size_t whole = 0;
    for (;;) {
      const DecodeResult r = DecodeRecord(exact.data.get() + at, prefix - at, &day, &item);
      if (r.status != RecordStatus::kItem && r.status != RecordStatus::kDayMarker) {
        const bool at_boundary = at == prefix || prefix == file.size();
        EXPECT_EQ(r.status, at_boundary ? RecordStatus::kEnd : RecordStatus::kTruncated);
        break;
      }
      at += r.length;
      ASSERT_EQ(at, ends[whole]);
      ++whole;
    }
    EXPECT_EQ(whole, static_cast<size_t>(std::upper_bound(ends.begin(), ends.end(), prefix) - ends.begin()));
  }
}

TEST(RecordDecoderTest, LongestStringRecord) {
  std::string text(32755, 'a');
  text[0] = '\0';  // texts are copied whole, NUL bytes included
  text.back() = 'z';
  ArchiveBuilder b;
  b.Text(1, 2, 3, text);
  ASSERT_EQ(b.size(), 32767u);
  uint16_t day = 0;
  ArchiveItem item;
  const DecodeResult r = Decode(b.bytes(), day, item);
  ASSERT_EQ(r.status, RecordStatus::kItem);
  EXPECT_EQ(r.length, 32767u);
  EXPECT_EQ(item.text, text);
  EXPECT_EQ(ValueAs<uint32_t>(item), 32756u);
  // Cut by one byte, it is not whole.
  EXPECT_EQ(Decode(std::string_view(b.bytes()).substr(0, 32766), day, item).status,
            RecordStatus::kTruncated);
}

// A string length L makes the record 12 + L bytes, which the runtime holds
// in 16 signed bits; past 32,767 the wrapped value decides.
TEST(RecordDecoderTest, OverlongStrings) {
  struct Case {
    int text_length;
    RecordStatus status;
  };
  const Case cases[] = {
      {32756, RecordStatus::kReadError},  // -32768
      {48534, RecordStatus::kReadError},  // -16990: -606 once bit 14 is set
      {49139, RecordStatus::kQuietEnd},   // -16385, with bit 14: -1
      {64918, RecordStatus::kBad},        // -606
      {65424, RecordStatus::kReadError},  // -100
      {65425, RecordStatus::kQuietEnd},   // -99
      {65523, RecordStatus::kQuietEnd},   // -1
      {65524, RecordStatus::kReadError},  // wraps to 0
      {65535, RecordStatus::kReadError},  // wraps to 11
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.text_length);
    ArchiveBuilder b;
    b.Text(TimeOfDay(1, 0, 0), 5, 25, std::string(c.text_length, 'x'));
    uint16_t day = 3;
    ArchiveItem item;
    // The length field decides: the text need not be there.
    EXPECT_EQ(Decode(b.bytes().substr(0, 12), day, item).status, c.status);
    EXPECT_EQ(Decode(b.bytes(), day, item).status, c.status);
    if (c.status == RecordStatus::kBad) ExpectBadRecordItem(item, 0x0346, 0x30B8A000, 3);  // 01:00
  }
}

// The item is reused from record to record: what one record leaves must not
// show through the next.
TEST(RecordDecoderTest, ReusedItemShowsNothingOfEarlierRecords) {
  ArchiveBuilder b;
  b.Array<double>(24, 1, 1, std::vector<double>(64, -1.0))
      .Text(2, 2, 25, "a longer text first")
      .Byte(3, 3, 7)
      .Text(4, 4, 26, "short")
      .Float(5, 5, 2.0f)
      .Array<uint8_t>(18, 6, 6, {})
      .Bool(7, 7, 1);
  std::string_view bytes = b.bytes();
  uint16_t day = 0;
  ArchiveItem item;
  auto next = [&] {
    const DecodeResult r = Decode(bytes, day, item);
    EXPECT_EQ(r.status, RecordStatus::kItem);
    bytes.remove_prefix(r.length);
  };
  next();
  next();
  const char* text_buffer = item.text.data();
  next();  // Byte 7
  EXPECT_EQ(ValueAs<uint64_t>(item), 7u);
  EXPECT_EQ(item.text, "");
  next();  // a shorter text reuses the buffer
  EXPECT_EQ(item.text, "short");
  EXPECT_EQ(item.text.data(), text_buffer);
  EXPECT_EQ(ValueAs<uint64_t>(item), 6u);
  next();  // Float: the upper four bytes are zero
  EXPECT_EQ(ValueAs<float>(item), 2.0f);
  EXPECT_EQ(ValueAs<uint32_t>(item, 1), 0u);
  next();  // an empty array
  EXPECT_EQ(item.count, 0);
  EXPECT_EQ(ValueAs<uint64_t>(item), 0u);
  next();  // Bool
  EXPECT_EQ(ValueAs<uint64_t>(item), 0u);
  EXPECT_TRUE(bytes.empty());
}

TEST(ArchiveFormatTest, ItemKindFollowsTheValueTypeCode) {
  struct Row {
    int code;
    uint8_t count;
    int32_t kind;
  } rows[] = {{0, 4, 1},  {0, 0, 2},  {1, 0, 2},  {8, 3, 1},  {11, 0, 2}, {31, 1, 1},
              {12, 25, 0}, {12, 0, 0}, {17, 8, 4}, {24, 2, 4}, {25, 2, 0}, {27, 1, 0}};
  for (const Row& row : rows) EXPECT_EQ(ItemKindOf(row.code, row.count), row.kind) << row.code;
}

}  // namespace
}  // namespace qorarc
