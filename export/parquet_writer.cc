#include "export/parquet_writer.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "archive/archive_format.h"
#include "base/time_base.h"
#include "export/cut_at_nul.h"
#include "export/record_texts.h"
#include "export/utf8_text.h"

namespace qorarc {
namespace {

enum Column : size_t { kTs, kTsNs, kId, kClass, kType, kLevel, kIndex, kValue, kIntValue, kText };

// The columns of one value per item (Page::items), in order: the columns
// from kTsNs to kLevel.
constexpr size_t kFirstItemColumn = kTsNs;

// Nanoseconds from 1970-01-01, where Parquet's time stamps count from, to
// the archive's time base.
constexpr int64_t kBaseSinceUnixEpoch =
    int64_t{kTimeBase.time_since_epoch().count()} * kNanosPerDay;

// The distinct texts of a table of static texts, in the order they first
// appear: every class, type and level text an item can have.
template <typename Text>
std::vector<std::string> Distinct(int n, Text text) {
  std::vector<std::string> texts;
  for (int i = 0; i < n; ++i) {
    const std::string t(text(i));
    if (!t.empty() && std::find(texts.begin(), texts.end(), t) == texts.end()) texts.push_back(t);
  }
  return texts;
}

// The microseconds of `nanos`, rounded down (also before 1970): floor keeps
// the order of the time stamps, so `ts` sorts as `ts_ns` does and the bounds
// of a row group are the floors of the nanosecond bounds.
int64_t FloorMicros(int64_t nanos) {
  return nanos / 1000 - (nanos % 1000 < 0 ? 1 : 0);
}

// Writes `v` to out[0, n) and on to the next multiple of 8: at most 7
// values past n, which the caller has room for.
constexpr size_t kSpread = 8;
template <typename T, typename V>
void Spread(T* out, V v, uint32_t n) {
  const T value = static_cast<T>(v);
  for (uint32_t i = 0; i < n; i += kSpread) {
    for (size_t j = 0; j < kSpread; ++j) out[i + j] = value;
  }
}

void Null(ParquetColumnPage* column) { column->defined.push_back(0); }
void Integer(ParquetColumnPage* column, int64_t v) {
  column->defined.push_back(1);
  column->integers.push_back(v);
}
void Real(ParquetColumnPage* column, double v) {
  column->defined.push_back(1);
  column->reals.push_back(v);
}

}  // namespace

struct ParquetWriter::Page : WorkJob {
  // The columns of one value per item, ts_ns, id, class, type and level,
  // once per run of an item's rows on the page, with the run's length:
  // ts and these columns are filled row by row from them where the page is
  // encoded (Expand()). The row columns are filled row by row.
  std::array<ParquetColumnPage, kItemColumns> items;
  std::vector<uint32_t> run_rows;
  std::array<ParquetColumnPage, kColumns> columns;
  std::array<EncodedPage, kColumns> encoded;
  std::string error;  // why a column could not be encoded
  int64_t rows = 0;
  bool ends_group = false;  // the last page of its row group

