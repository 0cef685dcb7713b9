#!/bin/sh
# Builds the Debian package, unpacks it into a temporary root and checks what
# a user gets: the package's name and dependencies, an installed binary that
# exports the sample archive exactly as the build tree's binary does, a
# manual page that renders without warnings, and a working completion.
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
    libc6 | libstdc++6 | libgcc-s1) ;;
    *) fail "unexpected dependency '$name' in: $depends" ;;
  esac
done

root=$tmp/root
dpkg-deb -x "$deb" "$root"
for file in bin/QorArc share/man/man1/QorArc.1 share/bash-completion/completions/QorArc \
    share/doc/qorarc/archive-format.md share/doc/qorarc/diagnostics.md; do
  [ -f "$root/usr/$file" ] || fail "the package lacks /usr/$file"
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

warnings=$(groff -ww -man -Tutf8 -z "$root/usr/share/man/man1/QorArc.1" 2>&1)
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

echo "qorarc package: $(basename "$deb"), Depends: $depends"
