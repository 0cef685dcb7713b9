#!/bin/sh
# Cross-builds QorArc for the controllers' processors, arm64 and armhf, runs
# each build under qemu-user on the sample archive and compares its output,
# messages and exit status byte for byte with those of a native build. Also
# builds the Debian package of each and checks its architecture. Installs the
# cross compilers and qemu-user when they are missing (as root, or with sudo).
# Build directories: build-cross/native, build-cross/arm64, build-cross/armhf.
set -e
cd "$(dirname "$0")/.."

packages="g++-aarch64-linux-gnu g++-arm-linux-gnueabihf qemu-user"
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

# The QorArc target only: the tests need GoogleTest, which exists for the
# build machine alone.
build() {  # build <dir> [cmake options]
  dir=$1
  shift
  cmake -S . -B "$dir" -DCMAKE_BUILD_TYPE=Release -DQORARC_TESTS=OFF "$@" >/dev/null
  cmake --build "$dir" --target QorArc -j2
}

build build-cross/native
native=build-cross/native/QorArc

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
failures=0

# Runs one command line with the native and the emulated binary and compares
# standard output, standard error and the exit status.
compare() {  # compare <label> <QorArc arguments>...
  label=$1
  shift
  status=0
  "$native" "$@" >"$work/native.out" 2>"$work/native.err" || status=$?
  echo "$status" >"$work/native.status"
  status=0
  $emulator "$binary" "$@" >"$work/cross.out" 2>"$work/cross.err" || status=$?
  echo "$status" >"$work/cross.status"
  if [ "$status" -eq 0 ] && [ ! -s "$work/cross.out" ]; then
    echo "FAIL $arch $label: succeeded without output" >&2
    failures=$((failures + 1))
    return
  fi
  for part in out err status; do
    if ! cmp -s "$work/native.$part" "$work/cross.$part"; then
      echo "FAIL $arch $label: standard $part differs from the native build's:" >&2
      diff "$work/native.$part" "$work/cross.$part" | head -20 >&2 || true
      failures=$((failures + 1))
      return
    fi
  done
  echo "ok   $arch $label ($(wc -c <"$work/cross.out") bytes)"
}

sample=sample/arc
version=$(sed -n 's/^project(QorArc VERSION \([0-9.]*\).*/\1/p' CMakeLists.txt)
for target in "arm64 aarch64-linux-gnu qemu-aarch64 AArch64" \
              "armhf arm-linux-gnueabihf qemu-arm ARM"; do
  set -- $target
  arch=$1 triplet=$2 qemu=$3 machine=$4
  dir=build-cross/$arch
  build "$dir" -DCMAKE_TOOLCHAIN_FILE="$PWD/cmake/toolchains/$triplet.cmake"
  binary=$dir/QorArc
  emulator="$qemu -L /usr/$triplet"

  found=$(readelf -h "$binary" | sed -n 's/^ *Machine: *//p')
  if [ "$found" != "$machine" ]; then
    echo "FAIL $arch: $binary is built for '$found', not '$machine'" >&2
    failures=$((failures + 1))
    continue
  fi

  compare "JSON" -i "$sample" plant
  compare "pretty JSON" -i "$sample" -p plant
  compare "CSV" -i "$sample" --csv plant
  compare "scan" -i "$sample" --scan
  # Time bounds, ID ranges, limits and the tab delimiter exercise 64-bit
  # time arithmetic and integer parsing, where 32-bit ARM differs most.
  compare "filtered JSON" -ve -i "$sample" -ft1 "2019-12-31 06:00:00,5" \
    -ft2 "2020-01-01 18:00:00.25" -f 1..500,905 -ic 7 -itc -p boiler
  compare "filtered CSV" -i "$sample" --csv -dtab -ccf 0..3,5..8 -nl plant
  compare "single file" -i "$sample/2019/2019-12/2019-12-30_plant.rea" --csv
  compare "bad parameters" -i "$sample" -f 5..3 plant

  (cd "$dir" && cpack -G DEB >/dev/null)
  deb=$dir/qorarc_${version}_$arch.deb
  if [ ! -f "$deb" ] || [ "$(dpkg-deb -f "$deb" Architecture)" != "$arch" ]; then
    echo "FAIL $arch: no Debian package qorarc_<version>_$arch.deb in $dir" >&2
    failures=$((failures + 1))
  else
    echo "ok   $arch package $(basename "$deb"), Depends: $(dpkg-deb -f "$deb" Depends)"
  fi
done

if [ "$failures" -ne 0 ]; then
  echo "cross-check: $failures failure(s)" >&2
  exit 1
fi
echo "cross-check: arm64 and armhf builds match the native build"