  void Clear() {
    for (ParquetColumnPage& column : items) column.Clear();
    run_rows.clear();
    // The columns of the item columns (and ts) are written over whole by
    // Expand(): kept as they are, they are not filled with zeros first.
    for (size_t k = kFirstItemColumn + kItemColumns; k < kColumns; ++k) columns[k].Clear();
    for (EncodedPage& page : encoded) page = EncodedPage{};
    error.clear();
    rows = 0;
    ends_group = false;
  }
};

std::vector<ParquetColumnInfo> ParquetWriter::Columns() {
  const auto types = Distinct(256, [](int t) { return TypeText(static_cast<uint8_t>(t)); });
  const auto levels = Distinct(256, [](int c) { return LevelText(static_cast<uint8_t>(c)); });
  const auto classes = Distinct(32, [](int code) { return ClassText(code); });
  using E = ParquetEncoding;
  // Chosen by measuring a generated archive of 3 million items (bench/run.sh;
  // figures in the README): time stamps grow by small steps and repeat along
  // an array's elements, so their differences take few bits; IDs, indices,
  // exact integers and log texts have few distinct values per row group (and
  // a class, type or level text takes fewer bits as an index among those of
  // its row group than among all); and
  // the doubles of `value` share their high bytes, which ZSTD's fastest level
  // finds with matches of 5 bytes (21.8 MB against 28.6 with its own 6, at
  // the same speed). The time stamps' packed differences leave ZSTD mostly
  // the zeros of an array's repeated stamps to find, which its level -1
  // finds as well as level 1 (ts 9.08 MB against 9.11, ts_ns 12.76 against
  // 12.70) in about four fifths of the time. Encodings only that Spark 3.3
  // and later, Trino, DuckDB, pyarrow and Polars all read: BYTE_STREAM_SPLIT,
  // which Spark 3 cannot read, is not used (and measured larger for `value`:
  // 31.9 MB at ZSTD level 1, the split bytes hiding the repeated values).
  std::vector<ParquetColumnInfo> columns = {
      {"ts", ParquetType::kInt64, ParquetLogical::kTimestampMicrosUtc, {}, E::kDeltaBinaryPacked, -1},
      {"ts_ns", ParquetType::kInt64, ParquetLogical::kNone, {}, E::kDeltaBinaryPacked, -1},
      {"id", ParquetType::kInt32, ParquetLogical::kNone, {}, E::kChunkDictionary},
      {"class", ParquetType::kString, ParquetLogical::kString, classes, E::kChunkDictionary},
      {"type", ParquetType::kString, ParquetLogical::kString, types, E::kChunkDictionary},
      {"level", ParquetType::kString, ParquetLogical::kString, levels, E::kChunkDictionary},
      {"index", ParquetType::kInt32, ParquetLogical::kNone, {}, E::kChunkDictionary},
      {"value", ParquetType::kDouble, ParquetLogical::kNone, {}, E::kPlain, 1, 5},
      {"int_value", ParquetType::kInt64, ParquetLogical::kNone, {}, E::kChunkDictionary},
      {"text", ParquetType::kString, ParquetLogical::kString, {}, E::kChunkDictionary},
  };
  return columns;
}

ParquetWriter::ParquetWriter(WriterTarget out, int threads)
    : Writer(out),
      columns_(Columns()),
      file_(columns_, "QorArc"),
      threads_(threads < 1 ? 1 : threads),
      current_(std::make_unique<Page>()),
      group_(kColumns),
      encoders_([this](WorkJob* page, size_t) { Encode(static_cast<Page*>(page)); }) {
  // A column with a fixed dictionary gives indices into it.
  for (const ParquetColumnInfo& column : columns_)
    dictionaries_.emplace_back(column.dictionary.empty() ? column.type : ParquetType::kInt64);
  for (size_t k = 0; k < 3; ++k) {
    const std::vector<std::string>& dictionary = columns_[kClass + k].dictionary;
    for (size_t i = 0; i < dictionary.size(); ++i)
      indices_[k].emplace(dictionary[i], static_cast<int64_t>(i));
  }
}

ParquetWriter::~ParquetWriter() = default;

void ParquetWriter::beginDocument() { Put(file_.Header()); }

void ParquetWriter::writeItem(const ExportItem& item) {
  if (!error().empty()) return;
  for (size_t k = 0; k < 3; ++k) {
    const std::string_view name = k == 0 ? item.class_name : k == 1 ? item.type_name : item.level;
    // A slot by address: item texts are views of static tables
    // (export/record_texts.h), so the same place holds the same text.
    const auto address = reinterpret_cast<uintptr_t>(name.data());
    TextIndex& cached = text_cache_[k][(address ^ address >> 6 ^ name.size()) % kTextCacheSlots];
    if (name.data() != cached.text.data() || name.size() != cached.text.size()) {
      const auto found = indices_[k].find(name);
      cached = {name, found == indices_[k].end() ? -1 : found->second};
    }
    item_[kClass - kFirstItemColumn + k] = cached.index;
  }
  item_[kTsNs - kFirstItemColumn] = item.timestamp == 0 ? -1 : item.timestamp + kBaseSinceUnixEpoch;
  item_[kId - kFirstItemColumn] = item.id;
  item_has_ts_ = item.timestamp != 0;
  item_on_page_ = false;
  ExpandRows(item, ValueReading::kExact, [&](const LongRow& row) { AddRow(row); });
}

void ParquetWriter::AddRow(const LongRow& row) {
  Page& page = *current_;
  if (item_on_page_) {
    ++page.run_rows.back();
  } else {
    // The item's first row on this page: its values, once.
    item_on_page_ = true;
    page.run_rows.push_back(1);
    for (size_t k = 0; k < kItemColumns; ++k) {
      ParquetColumnPage& column = page.items[k];
      const bool present = k == kTsNs - kFirstItemColumn ? item_has_ts_ : item_[k] >= 0;
      column.defined.push_back(present);
      if (present) column.integers.push_back(item_[k]);
    }
  }
  std::array<ParquetColumnPage, kColumns>& c = page.columns;
  if (row.index < 0) Null(&c[kIndex]); else Integer(&c[kIndex], row.index);
  switch (row.cell) {
    case LongRow::Cell::kFlag:
    case LongRow::Cell::kInteger: {
      const int64_t v = row.cell == LongRow::Cell::kFlag ? int64_t{row.flag} : row.integer;
      Real(&c[kValue], static_cast<double>(v));
      Integer(&c[kIntValue], v);
      break;
    }
    case LongRow::Cell::kReal:
      Real(&c[kValue], row.real);
      Null(&c[kIntValue]);
      break;
    default:
      Null(&c[kValue]);
      Null(&c[kIntValue]);
  }
  const std::string_view raw = row.cell == LongRow::Cell::kText ? CutAtNul(row.text) : "";
  if (raw.empty()) {
    Null(&c[kText]);
  } else {
    text_.resize(kMaxRepairGrowth * raw.size());
    const size_t n = static_cast<size_t>(CopyValidUtf8(text_.data(), raw) - text_.data());
    c[kText].defined.push_back(1);
    c[kText].text.append(text_.data(), n);
    c[kText].text_ends.push_back(static_cast<uint32_t>(c[kText].text.size()));
  }
  if (++page.rows >= kPageRows || c[kText].text.size() >= kPageTextBytes) {
    Submit(false);
    item_on_page_ = false;
  }
}

void ParquetWriter::Submit(bool ends_group) {
  Page* page = current_.get();
  // The chunk dictionaries take the values in file order: the item
  // columns' values once per run give the same dictionaries as row by row.
  for (size_t k = 0; k < kColumns; ++k) {
    if (columns_[k].encoding != ParquetEncoding::kChunkDictionary) continue;
    if (k >= kFirstItemColumn && k < kFirstItemColumn + kItemColumns) {
      dictionaries_[k].Map(&page->items[k - kFirstItemColumn]);
    } else {
      dictionaries_[k].Map(&page->columns[k]);
    }
  }
  ++submitted_pages_;
  submitted_text_bytes_ += page->columns[kText].text.size();
  if (ends_group || submitted_pages_ >= kRowGroupPages ||
      submitted_text_bytes_ >= kRowGroupTextBytes) {
    page->ends_group = true;
    EndGroup();
  }
  if (!encoders_started_) {
    // Threads the system refuses are done without, down to none: then this
    // thread encodes every page as it collects it.
    encoders_started_ = true;
    encoders_.Start(std::min<size_t>(static_cast<size_t>(threads_ - 1), kMaxPagesInFlight));
  }
  in_flight_.push_back(std::move(current_));
  encoders_.Submit(page);
  if (spare_.empty()) {
    current_ = std::make_unique<Page>();
  } else {
    current_ = std::move(spare_.back());
    spare_.pop_back();
  }
  while (in_flight_.size() >= kMaxPagesInFlight ||
         (encoders_.workers() == 0 && !in_flight_.empty()))
    CollectOldest();
}

void ParquetWriter::EndGroup() {
  std::vector<ParquetColumnPage> values(kColumns);
  for (size_t k = 0; k < kColumns; ++k) {
    if (columns_[k].encoding == ParquetEncoding::kChunkDictionary)
      values[k] = dictionaries_[k].Take();
  }
  ended_dictionaries_.push_back(std::move(values));
  submitted_pages_ = 0;
  submitted_text_bytes_ = 0;
}

void ParquetWriter::CollectOldest() {
  Page& page = *in_flight_.front();
  encoders_.Wait(&page);
  if (!page.error.empty()) {
    // Pages are made by this writer to fit: this is a fault of the program,
    // and the file is not written.
    Fail("Parquet page not written: " + page.error);
    for (std::unique_ptr<Page>& later : in_flight_) encoders_.Wait(later.get());
    in_flight_.clear();
    return;
  }
  group_rows_ += page.rows;
  for (size_t k = 0; k < kColumns; ++k) group_[k].push_back(std::move(page.encoded[k]));
  const bool ends_group = page.ends_group;
  page.Clear();
  spare_.push_back(std::move(in_flight_.front()));
  in_flight_.pop_front();
  if (ends_group) WriteRowGroup();
}

void ParquetWriter::WriteRowGroup() {
  std::string error;
  // The dictionary pages of the chunk dictionaries, here: they are small.
  std::vector<EncodedPage> dictionary_pages(kColumns);
  const std::vector<ParquetColumnPage>& values = ended_dictionaries_.front();
  for (size_t k = 0; k < kColumns && error.empty(); ++k) {
    if (!values[k].integers.empty() || !values[k].text_ends.empty())
      EncodeDictionaryPage(columns_[k], values[k], &dictionary_pages[k], &error);
  }
  ended_dictionaries_.pop_front();
  row_group_.clear();
  if (!error.empty() || !file_.AppendRowGroup(group_, dictionary_pages, &row_group_, &error)) {
    Fail("Parquet row group not written: " + error);
    return;
  }
  Put(row_group_);
  for (std::vector<EncodedPage>& pages : group_) pages.clear();
  group_rows_ = 0;
}

void ParquetWriter::endDocument(int32_t /*total*/) {
  if (!error().empty()) return;
  if (current_->rows > 0) {
    Submit(true);
  } else if (submitted_pages_ > 0) {
    EndGroup();
  }
  while (!in_flight_.empty()) CollectOldest();
  if (group_rows_ > 0) WriteRowGroup();
  if (!error().empty()) return;
  Put(file_.Footer());
  flush();
}

void ParquetWriter::writeEmptyResult() {
  Put(file_.Header());
  Put(file_.Footer());
  flush();
}

void ParquetWriter::Put(std::string_view bytes) {
  // In pieces, so that the pending text stays one piece large.
  while (!bytes.empty()) {
    const std::string_view part = bytes.substr(0, PendingText::kPieceSize);
    pending_.SetEnd(CopyText(pending_.Reserve(part.size()), part));
    pending_.ItemDone();
    bytes.remove_prefix(part.size());
  }
}

void ParquetWriter::Expand(Page* page) {
  // Every value is written anew: a page may be expanded again, after a
  // worker failed on it, and a page reused holds the last page's values.
  // Runs are written 8 values at a time, into 8 values to spare at the end:
  // a run's last stores may pass its end, and the next run writes over
  // them. Most runs are 8 rows or fewer: one step, whatever their length.
  const size_t rows = static_cast<size_t>(page->rows);
  const std::vector<uint32_t>& runs = page->run_rows;
  for (size_t k = 0; k < kItemColumns; ++k) {
    const ParquetColumnPage& from = page->items[k];
    ParquetColumnPage& to = page->columns[kFirstItemColumn + k];
    to.text.clear();
    to.text_ends.clear();
    to.reals.clear();
    to.dictionary_values = from.dictionary_values;
    to.defined.resize(rows + kSpread);
    uint8_t* defined = to.defined.data();
    size_t present = 0;
    for (size_t run = 0; run < runs.size(); ++run) {
      Spread(defined, from.defined[run], runs[run]);
      defined += runs[run];
      present += from.defined[run] ? runs[run] : 0;
    }
    to.defined.resize(rows);
    const bool indexed = !from.indices.empty();
    const bool times = kFirstItemColumn + k == kTsNs;
    to.integers.resize(present + kSpread);
    to.indices.resize(indexed ? present + kSpread : 0);
    std::vector<int64_t>& micros = page->columns[kTs].integers;
    if (times) micros.resize(present + kSpread);
    int64_t* integer = to.integers.data();
    uint32_t* index = to.indices.data();
    int64_t* micro = micros.data();
    size_t value = 0;
    for (size_t run = 0; run < runs.size(); ++run) {
      if (!from.defined[run]) continue;
      const uint32_t n = runs[run];
      const int64_t v = from.integers[value];
      Spread(integer, v, n);
      integer += n;
      if (indexed) {
        Spread(index, from.indices[value], n);
        index += n;
      }
      if (times) {
        // ts: the microseconds of ts_ns.
        Spread(micro, FloorMicros(v), n);
        micro += n;
      }
      ++value;
    }
    to.integers.resize(present);
    if (indexed) to.indices.resize(present);
    if (times) {
      micros.resize(present);
      page->columns[kTs].defined = to.defined;
    }
  }
}

void ParquetWriter::Encode(Page* page) const {
  page->error.clear();  // a page may be encoded again, here after a worker failed on it
  Expand(page);
  for (size_t k = 0; k < kColumns && page->error.empty(); ++k)
    EncodeDataPage(columns_[k], page->columns[k], &page->encoded[k], &page->error);
}

}  // namespace qorarc
