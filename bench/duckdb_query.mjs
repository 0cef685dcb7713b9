// Times DuckDB queries the way a user runs them after an export: a new
// database, the file read where it lies. Uses the DuckDB library the tests
// install (tests/readers).
//
//   node bench/duckdb_query.mjs "SQL" [RUNS]
//
// Prints the median wall time in seconds and the first row of the result.
import { createRequire } from 'node:module';

const require = createRequire(new URL('../tests/readers/package.json', import.meta.url));
const { DuckDBInstance } = require('@duckdb/node-api');

const [sql, runs = '3'] = process.argv.slice(2);
const times = [];
let first = null;
for (let i = 0; i < Number(runs); ++i) {
  const instance = await DuckDBInstance.create(':memory:');
  const connection = await instance.connect();
  const start = process.hrtime.bigint();
  const rows = (await connection.runAndReadAll(sql)).getRows();
  times.push(Number(process.hrtime.bigint() - start) / 1e9);
  first = rows[0];
  connection.closeSync();
  instance.closeSync();
}
times.sort((a, b) => a - b);
console.log(times[Math.floor(times.length / 2)].toFixed(3), JSON.stringify(first, (k, v) =>
  typeof v === 'bigint' ? v.toString() : v));
