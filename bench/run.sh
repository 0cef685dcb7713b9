#!/bin/sh
# Export benchmark: builds a Release tree with the benchmarks, generates a
# large archive (cached under build-bench/archives, keyed by the generator's
# arguments), times compact JSON, pretty JSON, CSV, JSON Lines, long CSV,
# Parquet, the line protocol and OpenMetrics
# exports of it with one thread (QORARC_THREADS=1) and with the default
# threads, against `cat` of their output as the byte-moving floor, reports
# the peak memory of each export for 3 and 10 million items, checks the
# output byte for byte against a straightforward reference export, puts the
# Parquet export beside long CSV and beside DuckDB's own Parquet of the same
# rows (column by column, CPU and wall time with 1 and 2 threads), and ends
# with the micro-benchmarks.
#
#   bench/run.sh              RUNS=9 bench/run.sh   (runs per figure, default 5)
#
# Times are medians. Wall-clock figures depend on what else the machine is
# doing; the CPU figures (user + system time of the export) do much less.
set -e
cd "$(dirname "$0")/.."
runs=${RUNS:-5}
build=build-bench

scripts/install-deps.sh
cmake -S . -B "$build" -DCMAKE_BUILD_TYPE=Release -DQORARC_BENCHMARKS=ON -DQORARC_TESTS=OFF >/dev/null
cmake --build "$build" -j2 --target QorArc make_archive reference_export time_child micro_bench >/dev/null

qorarc=$build/QorArc
time_child=$build/bench/time_child

# archive ITEMS DAYS [MORE]: prints the root of a generated archive "plant"
# with that many items over that many days (MORE: further generator
# options), generating it unless a run with the same arguments and the same
# generator left it complete.
archive() {
  args="-n $1 -d $2 --names plant ${3:-}"
  root=$build/archives/$(echo "$args" | tr -c 'a-zA-Z0-9\n' '_')
  stamp=$(cksum <"$build/tools/make_archive")
  if [ ! -f "$root.done" ] || [ "$(cat "$root.done")" != "$stamp" ]; then
    rm -rf "$root" "$root.done"
    echo "Generating $1 items over $2 days ..." >&2
    "$build/tools/make_archive" -o "$root" $args >&2
    echo "$stamp" >"$root.done"
  fi
  echo "$root"
}

# median: the middle of the numbers on standard input.
median() { sort -n | awk '{ v[NR] = $1 } END { print v[int((NR + 1) / 2)] }'; }

# measure COUNT NAME [-o FILE] COMMAND...: runs the command COUNT times, keeps
# each run's figures in $out/NAME.runs (wall user sys rss status), and fails
# unless every run ends with status $expect (default 0). The file
# named by $fresh, if any, is removed before each run, so that every export
# writes a new file as users do, instead of truncating the last run's (which
# on ext4 waits for that file's write-back).
measure() {
  count=$1
  name=$2
  shift 2
  : >"$out/$name.runs"
  i=0
  while [ $i -lt "$count" ]; do
    if [ -n "$fresh" ]; then rm -f "$fresh"; fi
    "$time_child" "$@" >>"$out/$name.runs"
    i=$((i + 1))
  done
  if awk -v want="${expect:-0}" '$5 != want { bad = 1 } END { exit !bad }' "$out/$name.runs"; then
    echo "FAILED: '$*' did not end with status ${expect:-0}" >&2
    exit 1
  fi
}

wall() { awk '{ print $1 }' "$out/$1.runs" | median; }
cpu() { awk '{ print $2 + $3 }' "$out/$1.runs" | median; }
rss() { awk '{ print $4 }' "$out/$1.runs" | median; }

items=3000000
arc=$(archive $items 6)
big_items=10000000
big=$(archive $big_items 20)
out=$build/out
fresh=""
rm -rf "$out"
mkdir -p "$out"

echo "Machine: $(nproc) cores, load average $(cut -d' ' -f1-3 /proc/loadavg)"
echo "Archive: $items items in $(ls "$arc"/*/*/*.rea | wc -l) files, $(du -sm "$arc" | cut -f1) MB; $runs runs each, medians"
echo

