// The size of each column of Parquet files side by side, as their metadata
// gives it (compressed bytes of all its column chunks, page headers
// included), and each file's size. Uses the DuckDB library the tests
// install (tests/readers).
//
//   node bench/parquet_columns.mjs LABEL=FILE...
//
// Columns are listed in the order of the first file; a file without one
// shows "-".
import { createRequire } from 'node:module';
import { statSync } from 'node:fs';

const require = createRequire(new URL('../tests/readers/package.json', import.meta.url));
const { DuckDBInstance } = require('@duckdb/node-api');

const files = process.argv.slice(2).map((arg) => {
  const at = arg.indexOf('=');
  return { label: arg.slice(0, at), path: arg.slice(at + 1) };
});
const instance = await DuckDBInstance.create(':memory:');
const connection = await instance.connect();
const names = [];
for (const file of files) {
  const path = file.path.replaceAll("'", "''");
  const rows = (await connection.runAndReadAll(
    'SELECT path_in_schema, sum(total_compressed_size) FROM parquet_metadata(' +
    `'${path}') GROUP BY path_in_schema ORDER BY min(column_id)`)).getRows();
  file.columns = new Map(rows.map(([name, bytes]) => [name, Number(bytes)]));
  for (const [name] of rows) if (!names.includes(name)) names.push(name);
  file.bytes = statSync(file.path).size;
}
const mb = (bytes) => (bytes === undefined ? '-' : (bytes / 1e6).toFixed(2));
const line = (cells) => console.log(cells.map((c, i) => (i === 0 ? c.padEnd(12) : c.padStart(22)))
  .join(' '));
line(['column (MB)', ...files.map((f) => f.label)]);
for (const name of names) line([name, ...files.map((f) => mb(f.columns.get(name)))]);
line(['file', ...files.map((f) => mb(f.bytes))]);
connection.closeSync();
instance.closeSync();
