// Reads a Parquet file with one of three independent readers and prints it in a
// form both share, so that the export tests can compare every cell with
// what they wrote:
//
//   node read_parquet.mjs FILE READER [MODE]
//
// READER: duckdb, hyparquet or parquet-wasm. MODE:
//   rows (default)  one JSON array per row, the cells in column order: null;
//                   64-bit integers and timestamps (microsecond timestamps
//                   as integer nanoseconds) as decimal strings, nothing lost
//                   above 2^53; other numbers as JSON numbers (-0 as -0.0),
//                   "NaN", "Infinity", "-Infinity"; strings as JSON strings;
//                   byte arrays without a string type as lowercase hex
//                   strings.
//   schema          one JSON array per column: its name and the reader's type.
//   stats           (duckdb, hyparquet) one JSON array per column chunk: row group, column, null
//                   count, min and max as the reader shows them.
//   encodings       (duckdb) one JSON array per column chunk: row group,
//                   column, the encodings its metadata lists.
//   count-csv       (duckdb) FILE is long CSV: the number of rows loaded.
//   count-json      (duckdb) FILE is JSON Lines: the number of rows loaded.
//   dataset         (duckdb) FILE is the folder of a Hive-style dataset: the
//                   rows of every "*.parquet" under it, the partition
//                   columns last, as a user reads it.
//   dataset-schema  (duckdb) the same dataset's columns.
//   dataset-watch   (duckdb) reads the dataset again and again until the
//                   file named by the next argument exists, and prints the
//                   reads made, the reads that failed, the reads that saw a
//                   row twice, those that saw fewer rows than the one
//                   before, and the last count.
// A file the reader refuses: its message on standard error, status 1.
import { readFileSync } from 'node:fs';

function cellText(v) {
  if (v === null || v === undefined) return 'null';
  if (typeof v === 'bigint') return `"${v}"`;
  if (typeof v === 'number') {
    if (Number.isNaN(v)) return '"NaN"';
    if (v === Infinity) return '"Infinity"';
    if (v === -Infinity) return '"-Infinity"';
    if (Object.is(v, -0)) return '-0.0';  // JSON.stringify and String drop the sign
    return String(v);
  }
  if (typeof v === 'string') return JSON.stringify(v);
  if (v instanceof Uint8Array) return JSON.stringify(Buffer.from(v).toString('hex'));
  if (v instanceof Date) return JSON.stringify(v.toISOString());
  throw new Error(`unexpected value ${String(v)} of type ${typeof v}`);
}

function printLine(cells) {
  process.stdout.write(`[${cells.map(cellText).join(',')}]\n`);
}

function sqlText(s) {
  return `'${s.replaceAll("'", "''")}'`;
}

function sqlName(s) {
  return `"${s.replaceAll('"', '""')}"`;
}

function datasetSource(dir) {
  return `read_parquet(${sqlText(dir + '/**/*.parquet')}, hive_partitioning = true)`;
}

// A row is one element of one item: an item is its archive, day, time and
// ID (the live archives of the tests never repeat a time in a day).
// DuckDB opens a file more than once in a query: a query during which a
// file it listed is replaced fails (an IO error); such reads are counted
// apart.
async function watchDataset(connection, dir, stopFile) {
  const { existsSync } = await import('node:fs');
  let reads = 0, failed = 0, twice = 0, fewer = 0, last = 0;
  const sql = 'SELECT count(*), count(DISTINCT (archive, date, ts_ns, id, "index")) ' +
    `FROM ${datasetSource(dir)}`;
  while (!existsSync(stopFile)) {
    let row;
    try {
      row = (await connection.runAndReadAll(sql)).getRows()[0];
    } catch (e) {
      if (!String(e).includes('No files found')) ++failed;
      continue;
    }
    const [all, distinct] = row.map(Number);
    ++reads;
    if (distinct !== all) ++twice;
    if (all < last) ++fewer;
    last = all;
  }
  printLine([reads, failed, twice, fewer, last]);
}

