#!/bin/sh
# Fleet benchmark of datasets: a synthetic fleet of ARCHIVES archives over
# DAYS days (tools/make_archive, ITEMS items per archive and day) exported in
# one `--all --dataset` run with the default threads, then two more days
# growing in RUNS steps a day (a run after each step, as a timer every
# 24h/RUNS would), then DuckDB's time for one day of the fleet and for one ID
# across the fleet. Prints time, CPU, peak memory, files and bytes.
#
#   bench/fleet.sh                       ARCHIVES=50 DAYS=30 ITEMS=20000 RUNS=96
#   ARCHIVES=10 DAYS=5 RUNS=8 bench/fleet.sh   (a quick look)
set -e
cd "$(dirname "$0")/.."
archives=${ARCHIVES:-50}
days=${DAYS:-30}
per_day=${ITEMS:-20000}
runs=${RUNS:-96}
build=build-bench

scripts/install-deps.sh
cmake -S . -B "$build" -DCMAKE_BUILD_TYPE=Release -DQORARC_BENCHMARKS=ON -DQORARC_TESTS=OFF >/dev/null
cmake --build "$build" -j2 --target QorArc make_archive time_child >/dev/null
qorarc=$build/QorArc
time_child=$build/bench/time_child

work=$build/fleet
rm -rf "$work"
mkdir -p "$work"
names=$(seq -f 'c%02g' 1 "$archives" | paste -sd, -)
all_days=$((days + 2))
echo "Generating $archives archives x $all_days days x $per_day items ..." >&2
"$build/tools/make_archive" -o "$work/full" -n $((archives * all_days * per_day)) -d "$all_days" \
  --names "$names" >&2

# The live archive: the first DAYS days whole; the last two grow below.
cp -r "$work/full" "$work/live"
last_two=$(find "$work/full" -name '*.rea' | sort | tail -n $((2 * archives)))
for f in $last_two; do : >"$work/live/${f#"$work"/full/}"; done

# sum_runs FILE: wall, CPU and the largest peak memory of the runs in FILE.
sum_runs() {
  awk '{ w += $1; c += $2 + $3; if ($4 > m) m = $4; if ($5 != 0) bad = 1 }
       END { printf "%.1f s wall, %.1f s CPU, peak %.0f MiB%s", w, c, m / 1024,
             bad ? " (A RUN FAILED)" : "" }' "$1"
}
dataset_size() {
  printf '%s files, %s MB' "$(find "$work/lake" -name '*.parquet' | wc -l)" \
    "$(du -sm --exclude=_qorarc "$work/lake" | cut -f1)"
}

"$time_child" "$qorarc" -i "$work/live" --dataset "$work/lake" --all >"$work/first.runs"
echo "first run, $archives archives x $days days: $(sum_runs "$work/first.runs"); $(dataset_size)"

# Grows each of the last two days in RUNS steps, a run after each.
: >"$work/growth.runs"
for day in 1 2; do
  files=$(echo "$last_two" | awk -v d=$day -v n="$archives" 'NR > (d - 1) * n && NR <= d * n')
  step=1
  while [ $step -le "$runs" ]; do
    for f in $files; do
      live="$work/live/${f#"$work"/full/}"
      size=$(stat -c %s "$f")
      have=$(stat -c %s "$live")
      want=$((size * step / runs))
      if [ "$want" -gt "$have" ]; then
        tail -c +$((have + 1)) "$f" | head -c $((want - have)) >>"$live"
      fi
    done
    "$time_child" "$qorarc" -i "$work/live" --dataset "$work/lake" --all >>"$work/growth.runs"
    step=$((step + 1))
  done
done
echo "2 days x $runs runs: $(sum_runs "$work/growth.runs"); $(dataset_size)"
echo "per run: $(awk '{ w += $1; c += $2 + $3 } END { printf "%.2f s wall, %.2f s CPU", w / NR, c / NR }' "$work/growth.runs")"

# The dataset holds what one export of each archive holds.
total=$(node bench/duckdb_query.mjs \
  "SELECT count(*) FROM read_parquet('$work/lake/**/*.parquet', hive_partitioning = true)" 1 |
  sed 's/.*\["\{0,1\}\([0-9]*\).*/\1/')
expected=0
for name in $(echo "$names" | tr , ' '); do
  rows=$("$qorarc" -i "$work/live" -lc "$name" | tail -n +2 | wc -l)
  expected=$((expected + rows))
done
echo "rows: dataset $total, long CSV exports $expected"
[ "$total" = "$expected" ] || { echo "FAILED: the dataset does not hold the exports' rows" >&2; exit 1; }

day=$(basename "$(dirname "$(find "$work/lake" -path '*date=*' -type d | sort | sed -n 2p)/x")")
echo "DuckDB, one day of the fleet ($day): $(node bench/duckdb_query.mjs \
  "SELECT count(*), avg(value) FROM read_parquet('$work/lake/**/*.parquet', hive_partitioning = true)
   WHERE date = '${day#date=}'")"
echo "DuckDB, ID 100 across the fleet: $(node bench/duckdb_query.mjs \
  "SELECT count(*), avg(value) FROM read_parquet('$work/lake/**/*.parquet', hive_partitioning = true)
   WHERE id = 100")"
