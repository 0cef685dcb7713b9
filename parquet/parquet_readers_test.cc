// Files written with the Parquet encoder, read back by three readers that
// share no code with it or with each other (DuckDB, hyparquet and
// parquet-wasm, through tests/readers/read_parquet.mjs), compared cell by
// cell with what was written; and the statistics as DuckDB reads them.
#include <gtest/gtest.h>
#include <rapidjson/document.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <limits>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "parquet/parquet_dictionary.h"
#include "parquet/parquet_file_assembler.h"
#include "support/files.h"

namespace qorarc {
namespace {

using namespace std::string_literals;
using testing::TempDir;

constexpr double kInf = std::numeric_limits<double>::infinity();
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr int64_t kMin64 = std::numeric_limits<int64_t>::min();
constexpr int64_t kMax64 = std::numeric_limits<int64_t>::max();

std::vector<std::string> Kinds() {
  std::vector<std::string> kinds = {"", "\"quoted\" \xC3\xA4"};
  for (int i = 2; i < 300; ++i) kinds.push_back("kind-" + std::to_string(i));
  return kinds;  // 300 values: indices of 9 bits
}

// Every encoding: DELTA_BINARY_PACKED (i64 with differences of 64 bits),
// chunk dictionaries (text's so small that its chunks fall back to PLAIN
// part way; kind's of the texts of a fixed dictionary), PLAIN.
const std::vector<ParquetColumnInfo> kColumns = {
    {"ts", ParquetType::kInt64, ParquetLogical::kTimestampMicrosUtc, {},
     ParquetEncoding::kDeltaBinaryPacked},
    {"i32", ParquetType::kInt32, ParquetLogical::kNone, {}, ParquetEncoding::kChunkDictionary},
    {"i64", ParquetType::kInt64, ParquetLogical::kNone, {}, ParquetEncoding::kDeltaBinaryPacked},
    {"real", ParquetType::kDouble, ParquetLogical::kNone, {}, ParquetEncoding::kPlain, 1, 5},
    {"text", ParquetType::kString, ParquetLogical::kString, {}, ParquetEncoding::kChunkDictionary},
    {"kind", ParquetType::kString, ParquetLogical::kString, Kinds(),
     ParquetEncoding::kChunkDictionary},
    {"raw", ParquetType::kString, ParquetLogical::kNone, {}, ParquetEncoding::kChunkDictionary},
};
constexpr size_t kTextColumn = 4;

struct Row {
  std::optional<int64_t> ts, i32, i64;
  std::optional<double> real;
  std::optional<std::string> text;
  std::optional<int64_t> kind;
  std::optional<std::string> raw;
};

// Rows that visit every edge value, with nulls scattered through each column
// and a stretch where every column is null.
std::vector<Row> MakeRows(int count) {
  const int64_t ints32[] = {std::numeric_limits<int32_t>::min(), -1, 0, 42,
                            std::numeric_limits<int32_t>::max()};
  const int64_t ints64[] = {kMin64, -9007199254740993, -1, 0, 9007199254740993, kMax64};
  const double reals[] = {kNaN, kInf, -kInf, -0.0, 0.0, 0.1, -1.5, 1e300, 5e-324,
                          std::numeric_limits<double>::max(), std::numeric_limits<double>::min(),
                          -std::numeric_limits<double>::max()};
  const std::string texts[] = {"", "plain", "quote \" backslash \\ slash /",
                               "line\nbreak\ttab\rreturn", "nul\0inside"s, "\x01\x1F\x7F controls",
                               "\xC3\xBC\xE2\x82\xAC \xF0\x9F\x98\x80", "'single'",
                               std::string(1000, 'x'), "{\"json\":[1]}"};
  std::vector<Row> rows(count);
  for (int r = 0; r < count; ++r) {
    if (r >= 1200 && r < 1300) continue;
    Row& row = rows[r];
    auto present = [r](int column) { return (r * 7 + column * 3) % 5 != 0; };
    if (present(0)) row.ts = r == 1 ? 0 : 1'700'000'000'123'456 + r * int64_t{1'000'007};
    if (present(1)) row.i32 = ints32[r % std::size(ints32)];
    if (present(2)) row.i64 = ints64[r % std::size(ints64)];
    if (present(3)) row.real = reals[r % std::size(reals)];
    // Five texts in the first 1000 rows, then ten.
    if (present(4)) row.text = texts[r % (r < 1000 ? 5 : std::size(texts))];
    if (present(5)) row.kind = (r * 37) % 300;
    if (present(6)) {
      std::string bytes;
      for (int k = 0; k < r % 6; ++k) bytes.push_back(static_cast<char>(r * 31 + k * 97));
      row.raw = bytes;
    }
  }
  return rows;
}

// The page of column `c` of rows [begin, end).
ParquetColumnPage PageOf(const std::vector<Row>& rows, size_t begin, size_t end, size_t c) {
  ParquetColumnPage page;
  for (size_t r = begin; r < end; ++r) {
    const Row& row = rows[r];
    const std::optional<int64_t>* integer[] = {&row.ts, &row.i32, &row.i64, nullptr,
                                               nullptr, &row.kind, nullptr};
    const std::optional<std::string>* text = c == 4 ? &row.text : c == 6 ? &row.raw : nullptr;
    bool defined = integer[c] ? integer[c]->has_value()
                   : text     ? text->has_value()
                              : row.real.has_value();
    page.defined.push_back(defined);
    if (!defined) continue;
    if (integer[c]) {
      page.integers.push_back(**integer[c]);
    } else if (text) {
      page.text += **text;
      page.text_ends.push_back(page.text.size());
    } else {
      page.reals.push_back(*row.real);
    }
  }
  return page;
}

// Writes `rows` as row groups of pages of the given sizes, each column's
// pages mapped onto its chunk dictionary and encoded on a thread of its own.
std::string WriteFile(const std::vector<Row>& rows, const std::vector<std::vector<size_t>>& groups,
                      const std::string& path) {
  ParquetFileAssembler file(kColumns, "QorArc test");
  std::string bytes = file.Header();
  std::vector<ParquetDictionaryBuilder> dictionaries;
  for (size_t c = 0; c < kColumns.size(); ++c)
    dictionaries.emplace_back(kColumns[c].dictionary.empty() ? kColumns[c].type : ParquetType::kInt64,
                              c == kTextColumn ? 6 : 65536);
  size_t begin = 0;
  for (const std::vector<size_t>& page_rows : groups) {
    std::vector<std::vector<EncodedPage>> pages(kColumns.size());
    std::vector<EncodedPage> dictionary_pages(kColumns.size());
    std::vector<std::string> errors(kColumns.size());
    std::vector<std::thread> threads;
    for (size_t c = 0; c < kColumns.size(); ++c) {
      threads.emplace_back([&, c] {
        const bool chunk_dictionary = kColumns[c].encoding == ParquetEncoding::kChunkDictionary;
        size_t page_begin = begin;
        for (size_t n : page_rows) {
          ParquetColumnPage page = PageOf(rows, page_begin, page_begin + n, c);
          if (chunk_dictionary) dictionaries[c].Map(&page);
          pages[c].emplace_back();
          EncodeDataPage(kColumns[c], page, &pages[c].back(), &errors[c]);
          page_begin += n;
        }
        const ParquetColumnPage values = dictionaries[c].Take();
        if (chunk_dictionary && (!values.integers.empty() || !values.text_ends.empty()))
          EncodeDictionaryPage(kColumns[c], values, &dictionary_pages[c], &errors[c]);
      });
    }
    for (std::thread& t : threads) t.join();
    for (const std::string& error : errors) EXPECT_EQ(error, "");
    std::string error;
    EXPECT_TRUE(file.AppendRowGroup(pages, dictionary_pages, &bytes, &error)) << error;
    for (size_t n : page_rows) begin += n;
  }
  EXPECT_EQ(begin, rows.size());
  bytes += file.Footer();
  std::ofstream(path, std::ios::binary) << bytes;
  return path;
}

// What the reader prints, line by line; fails the test when it fails.
std::vector<std::string> Read(const std::string& path, const std::string& reader,
                              const std::string& mode) {
  std::string command = "node " QORARC_PARQUET_READERS "/read_parquet.mjs '" + path + "' " +
                        reader + " " + mode;
  FILE* pipe = popen(command.c_str(), "r");
  std::vector<std::string> lines;
  if (pipe == nullptr) {
    ADD_FAILURE() << "cannot run " << command;
    return lines;
  }
  std::string out;
  char buffer[65536];
  for (size_t n; (n = fread(buffer, 1, sizeof buffer, pipe)) > 0;) out.append(buffer, n);
  EXPECT_EQ(pclose(pipe), 0) << command;
  for (size_t start = 0, end; (end = out.find('\n', start)) != std::string::npos; start = end + 1)
    lines.push_back(out.substr(start, end - start));
  return lines;
}

std::string Hex(const std::string& bytes) {
  std::string hex;
  for (unsigned char b : bytes) {
    hex += "0123456789abcdef"[b >> 4];
    hex += "0123456789abcdef"[b & 15];
  }
  return hex;
}

// Why the cell printed as `cell` is not the value written, or "".
std::string Compare(const rapidjson::Value& cell, const Row& row, size_t c) {
  auto text = [&](const std::string& expected) {
    return cell.IsString() && std::string(cell.GetString(), cell.GetStringLength()) == expected;
  };
  bool ok = false;
  switch (c) {
    case 0:
      // Microseconds, printed as nanoseconds.
      ok = row.ts ? text(std::to_string(*row.ts * 1000)) : cell.IsNull();
      break;
    case 1: ok = row.i32 ? cell.IsInt() && cell.GetInt() == *row.i32 : cell.IsNull(); break;
    case 2: ok = row.i64 ? text(std::to_string(*row.i64)) : cell.IsNull(); break;
    case 3:
      if (!row.real) ok = cell.IsNull();
      else if (std::isnan(*row.real)) ok = text("NaN");
      else if (std::isinf(*row.real)) ok = text(*row.real > 0 ? "Infinity" : "-Infinity");
      else ok = cell.IsNumber() && std::bit_cast<uint64_t>(cell.GetDouble()) ==
                                       std::bit_cast<uint64_t>(*row.real);
      break;
    case 4: ok = row.text ? text(*row.text) : cell.IsNull(); break;
    case 5: ok = row.kind ? text(kColumns[5].dictionary[*row.kind]) : cell.IsNull(); break;
    case 6: ok = row.raw ? text(Hex(*row.raw)) : cell.IsNull(); break;
  }
  return ok ? "" : "column " + kColumns[c].name;
}

void ExpectRows(const std::string& path, const std::vector<Row>& rows, const std::string& reader) {
  std::vector<std::string> lines = Read(path, reader, "rows");
  ASSERT_EQ(lines.size(), rows.size()) << reader;
  int failures = 0;
  for (size_t r = 0; r < rows.size() && failures < 5; ++r) {
    rapidjson::Document line;
    line.Parse<rapidjson::kParseFullPrecisionFlag>(lines[r].c_str(), lines[r].size());
    ASSERT_TRUE(line.IsArray() && line.Size() == kColumns.size()) << reader << ": " << lines[r];
    for (size_t c = 0; c < kColumns.size(); ++c) {
      std::string problem = Compare(line[c], rows[r], c);
      if (!problem.empty()) {
        ADD_FAILURE() << reader << ", row " << r << ", " << problem << ": " << lines[r];
        ++failures;
      }
    }
  }
}

class ParquetReadersTest : public ::testing::Test {
 protected:
  void SetUp() override {
    if (!std::filesystem::exists(QORARC_PARQUET_READERS "/node_modules"))
      GTEST_SKIP() << "the Parquet readers are not installed: run scripts/install-deps.sh";
  }
  TempDir dir_;
};

// Three row groups: pages of several sizes, a group of one row where every
// column is null, and a page of 2,000 rows.
TEST_F(ParquetReadersTest, EveryCellReadsBack) {
  std::vector<Row> rows = MakeRows(3501);
  rows[1500] = Row();
  std::string path = WriteFile(rows, {{700, 700, 100}, {1}, {2000}}, dir_.path() + "/a.parquet");
  for (const char* reader : {"duckdb", "hyparquet", "parquet-wasm"}) ExpectRows(path, rows, reader);
  // text: a dictionary for its first page, PLAIN from the second on (ten
  // texts pass its 6), in the third group from the first page on.
  const std::vector<std::string> encodings = Read(path, "duckdb", "encodings");
  for (const char* chunk : {R"(["0","ts","RLE, DELTA_BINARY_PACKED"])",
                            R"(["0","i32","PLAIN, RLE, RLE_DICTIONARY"])",
                            R"(["0","text","PLAIN, RLE, RLE_DICTIONARY"])",
                            R"(["2","text","PLAIN, RLE"])",
                            R"(["0","kind","PLAIN, RLE, RLE_DICTIONARY"])",
                            R"(["0","real","PLAIN, RLE"])"}) {
    EXPECT_NE(std::find(encodings.begin(), encodings.end(), chunk), encodings.end()) << chunk;
  }
}

// The chunk statistics DuckDB finds: merged over pages, NaN left out, zero
// bounds as -0.0 and +0.0, bytewise order, none for a chunk of NaN and nulls.
TEST_F(ParquetReadersTest, StatisticsDuckdbReads) {
  std::vector<Row> rows(5);
  rows[0] = {std::nullopt, 3, kMin64, kNaN, "b", 2, "\xFF"};
  rows[1] = {5000, std::nullopt, 0, -0.0, std::nullopt, 1, ""};
  rows[2] = {1000, -7, std::nullopt, std::nullopt, "ab", std::nullopt, std::nullopt};
  rows[3] = {2000, std::nullopt, kMax64, 0.0, "\xC3\xA9", std::nullopt, "\x01"};
  rows[4].real = kNaN;
  std::string path = WriteFile(rows, {{3, 1}, {1}}, dir_.path() + "/stats.parquet");
  EXPECT_EQ(Read(path, "duckdb", "stats"),
            (std::vector<std::string>{
                R"(["0","ts","1","1970-01-01 00:00:00.001+00","1970-01-01 00:00:00.005+00"])",
                R"(["0","i32","2","-7","3"])",
                R"(["0","i64","1","-9223372036854775808","9223372036854775807"])",
                R"(["0","real","1","-0.0","0.0"])",
                R"(["0","text","1","ab","é"])",
                R"(["0","kind","2","\"quoted\" ä","kind-2"])",
                R"(["0","raw","1","","\\xFF"])",
                R"(["1","ts","1",null,null])",
                R"(["1","i32","1",null,null])",
                R"(["1","i64","1",null,null])",
                R"(["1","real","0",null,null])",
                R"(["1","text","1",null,null])",
                R"(["1","kind","1",null,null])",
                R"(["1","raw","1",null,null])"}));
}

}  // namespace
}  // namespace qorarc
