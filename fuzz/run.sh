#!/bin/sh
# Builds export_fuzzer with clang, libFuzzer and the sanitizers, writes the
# seed corpus with the project's archive writer, and fuzzes for SECONDS
# (default 60). The corpus grows in BUILD/corpus from run to run; an input
# that fails is written to BUILD/crashes/ and the script exits non-zero.
#
#   fuzz/run.sh [SECONDS] [BUILD]          BUILD defaults to build-fuzz
#
# Reproduce a failure with BUILD/export_fuzzer BUILD/crashes/<file>, or run
# the program on it: build/QorArc -i <file> (copied to a name ending ".rea").
set -e
cd "$(dirname "$0")/.."
seconds=${1:-60}
build=${2:-build-fuzz}
CC=clang CXX=clang++ cmake -S fuzz -B "$build" -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
cmake --build "$build" -j2 --target export_fuzzer make_seeds
mkdir -p "$build/seeds" "$build/corpus" "$build/crashes"
"$build/make_seeds" "$build/seeds"
# -max_len above the fuzzer's read buffer (64 KiB) lets inputs slide it.
"$build/export_fuzzer" -max_total_time="$seconds" -max_len=70000 -timeout=10 \
  -rss_limit_mb=2048 -print_final_stats=1 -artifact_prefix="$build/crashes/" \
  "$build/corpus" "$build/seeds"