async function readDuckdb(file, mode) {
  const { DuckDBInstance } = await import('@duckdb/node-api');
  const instance = await DuckDBInstance.create(':memory:');
  const connection = await instance.connect();
  if (mode === 'count-csv' || mode === 'count-json') {
    // The text formats, loaded as a user would: the rows DuckDB reads.
    const source = mode === 'count-csv'
      ? `read_csv(${sqlText(file)}, header = true, all_varchar = true)`
      : `read_json(${sqlText(file)}, format = 'newline_delimited')`;
    const result = await connection.runAndReadAll(`SELECT count(*) FROM ${source}`);
    printLine([Number(result.getRows()[0][0])]);
    connection.closeSync();
    instance.closeSync();
    return;
  }
  if (mode === 'dataset-watch') {
    await watchDataset(connection, file, process.argv[5]);
    connection.closeSync();
    instance.closeSync();
    return;
  }
  const source = mode.startsWith('dataset') ? datasetSource(file) : `read_parquet(${sqlText(file)})`;
  const described = (await connection.runAndReadAll(`DESCRIBE SELECT * FROM ${source}`)).getRows();
  if (mode === 'schema' || mode === 'dataset-schema') {
    for (const [name, type] of described) printLine([name, type]);
  } else if (mode === 'encodings') {
    const result = await connection.runAndReadAll(
      'SELECT row_group_id, path_in_schema, encodings ' +
      `FROM parquet_metadata(${sqlText(file)}) ORDER BY row_group_id, column_id`);
    for (const row of result.getRows()) printLine(row);
  } else if (mode === 'stats') {
    const result = await connection.runAndReadAll(
      'SELECT row_group_id, path_in_schema, stats_null_count, stats_min_value, stats_max_value ' +
      `FROM parquet_metadata(${sqlText(file)}) ORDER BY row_group_id, column_id`);
    for (const row of result.getRows()) printLine(row);
  } else {
    // Values the JavaScript side would round or reshape are turned into text by DuckDB.
    const select = described.map(([name, type]) => {
      const column = sqlName(name);
      if (type.startsWith('TIMESTAMP')) return `CAST(epoch_ns(${column}) AS VARCHAR)`;
      if (type === 'BIGINT' || type === 'DATE') return `CAST(${column} AS VARCHAR)`;
      if (type === 'BLOB') return `lower(hex(${column}))`;
      return column;
    });
    const result = await connection.runAndReadAll(`SELECT ${select.join(', ')} FROM ${source}`);
    for (const row of result.getRows()) printLine(row);
  }
  connection.closeSync();
  instance.closeSync();
}

async function readHyparquet(file, mode) {
  const { parquetMetadata, parquetReadObjects } = await import('hyparquet');
  const { compressors } = await import('hyparquet-compressors');
  const bytes = readFileSync(file);
  const buffer = bytes.buffer.slice(bytes.byteOffset, bytes.byteOffset + bytes.byteLength);
  const metadata = parquetMetadata(buffer);
  const leaves = metadata.schema.slice(1);
  if (mode === 'schema') {
    for (const e of leaves) {
      const logical = e.logical_type ? JSON.stringify(e.logical_type) : '';
      printLine([e.name, [e.repetition_type, e.type, e.converted_type ?? '', logical].join(' ')]);
    }
  } else if (mode === 'stats') {
    metadata.row_groups.forEach((group, g) => {
      for (const chunk of group.columns) {
        const s = chunk.meta_data.statistics ?? {};
        printLine([BigInt(g), chunk.meta_data.path_in_schema.join('.'), s.null_count,
          s.min_value, s.max_value]);
      }
    });
  } else {
    const rows = await parquetReadObjects({
      file: buffer,
      compressors,
      utf8: false,  // byte arrays without a string type stay bytes
      parsers: { timestampFromMicroseconds: (micros) => micros * 1000n },
    });
    for (const row of rows) printLine(leaves.map((e) => row[e.name]));
  }
}