for mode in json pretty csv jsonl longcsv parquet lineproto openmetrics; do
  case $mode in
    json) flags="" ;;
    pretty) flags="-p" ;;
    csv) flags="--csv" ;;
    jsonl) flags="--json-lines" ;;
    longcsv) flags="--long-csv" ;;
    parquet) flags="--parquet" ;;
    lineproto) flags="--line-protocol" ;;
    openmetrics) flags="--openmetrics" ;;
  esac
  # OpenMetrics has no sample for a log text: its runs end with the warning
  # and status 2.
  if [ "$mode" = openmetrics ]; then expect=2; else expect=0; fi
  fresh="$out/$mode.out"
  measure "$runs" "$mode.1" env QORARC_THREADS=1 "$qorarc" -i "$arc" -o "$out/$mode.out" $flags plant
  cp "$out/$mode.out" "$out/$mode.1.out"
  measure "$runs" "$mode" "$qorarc" -i "$arc" -o "$out/$mode.out" $flags plant
  fresh=""
  if ! cmp -s "$out/$mode.out" "$out/$mode.1.out"; then
    echo "THREADS CHECK FAILED: the $mode export differs with one thread" >&2
    exit 1
  fi
  rm -f "$out/$mode.1.out"
  status=$expect; expect=0
  measure "$runs" "$mode.floor" -o /dev/null cat "$out/$mode.out"
  expect=$status
  # Memory only: once is enough.
  measure 1 "$mode.1.big" env QORARC_THREADS=1 "$qorarc" -i "$big" -o /dev/null $flags plant
  measure 1 "$mode.big" "$qorarc" -i "$big" -o /dev/null $flags plant
  expect=0
done

threads=$(nproc); [ "$threads" -gt 16 ] && threads=16
printf '%-22s %10s %10s %8s %8s %12s %9s %10s %10s %8s\n' \
  export "items/s" "MB/s" "wall s" "CPU s" "items/CPU s" "x floor" "RSS 3M" "RSS 10M" speedup
for mode in json pretty csv jsonl longcsv parquet lineproto openmetrics; do
  case $mode in
    json) label="compact JSON" ;;
    pretty) label="pretty JSON" ;;
    csv) label="CSV" ;;
    jsonl) label="JSON Lines" ;;
    longcsv) label="long CSV" ;;
    parquet) label="Parquet" ;;
    lineproto) label="line protocol" ;;
    openmetrics) label="OpenMetrics" ;;
  esac
  bytes=$(stat -c %s "$out/$mode.out")
  for run in "$mode.1" "$mode"; do
    if [ "$run" = "$mode" ]; then what="$label, $threads thr"; else what="$label, 1 thr"; fi
    awk -v label="$what" -v n=$items -v bytes="$bytes" -v wall="$(wall $run)" -v cpu="$(cpu $run)" \
      -v floor="$(wall $mode.floor)" -v rss="$(rss $run)" -v big="$(rss $run.big)" \
      -v one="$(wall $mode.1)" 'BEGIN {
        printf "%-22s %8.2f M %10.0f %8.3f %8.3f %10.2f M %9.1f %6.1f MiB %6.1f MiB %7.2fx\n",
          label, n / wall / 1e6, bytes / wall / 1e6, wall, cpu, n / cpu / 1e6, wall / floor,
          rss / 1024, big / 1024, one / wall }'
  done
done
for mode in json pretty csv jsonl longcsv parquet lineproto openmetrics; do
  awk -v mode=$mode -v bytes="$(stat -c %s "$out/$mode.out")" -v wall="$(wall $mode.floor)" 'BEGIN {
    printf "floor: cat of the %s output (%.0f MB) to /dev/null: %.3f s, %.0f MB/s\n",
      mode, bytes / 1e6, wall, bytes / wall / 1e6 }'
done
echo "Targets: one thread: compact JSON >= 3.2 M items/s, pretty JSON >= 2 M, CSV >= 7 M,"
echo "JSON Lines and long CSV no fewer items/s than compact JSON and CSV;"
echo "peak RSS <= 16 MiB; default threads on 2 cores: each >= 1.7x its one-thread figure,"
echo "peak RSS <= 32 MiB; the same RSS for 3 M and 10 M items."
echo "Parquet: no slower per item than long CSV, at most a fifth of its size,"
echo "peak RSS <= 128 MiB at any archive size."
awk -v pq="$(stat -c %s "$out/parquet.out")" -v lc="$(stat -c %s "$out/longcsv.out")" 'BEGIN {
  printf "Parquet file: %.1f MB, long CSV %.1f MB (%.1f%%; aim <= 20%%)\n", pq / 1e6, lc / 1e6, 100 * pq / lc }'

