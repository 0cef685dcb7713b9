#!/bin/sh
# Installs what is missing, builds QorArc and runs every test. The same
# tests under the sanitizers and a minute of fuzzing take twice as long
# again: scripts/sanitize.sh, which CI runs after this.
set -e
cd "$(dirname "$0")/.."
scripts/install-deps.sh
cmake -S . -B build -DCMAKE_BUILD_TYPE=Release
cmake --build build -j2
ctest --test-dir build --output-on-failure -j2
