#!/bin/sh
# Installs the Debian packages QorArc builds and tests with, and the npm
# packages of the Parquet readers the export tests use (tests/readers, pinned
# by its package-lock.json). Packages already present are left alone; the
# package lists are refreshed only when an install fails without them.
set -e
packages="cmake g++ make rapidjson-dev libgtest-dev googletest libbenchmark-dev python3 dpkg-dev file groff-base lintian clang libclang-rt-14-dev sqlite3 python3-pandas jq zlib1g-dev libzstd-dev zstd pkg-config influxdb prometheus"
# Node from any source will do; Debian's only when there is none.
command -v node >/dev/null 2>&1 || packages="$packages nodejs npm"
missing=""
for p in $packages; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "ok installed" || missing="$missing $p"
done
if [ -n "$missing" ]; then
  if [ "$(id -u)" -eq 0 ]; then sudo=""; else sudo="sudo"; fi
  echo "Installing:$missing" >&2
  export DEBIAN_FRONTEND=noninteractive
  $sudo apt-get install -y --no-install-recommends $missing ||
    { $sudo apt-get update && $sudo apt-get install -y --no-install-recommends $missing; }
fi

# The readers: installed again when missing or older than the lock file.
readers="$(cd "$(dirname "$0")/../tests/readers" && pwd)"
if [ ! -f "$readers/node_modules/.package-lock.json" ] ||
   [ "$readers/package-lock.json" -nt "$readers/node_modules/.package-lock.json" ]; then
  echo "Installing the Parquet readers in $readers" >&2
  (cd "$readers" && npm ci --no-audit --no-fund)
fi
