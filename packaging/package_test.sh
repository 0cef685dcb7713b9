#!/bin/sh
# Builds the Debian package, unpacks it into a temporary root and checks what
# a user gets: the package's name, dependencies and recommendations, a clean
# lintian report, an installed binary that exports the sample archive exactly
# as the build tree's binary does, a compressed manual page that renders
# without warnings, the copyright file and changelog, the README, and a
# working completion.
#
#   package_test.sh <build dir> <source dir> <built QorArc> <version>
set -eu
build=$1
source=$2
built=$3
version=$4

tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT

fail() {
  echo "FAIL: $*" >&2
  exit 1
}

cpack -G DEB --config "$build/CPackConfig.cmake" -B "$tmp/out" >"$tmp/cpack.log" 2>&1 ||
  { cat "$tmp/cpack.log" >&2; fail "cpack could not build the package"; }

deb=$tmp/out/qorarc_${version}_$(dpkg --print-architecture).deb
[ -f "$deb" ] || fail "no $(basename "$deb") among: $(ls "$tmp/out")"

[ "$(dpkg-deb -f "$deb" Package)" = qorarc ] || fail "package name is not qorarc"
depends=$(dpkg-deb -f "$deb" Depends)
[ -n "$depends" ] || fail "the package names no run-time libraries"
# Each dependency up to its version, alternatives included.
for name in $(echo "$depends" | tr ',|' '\n\n' | sed 's/(.*//'); do
  case $name in
    libc6 | libstdc++6 | libgcc-s1 | zlib1g | libzstd1) ;;
    *) fail "unexpected dependency '$name' in: $depends" ;;
  esac
done

[ "$(dpkg-deb -f "$deb" Recommends)" = bash-completion ] ||
  fail "Recommends is '$(dpkg-deb -f "$deb" Recommends)', not bash-completion"

# lintian: no error and no warning (informational tags are allowed).
command -v lintian >/dev/null || fail "lintian is not installed (scripts/install-deps.sh)"
lintian_status=0
lintian "$deb" >"$tmp/lintian" 2>"$tmp/lintian.err" || lintian_status=$?
if grep -q '^[EW]: ' "$tmp/lintian"; then
  cat "$tmp/lintian" >&2
  fail "lintian reports errors or warnings"
fi
[ "$lintian_status" -eq 0 ] ||
  fail "lintian ended with status $lintian_status: $(cat "$tmp/lintian.err")"

root=$tmp/root
dpkg-deb -x "$deb" "$root"
for file in bin/QorArc share/man/man1/QorArc.1.gz share/bash-completion/completions/QorArc \
    share/doc/qorarc/archive-format.md share/doc/qorarc/diagnostics.md \
    share/doc/qorarc/copyright share/doc/qorarc/changelog.gz share/doc/qorarc/README.md.gz \
    share/doc/qorarc/examples/qorarc-export@.service \
    share/doc/qorarc/examples/qorarc-export@.timer \
    share/doc/qorarc/examples/qorarc-dataset@.service \
    share/doc/qorarc/examples/qorarc-dataset@.timer; do
  [ -f "$root/usr/$file" ] || fail "the package lacks /usr/$file"
done
# The example units are not enabled: nothing under lib/systemd.
[ ! -e "$root/usr/lib/systemd" ] && [ ! -e "$root/lib/systemd" ] ||
  fail "the package installs systemd units"
# They are valid units (their command need not exist here).
if command -v systemd-analyze >/dev/null; then
  for name in export dataset; do
    for unit in service timer; do
      cp "$root/usr/share/doc/qorarc/examples/qorarc-$name@.$unit" "$tmp/qorarc-$name@plant.$unit"
    done
    systemd-analyze verify --man=no "$tmp/qorarc-$name@plant.service" \
      "$tmp/qorarc-$name@plant.timer" >"$tmp/units" 2>&1 ||
      { cat "$tmp/units" >&2; fail "systemd-analyze refuses the example units"; }
  done
