"""Checks Parquet exports against the long CSV of the same export, cell by
cell, as three independent readers load them (DuckDB, hyparquet and
parquet-wasm, through tests/readers/read_parquet.mjs): ts the microseconds of
long CSV's time stamp rounded down, ts_ns its exact nanoseconds; and that
DuckDB loads the long CSV and the JSON Lines too.

    python3 parquet_check.py READERS_DIR PARQUET CSV JSONL [PARQUET CSV JSONL]...

Prints "ok", or what differs first, and exits non-zero."""
import csv
import datetime
import json
import math
import subprocess
import sys

EPOCH = datetime.datetime(1970, 1, 1, tzinfo=datetime.timezone.utc)


def read(readers, path, reader, mode="rows"):
    out = subprocess.run(["node", readers + "/read_parquet.mjs", path, reader, mode],
                         check=True, capture_output=True, text=True).stdout
    return [json.loads(line) for line in out.splitlines()]


def nanos(text):
    """2019-12-30T01:57:23.339108000Z as nanoseconds since 1970."""
    whole, fraction = text[:-1].split(".")
    day = datetime.datetime.fromisoformat(whole).replace(tzinfo=datetime.timezone.utc)
    return int((day - EPOCH).total_seconds()) * 1_000_000_000 + int(fraction)


def real(cell):
    if isinstance(cell, str):
        return float(cell)  # "NaN", "Infinity", "-Infinity"
    return float(cell)


def same_real(a, b):
    if math.isnan(a) or math.isnan(b):
        return math.isnan(a) and math.isnan(b)
    return a == b and math.copysign(1, a) == math.copysign(1, b)


def check_row(csv_row, pq):
    ts, ident, klass, kind, level, index, value, text = csv_row
    want_ns = None if ts == "" else nanos(ts)
    # ts: whole microseconds, rounded down (printed as nanoseconds); ts_ns exact.
    want_ts = None if want_ns is None else want_ns // 1000 * 1000
    got_ts = None if pq[0] is None else int(pq[0])
    assert got_ts == want_ts, f"ts {pq[0]} for {ts!r}"
    got_ns = None if pq[1] is None else int(pq[1])
    assert got_ns == want_ns, f"ts_ns {pq[1]} for {ts!r}"
    pq = pq[1:]  # the columns after ts_ns, from id on, as numbered below
    for name, cell, got in (("id", ident, pq[1]), ("index", index, pq[5])):
        assert got == (None if cell == "" else int(cell)), f"{name} {got} for {cell!r}"
    for name, cell, got in (("class", klass, pq[2]), ("type", kind, pq[3]),
                            ("level", level, pq[4]), ("text", text, pq[8])):
        assert got == (None if cell == "" else cell), f"{name} {got!r} for {cell!r}"
    exact = pq[7]
    if value == "":
        assert pq[6] is None and exact is None, f"value {pq[6]}, {exact} for an empty cell"
    elif exact is not None:
        assert exact == value, f"int_value {exact} for {value!r}"
        assert same_real(real(pq[6]), float(int(value))), f"value {pq[6]} for {value!r}"
    else:
        assert same_real(real(pq[6]), float(value)), f"value {pq[6]} for {value!r}"


def main():
    readers = sys.argv[1]
    args = sys.argv[2:]
    for i in range(0, len(args), 3):
        parquet, table, lines = args[i:i + 3]
        with open(table, newline="", encoding="utf-8") as f:
            expected = list(csv.reader(f))[1:]
        for reader in ("duckdb", "hyparquet", "parquet-wasm"):
            got = read(readers, parquet, reader)
            assert len(got) == len(expected), f"{parquet}: {reader} reads {len(got)} rows"
            for n, (want, row) in enumerate(zip(expected, got)):
                try:
                    check_row(want, row)
                except AssertionError as e:
                    sys.exit(f"{parquet} row {n + 1}, {reader}: {e}")
        with open(lines, encoding="utf-8") as f:
            items = sum(1 for _ in f)
        for path, mode, want in ((table, "count-csv", len(expected)),
                                 (lines, "count-json", items)):
            counted = read(readers, path, "duckdb", mode)
            if counted != [[want]]:
                sys.exit(f"{path}: DuckDB loads {counted}, not {want} rows")
    print("ok")


main()
