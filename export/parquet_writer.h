// The Parquet writer (-pq): the rows of long CSV (export/long_rows.h), typed,
// in a columnar file that analytic engines read natively:
//
//   ts        INT64 timestamp, microseconds, UTC-adjusted (the type every
//             engine reads natively): the nanoseconds rounded down; null
//             without a time stamp
//   ts_ns     INT64: the exact nanoseconds since 1970-01-01 UTC; null
//             without a time stamp
//   id        INT32; null when the item has none
//   class     string, dictionary-encoded; null when empty
//   type      string, dictionary-encoded; null when empty
//   level     string, dictionary-encoded; null when empty
//   index     INT32; null where long CSV leaves it empty
//   value     DOUBLE: reals, and every integer or flag element as a double;
//             NaN and infinities as they are
//   int_value INT64: the exact integer of every integer, flag and raw
//             element; null for reals
//   text      string: a log message, repaired to UTF-8 as long CSV repairs
//             it; null where long CSV leaves it empty
//
// A cell that long CSV leaves empty is null here. Rows go into pages of
// kPageRows rows (fewer where their texts fill kPageTextBytes) and row
// groups of kRowGroupPages pages (fewer where their texts fill
// kRowGroupTextBytes), cut by the rows alone, so the file is the same for
// any number of threads: the thread that writes the items keeps the values
// that are the same on all rows of an item (ts_ns, id, class, type, level)
// once per item, and maps each page's values onto the dictionaries of its
// row group's column chunks in file order; pages are then spread into rows,
// encoded and compressed (ZSTD) by worker threads, and row groups are written in order by the thread that
// writes the items. The bounds keep the memory of an export flat, long
// texts included.
#pragma once

#include <array>
#include <cstdint>
#include <deque>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "base/ordered_work.h"
#include "export/export_item.h"
#include "export/long_rows.h"
#include "export/writer.h"
#include "parquet/parquet_dictionary.h"
#include "parquet/parquet_file_assembler.h"

namespace qorarc {

class ParquetWriter final : public Writer {
 public:
  static constexpr int64_t kPageRows = 64 * 1024;
  static constexpr size_t kPageTextBytes = 2 * 1024 * 1024;
  static constexpr int64_t kRowGroupPages = 16;  // 1,048,576 rows
  static constexpr size_t kRowGroupTextBytes = 24 * 1024 * 1024;
  // Pages being encoded or waiting for their row group: bounds the memory
  // of an export whatever the number of threads.
  static constexpr size_t kMaxPagesInFlight = 4;
  static constexpr size_t kColumns = 10;
  // Columns of one value per item: ts_ns, id, class, type, level.
  static constexpr size_t kItemColumns = 5;

  // `threads`: threads that encode pages, this one included; 1 encodes here.
  ParquetWriter(WriterTarget out, int threads);
  ~ParquetWriter() override;

  // "PAR1".
  void beginDocument() override;
  void writeItem(const ExportItem& item) override;
  // The last pages and row group, then the footer; flush(). No total.
  void endDocument(int32_t total) override;
  // A valid file of the schema and no rows.
  void writeEmptyResult() override;
  // The time stamp is stored as a number: no date and time texts.
  bool showsDateTime() const override { return false; }

  // The columns, in file order.
  static std::vector<ParquetColumnInfo> Columns();

 private:
  struct Page;

  // Adds a row of the item that writeItem() set up.
  void AddRow(const LongRow& row);
  // Maps the page being filled onto the chunk dictionaries and hands it to
  // the encoders; `ends_group`: the last page of the file.
  void Submit(bool ends_group);
  // The row group ends with the pages submitted: its chunk dictionaries
  // are kept for WriteRowGroup(), and the next pages start new ones.
  void EndGroup();
  // Waits for the oldest page in flight and adds it to the row group.
  void CollectOldest();
  void WriteRowGroup();
  // Bytes of the file, through the pending text in pieces.
  void Put(std::string_view bytes);
  // The item columns' values row by row, and ts from ts_ns.
  static void Expand(Page* page);
  void Encode(Page* page) const;

  std::vector<ParquetColumnInfo> columns_;
  ParquetFileAssembler file_;
  // Dictionary index of each class, type and level text.
  std::array<std::unordered_map<std::string_view, int64_t>, 3> indices_;
  // The texts looked up last, by column and by where they lie: the texts of
  // items are views of static tables, so a text is mostly found here.
  struct TextIndex {
    std::string_view text;
    int64_t index = -1;
  };
  static constexpr size_t kTextCacheSlots = 64;
  std::array<std::array<TextIndex, kTextCacheSlots>, 3> text_cache_;
  std::string text_;  // a log message repaired
  // The item being written: its values of the item columns (-1 where
  // absent, but for ts_ns), whether it has a time stamp, and whether its
  // values are on the page being filled.
  std::array<int64_t, kItemColumns> item_{};
  bool item_has_ts_ = false;
  bool item_on_page_ = false;

  int threads_;
  std::unique_ptr<Page> current_;
  std::deque<std::unique_ptr<Page>> in_flight_;  // in file order
  std::vector<std::unique_ptr<Page>> spare_;
  // The chunk dictionaries of the row group being submitted, by column
  // (used by the columns of ParquetEncoding::kChunkDictionary), what is
  // submitted of it, and the values of the dictionaries of the row groups
  // that ended but are not written yet, oldest first.
  std::vector<ParquetDictionaryBuilder> dictionaries_;
  int64_t submitted_pages_ = 0;
  size_t submitted_text_bytes_ = 0;
  std::deque<std::vector<ParquetColumnPage>> ended_dictionaries_;
  std::vector<std::vector<EncodedPage>> group_;  // the row group's pages by column
  std::string row_group_;  // the bytes of the last row group, kept for the next
  int64_t group_rows_ = 0;

  // The encoders: a page submitted belongs to the thread that encodes it
  // until it is waited for. Last: its threads stop before the rest goes.
  bool encoders_started_ = false;
  OrderedWork encoders_;
};

}  // namespace qorarc
