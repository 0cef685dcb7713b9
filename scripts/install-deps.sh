#!/bin/sh
# Installs the Debian packages QorArc builds and tests with. Packages already
# present are left alone; the package lists are refreshed only when an install
# fails without them.
set -e
packages="cmake g++ make rapidjson-dev libgtest-dev googletest libbenchmark-dev python3 dpkg-dev file groff-base lintian clang libclang-rt-14-dev sqlite3 python3-pandas jq zlib1g-dev libzstd-dev zstd"
missing=""
for p in $packages; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "ok installed" || missing="$missing $p"
done
[ -z "$missing" ] && exit 0
if [ "$(id -u)" -eq 0 ]; then sudo=""; else sudo="sudo"; fi
echo "Installing:$missing" >&2
export DEBIAN_FRONTEND=noninteractive
$sudo apt-get install -y --no-install-recommends $missing ||
  { $sudo apt-get update && $sudo apt-get install -y --no-install-recommends $missing; }
