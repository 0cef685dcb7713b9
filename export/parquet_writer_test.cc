// The schema of the Parquet export, column by column, against what the
// engines users load it with read natively: each declaration the file uses
// must be one that every engine reads as a value of its own type, exactly.
// (Every column is OPTIONAL: the assembler's tests pin the bytes of that.)
#include "export/parquet_writer.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace qorarc {
namespace {

// How an engine reads a column declaration.
enum Reads { kNative, kLossy, kRefused };

// Where each fact comes from:
//  Spark 3.x: apache/spark, sql/core/.../parquet/ParquetSchemaConverter.scala
//    (convertPrimitiveField): INT32 -> IntegerType, INT64 -> LongType,
//    DOUBLE -> DoubleType, BINARY with STRING/UTF8 -> StringType, INT64
//    TIMESTAMP(MICROS or MILLIS) -> TimestampType; TIMESTAMP(NANOS) is
//    "Illegal Parquet type" (later releases read it as a plain long only under
//    spark.sql.legacy.parquet.nanosAsLong).
//  Trino: trinodb/trino lib/trino-parquet and the Hive/Iceberg connector
//    docs (trino.io/docs/current/connector/hive.html, iceberg.html): INT32,
//    INT64, DOUBLE, UTF8 strings and INT64 timestamps of every unit.
//  DuckDB: duckdb.org/docs/data/parquet/overview and extension/parquet
//    (ParquetReader::DeriveLogicalType): a TIMESTAMP with isAdjustedToUTC is
//    TIMESTAMP WITH TIME ZONE, which holds microseconds: NANOS lose their last
//    three digits (what the pinned @duckdb/node-api 1.5 reads, too).
//  pyarrow: apache/arrow cpp/src/parquet/arrow/schema_internal.cc: INT64
//    TIMESTAMP(MICROS|NANOS, UTC) -> timestamp[us|ns, tz=UTC]; the rest as is.
//  Polars: docs.pola.rs (read_parquet) and polars-parquet's schema conversion
//    (arrow's): Datetime(us|ns, UTC), Int32, Int64, Float64, String.
struct EngineSupport {
  const char* declaration;
  Reads spark, trino, duckdb, pyarrow, polars;
};
constexpr EngineSupport kEngines[] = {
    {"INT32", kNative, kNative, kNative, kNative, kNative},
    {"INT64", kNative, kNative, kNative, kNative, kNative},
    {"DOUBLE", kNative, kNative, kNative, kNative, kNative},
    {"BYTE_ARRAY UTF8 STRING", kNative, kNative, kNative, kNative, kNative},
    {"INT64 TIMESTAMP_MICROS TIMESTAMP(MICROS,UTC)", kNative, kNative, kNative, kNative, kNative},
    {"INT64 TIMESTAMP(NANOS,UTC)", kRefused, kNative, kLossy, kNative, kNative},
};

// The declaration of a column as the file's schema writes it; the numbers
// are those of parquet.thrift (enums Type and ConvertedType).
std::string Declaration(const ParquetColumnInfo& column) {
  std::string text;
  switch (ParquetPhysicalType(column.type)) {
    case 1: text = "INT32"; break;
    case 2: text = "INT64"; break;
    case 5: text = "DOUBLE"; break;
    case 6: text = "BYTE_ARRAY"; break;
    default: text = "?";
  }
  switch (ParquetConvertedType(column.logical)) {
    case -1: break;
    case 0: text += " UTF8"; break;
    case 10: text += " TIMESTAMP_MICROS"; break;
    default: text += " ?";
  }
  switch (column.logical) {
    case ParquetLogical::kNone: break;
    case ParquetLogical::kString: text += " STRING"; break;
    case ParquetLogical::kTimestampMicrosUtc: text += " TIMESTAMP(MICROS,UTC)"; break;
  }
  return text;
}

TEST(ParquetWriterTest, SchemaEveryEngineReadsNatively) {
  const struct {
    const char* name;
    const char* declaration;
  } expected[] = {
      {"ts", "INT64 TIMESTAMP_MICROS TIMESTAMP(MICROS,UTC)"},
      {"ts_ns", "INT64"},
      {"id", "INT32"},
      {"class", "BYTE_ARRAY UTF8 STRING"},
      {"type", "BYTE_ARRAY UTF8 STRING"},
      {"level", "BYTE_ARRAY UTF8 STRING"},
      {"index", "INT32"},
      {"value", "DOUBLE"},
      {"int_value", "INT64"},
      {"text", "BYTE_ARRAY UTF8 STRING"},
  };
  const std::vector<ParquetColumnInfo> columns = ParquetWriter::Columns();
  ASSERT_EQ(columns.size(), std::size(expected));
  ASSERT_EQ(columns.size(), ParquetWriter::kColumns);
  std::string error;
  EXPECT_TRUE(CheckParquetColumns(columns, &error)) << error;
  for (size_t c = 0; c < columns.size(); ++c) {
    const std::string declaration = Declaration(columns[c]);
    EXPECT_EQ(columns[c].name, expected[c].name);
    EXPECT_EQ(declaration, expected[c].declaration) << columns[c].name;
    const EngineSupport* support = nullptr;
    for (const EngineSupport& e : kEngines)
      if (declaration == e.declaration) support = &e;
    ASSERT_NE(support, nullptr) << columns[c].name << ": " << declaration << " not in the table";
    EXPECT_EQ(support->spark, kNative) << columns[c].name << ": Spark 3.x";
    EXPECT_EQ(support->trino, kNative) << columns[c].name << ": Trino";
    EXPECT_EQ(support->duckdb, kNative) << columns[c].name << ": DuckDB";
    EXPECT_EQ(support->pyarrow, kNative) << columns[c].name << ": pyarrow";
    EXPECT_EQ(support->polars, kNative) << columns[c].name << ": Polars";
  }
}

}  // namespace
}  // namespace qorarc
