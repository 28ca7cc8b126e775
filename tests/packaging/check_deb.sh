#!/usr/bin/env bash
# Builds the Debian package with scripts/package.sh from BUILD_DIR and checks
# its name, control data and file list, then unpacks it into a scratch root
# and runs qm300 from PATH there.
#   check_deb.sh BUILD_DIR VERSION
set -euo pipefail
build=$(cd "$1" && pwd)
root=$(cd "$(dirname "$0")/../.." && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

QM_BUILD_DIR="$build" QM_DIST_DIR="$work" QM_NO_DEPS=1 bash "$root/scripts/package.sh" >/dev/null
version=$2
deb="$work/ippiqm300_${version}_amd64.deb"
[ -f "$deb" ] || { echo "no $deb:" >&2; ls "$work" >&2; exit 1; }

fail() { echo "$deb: $*" >&2; exit 1; }
[ "$(dpkg-deb -f "$deb" Package)" = ippiqm300 ] || fail "wrong package name"
[ "$(dpkg-deb -f "$deb" Version)" = "$version" ] || fail "wrong version"
[ "$(dpkg-deb -f "$deb" Architecture)" = amd64 ] || fail "wrong architecture"
depends=$(dpkg-deb -f "$deb" Depends)
for lib in libpng libjpeg libtiff libc6; do
  grep -q "$lib" <<<"$depends" || fail "Depends lacks $lib: $depends"
done
files=$(dpkg-deb -c "$deb" | awk '{print $NF}')
for f in ./usr/bin/qm300 ./usr/include/ippiQM300.h ./usr/include/ippiQM300_functions.h \
         ippiQM300/ippiQM300-x64.so pkgconfig/ippiQM300.pc cmake/ippiQM300/ippiQM300Config.cmake \
         cmake/ippiQM300/ippiQM300ConfigVersion.cmake ./usr/share/doc/ippiqm300/LICENSE; do
  grep -q -- "$f\$" <<<"$files" || fail "lacks $f"
done
grep -q '^prefix=/usr$' < <(dpkg-deb --fsys-tarfile "$deb" | tar -xO --wildcards '*/ippiQM300.pc') ||
  fail "the .pc file does not name /usr"

dpkg-deb -x "$deb" "$work/root"
PATH="$work/root/usr/bin:$PATH" qm300 info | grep -q "implementation set" || fail "qm300 info from PATH failed"