# Parquet beside long CSV and beside what DuckDB writes of the same rows:
# its re-encoding of our file and its COPY of the long CSV, both with ZSTD
# (through DuckDB's library in tests/readers, threads set for each run).
# Per column and in all, and the CPU and wall time of each with 1 and 2
# threads (for DuckDB, its whole node process).
if [ -d tests/readers/node_modules ]; then
  pq_file=$out/ours.parquet
  # One SQL text, run once in a new node process (which becomes the shell),
  # its printed result dropped.
  duck='exec node bench/duckdb_query.mjs "$1" 1 >/dev/null'
  for t in 1 2; do
    fresh="$pq_file"
    measure "$runs" "pq.$t" env QORARC_THREADS=$t "$qorarc" -i "$arc" -o "$pq_file" --parquet plant
    fresh="$out/longcsv.csv"
    measure "$runs" "lc.$t" env QORARC_THREADS=$t "$qorarc" -i "$arc" -o "$out/longcsv.csv" --long-csv plant
  done
  for t in 1 2; do
    fresh="$out/duck_ours.parquet"
    measure "$runs" "duckours.$t" sh -c "$duck" sh "SET threads = $t; COPY (FROM read_parquet('$pq_file')) TO '$out/duck_ours.parquet' (FORMAT parquet, COMPRESSION zstd)"
    fresh="$out/duck_csv.parquet"
    measure "$runs" "duckcsv.$t" sh -c "$duck" sh "SET threads = $t; COPY (FROM read_csv('$out/longcsv.csv')) TO '$out/duck_csv.parquet' (FORMAT parquet, COMPRESSION zstd)"
    fresh=""
  done
  echo "Parquet of $(awk 'END { print NR - 1 }' "$out/longcsv.csv") rows, per column and in all (MB):"
  node bench/parquet_columns.mjs "QorArc=$pq_file" "DuckDB re-encoding=$out/duck_ours.parquet" \
    "DuckDB from long CSV=$out/duck_csv.parquet"
  printf '%-26s %9s %11s %11s %11s %11s\n' "" "size MB" "CPU 1 thr" "wall 1 thr" "CPU 2 thr" "wall 2 thr"
  for row in "QorArc Parquet:pq.1:pq.2:$pq_file" "QorArc long CSV:lc.1:lc.2:$out/longcsv.csv" \
    "DuckDB re-encoding:duckours.1:duckours.2:$out/duck_ours.parquet" \
    "DuckDB from long CSV:duckcsv.1:duckcsv.2:$out/duck_csv.parquet"; do
    IFS=: read -r label one two file <<EOT
$row
EOT
    awk -v label="$label" -v size="$(stat -c %s "$file")" -v c1="$(cpu "$one")" -v w1="$(wall "$one")" \
      -v c2="$(cpu "$two")" -v w2="$(wall "$two")" 'BEGIN {
      printf "%-26s %9.1f %9.3f s %9.3f s %9.3f s %9.3f s\n", label, size / 1e6, c1, w1, c2, w2 }'
  done
  echo "Targets: QorArc's file no larger than DuckDB's re-encoding of it; its CPU with one thread"
  echo "no more than long CSV's."
  rm -f "$pq_file" "$out/longcsv.csv" "$out/duck_ours.parquet" "$out/duck_csv.parquet"
  echo
fi

# Compressed output: -o NAME.zst and NAME.gz, members of 1 MiB compressed by
# the export's threads; checked to decompress to the plain bytes, and to be
# the very file one thread writes.
for kind in zst gz; do
  fresh="$out/c.jsonl.$kind"
  measure "$runs" "$kind.1" env QORARC_THREADS=1 "$qorarc" -i "$arc" -o "$out/c.jsonl.$kind" -jl plant
  mv "$out/c.jsonl.$kind" "$out/c1.jsonl.$kind"
  measure "$runs" "$kind" "$qorarc" -i "$arc" -o "$out/c.jsonl.$kind" -jl plant
  fresh=""
  case $kind in zst) unpack="zstd -dcq" ;; gz) unpack="gzip -dc" ;; esac
  if ! $unpack "$out/c.jsonl.$kind" | cmp -s - "$out/jsonl.out"; then
    echo "COMPRESSION CHECK FAILED: the .$kind export does not unpack to the JSON Lines export" >&2
    exit 1
  fi
  if ! cmp -s "$out/c.jsonl.$kind" "$out/c1.jsonl.$kind"; then
    echo "COMPRESSION CHECK FAILED: the threaded .$kind file differs from the one-thread file" >&2
    exit 1
  fi
  rm -f "$out/c1.jsonl.$kind"
  awk -v k="$kind" -v one="$(wall $kind.1)" -v many="$(wall $kind)" -v plain="$(wall jsonl)" \
    -v size="$(stat -c %s "$out/c.jsonl.$kind")" -v full="$(stat -c %s "$out/jsonl.out")" 'BEGIN {
    printf "JSON Lines .%s: 1 thr %.3f s, %d thr %.3f s (plain %.3f s); %.1f MB, %.1f%% of %.0f MB\n",
      k, one, '"$threads"', many, plain, size / 1e6, 100 * size / full, full / 1e6 }'
  rm -f "$out/c.jsonl.$kind"
