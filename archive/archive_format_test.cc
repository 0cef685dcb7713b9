#include "archive/archive_format.h"

#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "archive/archive_writer.h"

namespace qorarc {
namespace {

std::string Bytes(std::initializer_list<int> bytes) {
  std::string s;
  for (int b : bytes) s.push_back(static_cast<char>(b));
  return s;
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
  return DecodeRecord(exact.data.get(), exact.size, day, item);
}

template <typename T>
T ValueAs(const ArchiveItem& item, size_t index = 0) {
  T v;
  std::memcpy(&v, item.value + index * sizeof(T), sizeof v);
  return v;
}

TEST(ArchiveFormatTest, DecodesHandWrittenRecords) {
  // Day 7305 (2020-01-01), then a Double 3.0 at time 0x0001'02030405,
  // state "HiHi", count 9, ID 0x1234.
  // clang-format off
  const std::string file = Bytes({0x80, 0x00, 0x00, 0x00, 0x1C, 0x89,
                                  0x00, 0x01, 0x02, 0x03, 0x04, 0x05, 0x68, 0x09,
                                  0x12, 0x34, 0x40, 0x08, 0, 0, 0, 0, 0, 0});
  // clang-format on
  uint16_t day = 3;
  ArchiveItem item;
  DecodeResult r = Decode(file, day, item);
  EXPECT_EQ(r.status, RecordStatus::kDayMarker);
  EXPECT_EQ(r.length, 6u);
  EXPECT_EQ(day, 7305);

  r = Decode(std::string_view(file).substr(6), day, item);
  ASSERT_EQ(r.status, RecordStatus::kItem);
  EXPECT_EQ(r.length, 18u);
  EXPECT_EQ(item.time_high, 0x0001);
  EXPECT_EQ(item.time_low, 0x02030405u);
  EXPECT_EQ(item.type, 0x68);
  EXPECT_EQ(item.code(), 8);
  EXPECT_EQ(item.state(), 3);
  EXPECT_EQ(item.count, 9);
  EXPECT_EQ(item.id, 0x1234);
  EXPECT_EQ(ValueAs<double>(item), 3.0);
  EXPECT_EQ(item.day, 7305);
  EXPECT_EQ(item.timestamp(), 7305 * kNanosPerDay + 0x0001'02030405);
}

// Codes 11 and 19-26 are turned into host order; 17, 18 and 27 keep the
// bytes as stored.
TEST(ArchiveFormatTest, ByteOrderOfScalarsAndArrays) {
  struct Case {
    std::string record;
    std::vector<uint8_t> value;  // expected value bytes, host order
  };
  auto host16 = [](uint16_t a, uint16_t b) {
    std::vector<uint8_t> v(4);
    std::memcpy(v.data(), &a, 2);
    std::memcpy(v.data() + 2, &b, 2);
    return v;
  };
  const std::string head = Bytes({0, 0, 0, 0, 0, 1});
  const Case cases[] = {
      {head + Bytes({11, 0, 0, 7, 0x12, 0x34}), host16(0x1234, 0)},
      {head + Bytes({27, 2, 0, 7, 0x12, 0x34, 0xAB, 0xCD}),
       {0x12, 0x34, 0xAB, 0xCD}},
      {head + Bytes({19, 2, 0, 7, 0x12, 0x34, 0xAB, 0xCD}),
       host16(0x1234, 0xABCD)},
      {head + Bytes({18, 3, 0, 7, 1, 2, 3}), {1, 2, 3}},
      {head + Bytes({17, 9, 0, 7, 0x81, 0x01}), {0x81, 0x01}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(static_cast<int>(c.record[6]));
    uint16_t day = 0;
    ArchiveItem item;
    const DecodeResult r = Decode(c.record, day, item);
    ASSERT_EQ(r.status, RecordStatus::kItem);
    EXPECT_EQ(r.length, c.record.size());
    EXPECT_EQ(std::vector<uint8_t>(item.value, item.value + c.value.size()),
              c.value);
  }
}

// Every valid code, written by the builder and read back: the record
// length, the header fields and the host-order value.
TEST(ArchiveFormatTest, RoundTripsEveryCode) {
  struct Case {
    int code;
    std::function<void(ArchiveBuilder&)> write;
    size_t length;
    uint8_t count;
    uint16_t id;
    std::vector<uint8_t> value;  // host order
  };
  auto host = [](auto... values) {
    std::vector<uint8_t> v;
    (..., [&] {
      const size_t at = v.size();
      v.resize(at + sizeof values);
      std::memcpy(v.data() + at, &values, sizeof values);
    }());
    return v;
  };
  const int64_t t = TimeOfDay(23, 59, 59, 999'999'999);
  std::vector<uint8_t> bits32(32);
  for (int i = 0; i < 32; ++i) bits32[i] = static_cast<uint8_t>(i * 7);

  const Case cases[] = {
      {0, [&](ArchiveBuilder& b) { b.System(t, 2, 4); }, 8, 4, 0, {}},
      {1, [&](ArchiveBuilder& b) { b.Bool(t, 1, 1, 3); }, 10, 3, 1, {}},
      {2, [&](ArchiveBuilder& b) { b.Byte(t, 2, 0xFE); }, 11, 0, 2, {0xFE}},
      {3, [&](ArchiveBuilder& b) { b.Short(t, 3, -2); }, 12, 0, 3,
       host(int16_t{-2})},
      {4, [&](ArchiveBuilder& b) { b.Long(t, 4, -123456789, 1, 7); }, 14, 7, 4,
       host(int32_t{-123456789})},
      {5, [&](ArchiveBuilder& b) { b.Word(t, 5, 0xBEEF); }, 12, 0, 5,
       host(uint16_t{0xBEEF})},
      {6, [&](ArchiveBuilder& b) { b.DWord(t, 6, 0xFFFFFFFF); }, 14, 0, 6,
       host(uint32_t{0xFFFFFFFF})},
      {7, [&](ArchiveBuilder& b) { b.Float(t, 7, 1.5f); }, 14, 0, 7,
       host(1.5f)},
      {8, [&](ArchiveBuilder& b) { b.Double(t, 8, -0.1); }, 18, 0, 8,
       host(-0.1)},
      {9, [&](ArchiveBuilder& b) { b.Time(t, 9, 0x0102030405060708); }, 18, 0,
       9, host(uint64_t{0x0102030405060708})},
      {10, [&](ArchiveBuilder& b) { b.Large(t, 10, INT64_MIN); }, 18, 0, 10,
       host(int64_t{INT64_MIN})},
      {11, [&](ArchiveBuilder& b) { b.Error(t, 11, 0x8001); }, 12, 0, 11,
       host(uint16_t{0x8001})},
      {12, [&](ArchiveBuilder& b) { b.Text(t, 12, 25, "boiler"); }, 18, 25, 12,
       host(uint32_t{7})},
      {17,
       [&](ArchiveBuilder& b) {
         b.Bits(t, 17, 10, {0xFF, 0x02});
       },
       12,
       10,
       17,
       {0xFF, 0x02}},
      {17, [&](ArchiveBuilder& b) { b.Bits(t, 17, 0, bits32); }, 42, 0, 17,
       bits32},
      {18,
       [&](ArchiveBuilder& b) {
         b.Array<uint8_t>(18, t, 18, {1, 255});
       },
       12,
       2,
       18,
       {1, 255}},
      {19,
       [&](ArchiveBuilder& b) {
         b.Array<int16_t>(19, t, 19, {-1, 300});
       },
       14, 2, 19, host(int16_t{-1}, int16_t{300})},
      {20,
       [&](ArchiveBuilder& b) {
         b.Array<int32_t>(20, t, 20, {-5, 6, 7});
       },
       22, 3, 20, host(int32_t{-5}, int32_t{6}, int32_t{7})},
      {21, [&](ArchiveBuilder& b) { b.Array<uint16_t>(21, t, 21, {0xABCD}); },
       12, 1, 21, host(uint16_t{0xABCD})},
      {22,
       [&](ArchiveBuilder& b) {
         b.Array<uint32_t>(22, t, 22, {1, 0xFFFFFFFF});
       },
       18, 2, 22, host(uint32_t{1}, uint32_t{0xFFFFFFFF})},
      {23,
       [&](ArchiveBuilder& b) {
         b.Array<float>(23, t, 23, {0.5f, -2.0f});
       },
       18, 2, 23, host(0.5f, -2.0f)},
      {24,
       [&](ArchiveBuilder& b) {
         b.Array<double>(24, t, 24, {1.25, 1e300});
       },
       26, 2, 24, host(1.25, 1e300)},
      {25,
       [&](ArchiveBuilder& b) {
         b.Array<uint64_t>(25, t, 25, {0x0102030405060708});
       },
       18, 1, 25, host(uint64_t{0x0102030405060708})},
      {26,
       [&](ArchiveBuilder& b) {
         b.Array<int64_t>(26, t, 26, {-1, 2});
       },
       26, 2, 26, host(int64_t{-1}, int64_t{2})},
      // Code 27 keeps the file's big-endian bytes.
      {27,
       [&](ArchiveBuilder& b) { b.Array<uint16_t>(27, t, 27, {0x1234}); },
       12,
       1,
       27,
       {0x12, 0x34}},
      {31, [&](ArchiveBuilder& b) { b.Alarm31(t, 31, 0xA0B0C0D0, 3, 1); }, 14,
       1, 31, host(uint32_t{0xA0B0C0D0})},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.code);
    ArchiveBuilder builder;
    c.write(builder);
    ASSERT_EQ(builder.size(), c.length);

    uint16_t day = 99;
    ArchiveItem item;
    const DecodeResult r = Decode(builder.bytes(), day, item);
    ASSERT_EQ(r.status, RecordStatus::kItem);
    EXPECT_EQ(r.length, c.length);
    EXPECT_EQ(item.code(), c.code);
    EXPECT_EQ(item.time_of_day(), t);
    EXPECT_EQ(item.count, c.count);
    EXPECT_EQ(item.id, c.id);
    EXPECT_EQ(item.day, 99);
    EXPECT_EQ(std::vector<uint8_t>(item.value, item.value + c.value.size()),
              c.value);
    EXPECT_EQ(item.text, c.code == 12 ? "boiler" : "");

    // The generic encoder writes the same bytes back.
    ArchiveBuilder again;
    again.Item(item);
    EXPECT_EQ(again.bytes(), builder.bytes());
  }
}

TEST(ArchiveFormatTest, StateCodeIsTheTopThreeBitsOfTheType) {
  ArchiveBuilder b;
  b.Bool(0, 1, 0).Bool(0, 1, 1).Double(0, 2, 1.0, 7).Text(0, 3, 0, "", 7);
  const std::string& bytes = b.bytes();
  uint16_t day = 0;
  ArchiveItem item;
  const struct {
    size_t offset;
    uint8_t type;
  } expected[] = {{0, 0x01}, {10, 0x21}, {20, 0xE8}, {38, 0xEC}};
  for (const auto& e : expected) {
    ASSERT_EQ(
        Decode(std::string_view(bytes).substr(e.offset), day, item).status,
        RecordStatus::kItem);
    EXPECT_EQ(item.type, e.type);
  }
}

TEST(ArchiveFormatTest, EndOfData) {
  uint16_t day = 0;
  ArchiveItem item;
  EXPECT_EQ(Decode("", day, item).status, RecordStatus::kEnd);
  EXPECT_EQ(Decode(Bytes({0xFF}), day, item).status, RecordStatus::kEnd);
  // Nothing after the end mark matters, not even a valid day marker.
  EXPECT_EQ(Decode(Bytes({0xFF, 0x80, 0, 0, 0, 0, 1}), day, item).status,
            RecordStatus::kEnd);
  EXPECT_EQ(day, 0);
}

TEST(ArchiveFormatTest, ItemsTakeTheDayInForce) {
  ArchiveBuilder b;
  b.Long(5, 1, 1).Day(7305).Long(6, 1, 2).Day(0xFFFF).Long(7, 1, 3).End();
  const std::string& bytes = b.bytes();
  uint16_t day = 0;
  ArchiveItem item;
  std::vector<uint16_t> days;
  size_t at = 0;
  for (;;) {
    const DecodeResult r =
        Decode(std::string_view(bytes).substr(at), day, item);
    if (r.status == RecordStatus::kEnd) break;
    ASSERT_TRUE(r.status == RecordStatus::kItem ||
                r.status == RecordStatus::kDayMarker);
    if (r.status == RecordStatus::kItem) days.push_back(item.day);
    at += r.length;
  }
  EXPECT_EQ(days, (std::vector<uint16_t>{0, 7305, 0xFFFF}));
  EXPECT_EQ(at + 1, bytes.size());
}

TEST(ArchiveFormatTest, ArrayLengths) {
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
      {26, 65, RecordStatus::kBad, 0},
      {20, 128, RecordStatus::kItem, 522},
      {23, 129, RecordStatus::kBad, 0},
      {19, 255, RecordStatus::kItem, 520},
      {27, 255, RecordStatus::kItem, 520},
      {18, 255, RecordStatus::kItem, 265},
      {18, 0, RecordStatus::kItem, 10},
      {17, 0, RecordStatus::kItem, 42},  // 32 value bytes
      {17, 1, RecordStatus::kItem, 11},
      {17, 8, RecordStatus::kItem, 11},
      {17, 9, RecordStatus::kItem, 12},
      {17, 255, RecordStatus::kItem, 42},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(testing::Message() << c.code << " x " << c.count);
    // Enough bytes for any of these records; the rest is never read.
    std::string record = Bytes({0, 0, 0, 0, 0, 0, c.code, c.count, 0, 1});
    record.append(2040, '\x5A');
    uint16_t day = 0;
    ArchiveItem item;
    const DecodeResult r = Decode(record, day, item);
    EXPECT_EQ(r.status, c.status);
    EXPECT_EQ(r.length, c.length);
  }
}

TEST(ArchiveFormatTest, BadRecords) {
  struct Case {
    const char* cause;
    std::string record;
    uint16_t time_high;
    uint32_t time_low;
  };
  const Case cases[] = {
      {"tag 0x8001", Bytes({0x80, 0x01, 0, 0, 0, 5}), 0x8001, 5},
      {"tag 0xFE00", Bytes({0xFE, 0x00, 0, 0, 0, 5}), 0xFE00, 5},
      {"day 0x10000", Bytes({0x80, 0x00, 0, 1, 0, 0}), 0x8000, 0x10000},
      {"code 13", Bytes({0, 1, 0, 0, 0, 2, 13, 0, 0, 1, 0, 0}), 1, 2},
      {"code 14", Bytes({0, 1, 0, 0, 0, 2, 14, 0, 0, 1}), 1, 2},
      {"code 15", Bytes({0, 1, 0, 0, 0, 2, 15, 0, 0, 1}), 1, 2},
      {"code 16, state 7", Bytes({0, 1, 0, 0, 0, 2, 0xF0, 0}), 1, 2},
      {"code 28", Bytes({0, 1, 0, 0, 0, 2, 28, 0}), 1, 2},
      {"code 29", Bytes({0, 1, 0, 0, 0, 2, 29, 0}), 1, 2},
      {"code 30", Bytes({0, 1, 0, 0, 0, 2, 30, 0}), 1, 2},
      {"65 Doubles", Bytes({0, 1, 0, 0, 0, 2, 24, 65, 0, 1}), 1, 2},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.cause);
    uint16_t day = 42;
    ArchiveItem item;
    // A string read earlier leaves a text and a value to clear.
    ArchiveBuilder warm;
    warm.Array<double>(24, 1, 9, std::vector<double>(64, 1.0))
        .Text(1, 9, 3, "x");
    ASSERT_EQ(Decode(warm.bytes(), day, item).status, RecordStatus::kItem);
    ASSERT_EQ(Decode(warm.bytes().substr(522), day, item).status,
              RecordStatus::kItem);

    const DecodeResult r = Decode(c.record, day, item);
    EXPECT_EQ(r.status, RecordStatus::kBad);
    EXPECT_EQ(day, 42);
    EXPECT_EQ(item.time_high, c.time_high);
    EXPECT_EQ(item.time_low, c.time_low);
    EXPECT_EQ(item.type, 0x40);
    EXPECT_EQ(item.count, 4);
    EXPECT_EQ(item.id, 0);
    EXPECT_EQ(item.day, 42);
    EXPECT_EQ(item.text, "");
    EXPECT_EQ(std::vector<uint8_t>(item.value, item.value + kMaxValueBytes),
              std::vector<uint8_t>(kMaxValueBytes, 0));
  }
}

TEST(ArchiveFormatTest, MarkBadRecordOnAShortRecord) {
  struct Case {
    std::string bytes;
    uint16_t time_high;
    uint32_t time_low;
  };
  const Case cases[] = {
      {"", 0, 0},
      {Bytes({0x12}), 0x1200, 0},
      {Bytes({0x12, 0x34, 0x56}), 0x1234, 0x56000000},
      {Bytes({0x12, 0x34, 0x56, 0x78, 0x9A, 0xBC, 8, 0}), 0x1234, 0x56789ABC},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.bytes.size());
    ArchiveItem item;
    Exact exact(c.bytes);
    MarkBadRecord(exact.data.get(), exact.size, 17, item);
    EXPECT_EQ(item.time_high, c.time_high);
    EXPECT_EQ(item.time_low, c.time_low);
    EXPECT_EQ(item.type, 0x40);
    EXPECT_EQ(item.count, 4);
    EXPECT_EQ(item.id, 0);
    EXPECT_EQ(item.day, 17);
  }
}

