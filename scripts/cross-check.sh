#!/bin/sh
# Cross-builds QorArc for the controllers' processors, arm64 and armhf, runs
# each build under qemu-user on the sample archive and compares its output,
# messages and exit status byte for byte with those of a native build. Also
# builds the Debian package of each and checks its architecture. Installs the
# cross compilers and qemu-user when they are missing (as root, or with sudo),
# and unpacks the target's zlib and zstd packages (see below).
# Build directories: build-cross/native, build-cross/arm64, build-cross/armhf;
# the target's libraries: build-cross/arm64-root, build-cross/armhf-root.
set -e
cd "$(dirname "$0")/.."
if [ "$(id -u)" -eq 0 ]; then sudo=""; else sudo="sudo"; fi

packages="g++-aarch64-linux-gnu g++-arm-linux-gnueabihf qemu-user zstd"
missing=""
for p in $packages; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "ok installed" || missing="$missing $p"
done
if [ -n "$missing" ]; then
  echo "Installing:$missing" >&2
  export DEBIAN_FRONTEND=noninteractive
  $sudo apt-get install -y --no-install-recommends $missing ||
    { $sudo apt-get update && $sudo apt-get install -y --no-install-recommends $missing; }
fi

# The target's zlib and zstd: Debian's packages for the target's architecture,
# unpacked in a root of their own that the toolchain files and qemu are given.
# Installing them beside the build machine's (zlib1g-dev:arm64) would install
# the target's libc6-dev too, and with it libraries such as libssl3 that must
# be of the very version the build machine has (Multi-Arch: same): the
# mirror's lists for the other architectures do not always have it, and the
# build machine's own packages would have to change to match.
target_packages="zlib1g-dev zlib1g libzstd-dev libzstd1"
unpack_target_libs() {  # unpack_target_libs <arch> <root>
  arch=$1 root=$2
  if [ -f "$root/.packages" ]; then
    return
  fi
  if ! dpkg --print-foreign-architectures | grep -qx "$arch"; then
    echo "Adding the architecture $arch" >&2
    $sudo dpkg --add-architecture "$arch"
  fi
  names=""
  for p in $target_packages; do names="$names $p:$arch"; done
  if ! apt-cache show $names >/dev/null 2>&1; then
    # A list that fails to download (a mirror in the middle of a sync) is no
    # reason to stop while the packages needed are in the others.
    $sudo apt-get update ||
      echo "cross-check: apt-get update failed for some lists; using the others" >&2
  fi
  echo "Unpacking$names in $root" >&2
  rm -rf "$root.tmp"
  mkdir -p "$root.tmp/debs"
  # apt-get run as root downloads as the user _apt.
  chmod 777 "$root.tmp/debs"
  (cd "$root.tmp/debs" && apt-get download $names)
  for deb in "$root.tmp"/debs/*.deb; do
    dpkg-deb -x "$deb" "$root.tmp"
    dpkg-deb -f "$deb" Package Architecture Version | tr '\n' ' ' >>"$root.tmp/.packages"
    echo >>"$root.tmp/.packages"
  done
  rm -r "$root.tmp/debs"
  # Links to absolute names (libz.so -> /lib/<triplet>/libz.so.1.2.13) are
  # made to point inside the root.
  find "$root.tmp" -type l | while read -r link; do
    case $(readlink "$link") in
      /*) ln -sfnr "$root.tmp$(readlink "$link")" "$link" ;;
    esac
  done
  rm -rf "$root"
  mv "$root.tmp" "$root"
}

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
# standard output, standard error and the exit status; with output set, also
# the file of that name in $work, decompressed by the command in decompress
# (the same name for both runs, so that the messages may name it).
output=""
decompress=""
run() {  # run <side> <command>...
  side=$1
  shift
  [ -z "$output" ] || rm -f "$work/$output"
  status=0
  "$@" >"$work/$side.out" 2>"$work/$side.err" || status=$?
  echo "$status" >"$work/$side.status"
  if [ -n "$output" ]; then
    if [ ! -f "$work/$output" ]; then
      : >"$work/$side.file"
    else
      $decompress "$work/$output" >"$work/$side.file" ||
        echo "(not decompressed: status $?)" >>"$work/$side.file"
    fi
  fi
}

compare() {  # compare <label> <QorArc arguments>...
  label=$1
  shift
  run native "$native" "$@"
  run cross $emulator "$binary" "$@"
  parts="out err status"
  document=out
  if [ -n "$output" ]; then
    parts="$parts file"
    document=file
  fi
  if [ "$(cat "$work/cross.status")" -eq 0 ] && [ ! -s "$work/cross.$document" ]; then
    echo "FAIL $arch $label: succeeded without output" >&2
    failures=$((failures + 1))
    return
  fi
  if [ -n "$output" ] && [ "$(cat "$work/cross.status")" -ne 0 ]; then
    echo "FAIL $arch $label: no $output written, status $(cat "$work/cross.status"):" >&2
    head -5 "$work/cross.err" >&2
    failures=$((failures + 1))
    return
  fi
  for part in $parts; do
    if ! cmp -s "$work/native.$part" "$work/cross.$part"; then
      case $part in
        out) what="standard output" ;;
        err) what="standard error" ;;
        status) what="exit status" ;;
        file) what="$output, decompressed," ;;
      esac
      echo "FAIL $arch $label: $what differs from the native build's:" >&2
      if [ "$part" = err ] || [ "$part" = status ]; then
        diff "$work/native.$part" "$work/cross.$part" | head -20 >&2 || true
      else
        # Parquet is binary: where the bytes part, and the lines shown
        # with their control characters visible.
        cmp "$work/native.$part" "$work/cross.$part" >&2 || true
        diff -a "$work/native.$part" "$work/cross.$part" | head -20 | cat -v >&2 || true
      fi
      failures=$((failures + 1))
      return
    fi
  done
  echo "ok   $arch $label ($(wc -c <"$work/cross.$document") bytes)"
}

# compare for a document written with -o to a compressed file.
compare_file() {  # compare_file <label> <file name> <decompressor> <QorArc arguments>...
  label=$1 output=$2 decompress=$3
  shift 3
  compare "$label" -o "$work/$output" "$@"
  output=""
  decompress=""
}

sample=sample/arc
version=$(sed -n 's/^project(QorArc VERSION \([0-9.]*\).*/\1/p' CMakeLists.txt)
for target in "arm64 aarch64-linux-gnu qemu-aarch64 AArch64" \
              "armhf arm-linux-gnueabihf qemu-arm ARM"; do
  set -- $target
  arch=$1 triplet=$2 qemu=$3 machine=$4
  dir=build-cross/$arch
  root=$PWD/build-cross/$arch-root
  unpack_target_libs "$arch" "$root"
  build "$dir" -DCMAKE_TOOLCHAIN_FILE="$PWD/cmake/toolchains/$triplet.cmake" \
    -DQORARC_TARGET_ROOT="$root"
  binary=$dir/QorArc
  # The loader finds the C and C++ libraries in the cross compiler's folder,
  # zlib and zstd in the root (Debian's zlib1g has them in /lib).
  emulator="$qemu -L /usr/$triplet -E LD_LIBRARY_PATH=$root/lib/$triplet:$root/usr/lib/$triplet"

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
  compare "JSON Lines" -i "$sample" -jl plant
  compare "long CSV" -i "$sample" -lc plant
  # Parquet is binary: doubles, 64-bit integers and lengths are written
  # little-endian whatever the processor, and the bytes must be the same.
  compare "Parquet" -i "$sample" -pq plant
  compare "filtered Parquet" -i "$sample" -ft1 "2019-12-31 06:00:00,5" \
    -ft2 "2020-01-01 18:00:00.25" -f 1..500,905 -pq boiler
  # Compressed by the worker threads, a member per block; compared as the
  # text they hold.
  compare_file "JSON Lines .zst" plant.jsonl.zst "zstd -dcq" -i "$sample" -jl plant
  compare_file "long CSV .gz" plant.csv.gz "gzip -dc" -i "$sample" -lc plant

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