fi
[ ! -e "$root/usr/share/man/man1/QorArc.1" ] || fail "the manual page is also installed uncompressed"

# gzip -9n: no file name, no time stamp, maximum compression (header bytes 3
# to 8: flags, time stamp, extra flags), so that the package is reproducible.
for file in share/man/man1/QorArc.1.gz share/doc/qorarc/changelog.gz share/doc/qorarc/README.md.gz; do
  header=$(od -An -tx1 -j3 -N6 "$root/usr/$file" | tr -d ' \n')
  [ "$header" = 000000000002 ] || fail "/usr/$file is not compressed with gzip -9n: $header"
  gzip -t "$root/usr/$file" || fail "/usr/$file is not a valid gzip file"
done

# The README is the source tree's, whole.
gzip -dc "$root/usr/share/doc/qorarc/README.md.gz" | cmp -s - "$source/README.md" ||
  fail "/usr/share/doc/qorarc/README.md.gz is not the README of the source tree"

# The changelog's latest entry is this version of this package.
changelog_version=$(dpkg-parsechangelog -l "$root/usr/share/doc/qorarc/changelog.gz" -S Version)
[ "$changelog_version" = "$version" ] ||
  fail "the changelog's latest version is $changelog_version, not $version"
[ "$(dpkg-parsechangelog -l "$root/usr/share/doc/qorarc/changelog.gz" -S Source)" = qorarc ] ||
  fail "the changelog is not the changelog of qorarc"

# The copyright file is machine-readable, and every license it names has its text.
copyright=$root/usr/share/doc/qorarc/copyright
head -n 1 "$copyright" |
  grep -qx 'Format: https://www.debian.org/doc/packaging-manuals/copyright-format/1.0/' ||
  fail "the copyright file does not declare the machine-readable format"
grep -q '^Upstream-Name: QorArc$' "$copyright" || fail "the copyright file names no upstream"
grep -q '^Files: \*$' "$copyright" || fail "the copyright file has no paragraph for all files"
for license in $(sed -n 's/^License: //p' "$copyright" | sort -u); do
  [ "$(grep -c "^License: $license\$" "$copyright")" -ge 2 ] ||
    fail "the copyright file names license $license without its text"
done

# The installed program exports the sample archive byte for byte as the
# freshly built one does, in JSON and in CSV.
for format in "" --csv; do
  "$root/usr/bin/QorArc" -i "$source/sample/arc" $format plant >"$tmp/installed" ||
    fail "installed QorArc $format ended with status $?"
  "$built" -i "$source/sample/arc" $format plant >"$tmp/built"
  [ -s "$tmp/built" ] || fail "the built QorArc exported nothing"
  cmp "$tmp/installed" "$tmp/built" || fail "installed and built QorArc $format differ"
done

gzip -dc "$root/usr/share/man/man1/QorArc.1.gz" >"$tmp/QorArc.1"
warnings=$(groff -ww -man -Tutf8 -z "$tmp/QorArc.1" 2>&1)
[ -z "$warnings" ] || fail "the manual page renders with warnings: $warnings"

# The completion offers options, and the archive names under the -i path.
completions=$(bash -c '
  . "$1"
  complete_line() {
    COMP_WORDS=("$@")
    COMP_CWORD=$(($# - 1))
    _qorarc
    echo "${COMPREPLY[*]}"
  }
  complete_line QorArc --sc
  complete_line QorArc -i "$2" ""
  complete_line QorArc -i "$2" -ic ""
' sh "$root/usr/share/bash-completion/completions/QorArc" "$source/sample/arc")
expected=$(printf '%s\n' --scan "boiler plant" "")
[ "$completions" = "$expected" ] || fail "completion gave: $completions"

echo "qorarc package: $(basename "$deb"), Depends: $depends, lintian: $(grep -c . "$tmp/lintian") informational tags"
