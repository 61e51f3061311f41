#!/usr/bin/env bash
# Checks an installed prefix as a user would find it.
#   installed_tree.sh PREFIX BUILD_DIR VERSION
set -euo pipefail
prefix=$1
build=$(cd "$2" && pwd)
version=$3
fail() { echo "FAIL: $*"; exit 1; }

tarnx=$prefix/bin/tarnx
[ -x "$tarnx" ] || fail "no $tarnx"
moddir=$(dirname "$(find "$prefix" -name TARNX_LINALG.so -print -quit)")
for f in TARNX_LINALG.so tarnx_core_140000.so zwrt.so libiomp5.so; do
  [ -e "$moddir/$f" ] || fail "$f is not beside the library in $moddir"
done
[ -f "$prefix/include/tarnx_linalg.h" ] && [ -f "$prefix/include/zwrt.h" ] || fail "headers missing"

# The OpenMP link is relative, and nothing installed points into the build.
target=$(readlink "$moddir/libiomp5.so")
case $target in /*) fail "libiomp5.so links to the absolute path $target" ;; esac
for f in "$tarnx" "$moddir"/*.so; do
  if readelf -d "$f" | grep -E 'R(UN)?PATH' | grep -qF "$build"; then fail "$f has a run path into $build"; fi
done
readelf -d "$moddir/TARNX_LINALG.so" | grep -q 'SONAME.*\[TARNX_LINALG.so\]' || fail "SONAME changed"

# The installed tarnx finds the installed library and its core with no help.
report=$(cd / && env -u TARNX_LIB "$tarnx" --version)
echo "$report"
grep -qx "tarnx $version" <<<"$report" || fail "tarnx --version does not say $version"
grep -q "^library $version  $moddir/TARNX_LINALG.so\$" <<<"$report" || fail "library line"
grep -q "^core    $moddir/tarnx_core_140000.so\$" <<<"$report" || fail "core line"
(cd / && env -u TARNX_LIB "$tarnx" demo) > /dev/null || fail "tarnx demo"

pc=$(find "$prefix" -name tarnx-linalg.pc -print -quit)
[ "$(PKG_CONFIG_PATH=$(dirname "$pc") pkg-config --modversion tarnx-linalg)" = "$version" ] ||
  fail "pkg-config version"
echo "installed tree: layout, run paths, tarnx --version, demo and pkg-config version as expected"