// Every prefix of a file yields its whole records, then kTruncated where a
// record is cut (or kEnd where the cut falls between records); no byte past
// the prefix is read.
TEST(ArchiveFormatTest, TruncationAtEveryOffset) {
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
      const DecodeResult r =
          DecodeRecord(exact.data.get() + at, prefix - at, day, item);
      if (r.status != RecordStatus::kItem &&
          r.status != RecordStatus::kDayMarker) {
        const bool at_boundary = at == prefix || prefix == file.size();
        EXPECT_EQ(r.status,
                  at_boundary ? RecordStatus::kEnd : RecordStatus::kTruncated);
        break;
      }
      at += r.length;
      ASSERT_EQ(at, ends[whole]);
      ++whole;
    }
    size_t expected_whole = 0;
    while (expected_whole < ends.size() && ends[expected_whole] <= prefix) {
      ++expected_whole;
    }
    EXPECT_EQ(whole, expected_whole);
  }
}

TEST(ArchiveFormatTest, LongestStringRecord) {
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
  EXPECT_EQ(
      Decode(std::string_view(b.bytes()).substr(0, 32766), day, item).status,
      RecordStatus::kTruncated);
}

// A string length L makes the record 12 + L bytes, which the runtime holds
// in 16 signed bits; past 32,767 the wrapped value decides.
TEST(ArchiveFormatTest, OverlongStrings) {
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
    if (c.status == RecordStatus::kBad) {
      EXPECT_EQ(item.type, 0x40);
      EXPECT_EQ(item.time_of_day(), TimeOfDay(1, 0, 0));
      EXPECT_EQ(item.day, 3);
    }
  }
}

// The item is reused from record to record: what one record leaves must not
// show through the next.
TEST(ArchiveFormatTest, ReusedItemShowsNothingOfEarlierRecords) {
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

}  // namespace
}  // namespace qorarc