done

# What the user's engine does next: DuckDB over the Parquet file against the
# JSON Lines (through DuckDB's library, which scripts/install-deps.sh puts in
# tests/readers).
if [ -d tests/readers/node_modules ]; then
  q() { node bench/duckdb_query.mjs "$1" 3 | cut -d' ' -f1; }
  pq="'$out/parquet.out'"
  jl="read_json('$out/jsonl.out', format = 'newline_delimited')"
  for query in "count(*)" "group by id"; do
    case $query in
      "count(*)") a=$(q "SELECT count(*) FROM $pq"); b=$(q "SELECT count(*) FROM $jl") ;;
      *) a=$(q "SELECT id, count(*) FROM $pq GROUP BY id"); b=$(q "SELECT id, count(*) FROM $jl GROUP BY id") ;;
    esac
    awk -v q="$query" -v a="$a" -v b="$b" 'BEGIN {
      printf "DuckDB %s: Parquet %.3f s, JSON Lines %.3f s (%.0fx; aim >= 10x)\n", q, a, b, b / a }'
  done
fi
echo

# Memory across thread counts: 300,000 items of 64 Doubles each, pretty
# JSON, the widest text per item. Batches are bounded in bytes and the
# bytes in flight are bounded in all, so the peak stays flat.
wide=$(archive 300000 2 "--wide 64")
printf '%-34s' "wide archive, pretty JSON, peak RSS:"
for t in 1 2 16 64; do
  measure 1 "wide.$t" env QORARC_THREADS=$t "$qorarc" -i "$wide" -o /dev/null -p plant
  printf ' %2d thr %5.1f MiB' "$t" "$(awk -v r="$(rss wide.$t)" 'BEGIN { print r / 1024 }')"
done
echo
echo "Target: peak RSS <= 32 MiB for every thread count up to 64."
echo

# The identity check: QorArc's output equals the straightforward export
# (which knows the JSON document and CSV only).
files=$(ls "$arc"/*/*/*_plant.rea | sort)
for mode in json pretty csv; do
  # shellcheck disable=SC2086 # one argument per file
  "$build/bench/reference_export" $mode "$out/$mode.reference" $files
  if ! cmp "$out/$mode.out" "$out/$mode.reference"; then
    echo "IDENTITY CHECK FAILED: the $mode export differs from the reference export" >&2
    exit 1
  fi
  rm -f "$out/$mode.reference"
  echo "identity: the $mode export equals the reference export byte for byte"
done
rm -f "$out"/*.out
echo

# A failed write ends the export at once: the compact JSON export to
# /dev/full against the whole export to /dev/null.
measure "$runs" whole "$qorarc" -i "$arc" -o /dev/null plant
expect=255
# (Its error line is dropped, through a shell that then becomes QorArc.)
measure "$runs" full sh -c 'exec "$0" "$@" 2>/dev/null' "$qorarc" -i "$arc" -o /dev/full plant
expect=0
awk -v full="$(wall full)" -v whole="$(wall whole)" 'BEGIN {
  printf "failed export to /dev/full: %.4f s, the whole export %.3f s (%.2f%%; target <= 1%%)\n",
    full, whole, 100 * full / whole }'

# The ID filter costs the same for any number of ranges: 10,000 of them
# (9,999 single IDs, then 0..65535, so that every item passes and the
# output is the unfiltered one) against no filter.
ranges=$(awk 'BEGIN { for (i = 0; i < 9999; i++) printf "%d,", 2 * i + 1; printf "0..65535" }')
measure "$runs" ranges "$qorarc" -i "$arc" -o /dev/null -f "$ranges" plant
awk -v ranges="$(wall ranges)" -v whole="$(wall whole)" 'BEGIN {
  printf "-f with 10,000 ranges: %.3f s, no filter %.3f s (x %.2f; target <= 1.5)\n",
    ranges, whole, ranges / whole }'
echo

"$build/bench/micro_bench" --benchmark_min_time=0.2