// parquet-wasm (the Rust arrow/parquet crates in WebAssembly) hands its
// table out through the Arrow C data interface: the structs ArrowSchema and
// ArrowArray in its own memory, 32-bit pointers, read here field by field.
function arrowReader() {
  let view;
  const refresh = (memory) => { view = new DataView(memory.buffer); };
  const u32 = (at) => view.getUint32(at, true);
  const i64 = (at) => view.getBigInt64(at, true);
  const text = (at) => {
    let end = at;
    while (view.getUint8(end) !== 0) ++end;
    return Buffer.from(view.buffer, at, end - at).toString('utf8');
  };
  // ArrowSchema: format, name, metadata, flags, n_children, children.
  const schema = (at) => ({
    format: text(u32(at)),
    name: text(u32(at + 4)),
    children: Array.from({ length: Number(i64(at + 24)) }, (_, i) => schema(u32(u32(at + 32) + 4 * i))),
  });
  // ArrowArray: length, null_count, offset, n_buffers, n_children, buffers, children.
  const array = (at) => ({
    length: Number(i64(at)),
    offset: Number(i64(at + 16)),
    buffers: Array.from({ length: Number(i64(at + 24)) }, (_, i) => u32(u32(at + 40) + 4 * i)),
    children: Array.from({ length: Number(i64(at + 32)) }, (_, i) => array(u32(u32(at + 44) + 4 * i))),
  });
  // The cells of one column of a batch, in the shared printed form's values.
  const cells = (type, a) => {
    const out = [];
    const [validity] = a.buffers;
    for (let r = a.offset; r < a.offset + a.length; ++r) {
      if (validity !== 0 && !(view.getUint8(validity + (r >> 3)) >> (r & 7) & 1)) {
        out.push(null);
      } else if (type.format === 'i') {
        out.push(view.getInt32(a.buffers[1] + 4 * r, true));
      } else if (type.format === 'l') {
        out.push(view.getBigInt64(a.buffers[1] + 8 * r, true));
      } else if (type.format.startsWith('tsu:')) {
        out.push(view.getBigInt64(a.buffers[1] + 8 * r, true) * 1000n);
      } else if (type.format === 'g') {
        out.push(view.getFloat64(a.buffers[1] + 8 * r, true));
      } else if (type.format === 'u' || type.format === 'z') {
        const begin = view.getInt32(a.buffers[1] + 4 * r, true);
        const end = view.getInt32(a.buffers[1] + 4 * r + 4, true);
        const bytes = new Uint8Array(view.buffer, a.buffers[2] + begin, end - begin);
        out.push(type.format === 'u' ? Buffer.from(bytes).toString('utf8') : new Uint8Array(bytes));
      } else {
        throw new Error(`column ${type.name}: Arrow format ${type.format} not read here`);
      }
    }
    return out;
  };
  return { refresh, schema, array, cells };
}

async function readParquetWasm(file, mode) {
  const wasm = await import('parquet-wasm');
  const table = wasm.readParquet(new Uint8Array(readFileSync(file)));
  const stream = table.intoFFI();
  const arrow = arrowReader();
  arrow.refresh(wasm.wasmMemory());
  const columns = arrow.schema(stream.schemaAddr()).children;
  if (mode === 'schema') {
    for (const c of columns) printLine([c.name, c.format]);
    return;
  }
  for (let b = 0; b < stream.numArrays(); ++b) {
    const batch = arrow.array(stream.arrayAddr(b));
    const values = columns.map((c, i) => arrow.cells(c, batch.children[i]));
    for (let r = 0; r < batch.length; ++r) printLine(values.map((v) => v[r]));
  }
  stream.drop();
}

const [file, reader, mode = 'rows'] = process.argv.slice(2);
const readers = { duckdb: readDuckdb, hyparquet: readHyparquet, 'parquet-wasm': readParquetWasm };
const modes = ['rows', 'schema', 'stats', 'encodings', 'count-csv', 'count-json', 'dataset',
  'dataset-schema', 'dataset-watch'];
if (!file || !readers[reader] || !modes.includes(mode) ||
    ((mode.startsWith('count') || mode.startsWith('dataset') || mode === 'encodings') &&
      reader !== 'duckdb') ||
    (mode === 'stats' && reader === 'parquet-wasm')) {
  process.stderr.write(
    'usage: read_parquet.mjs FILE duckdb|hyparquet|parquet-wasm [rows|schema|stats|encodings|count-csv|count-json|dataset|dataset-schema|dataset-watch STOP]\n');
  process.exit(2);
}
try {
  await readers[reader](file, mode);
} catch (e) {
  process.stderr.write(`${reader}: ${e.message.split('\n')[0]}\n`);
  process.exit(1);
}
