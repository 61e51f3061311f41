#!/usr/bin/env bash
# Builds the Windows numerical core, tarnx_core_140000.dll, from Debian's
# reference LAPACK source package (LAPACK, BLAS and CBLAS), cross-compiled
# with mingw-w64.
#
#   windows/build-core.sh OUT_DIR
#
# Only the routines the library imports are compiled, together with every
# routine they reach: starting from the export list, each round compiles the
# sources of the symbols still undefined until nothing new is asked for. The
# DLL exports exactly the library's routines and MKL_Thread_Free_Buffers,
# through a .def file made from frame/core_routines.def, and carries its
# Fortran and GCC run-times inside, so it depends on system DLLs alone.
#
# The result is kept in a cache outside the clone (TARNX_CACHE_DIR, else
# ${XDG_CACHE_HOME:-~/.cache}/tarnx), keyed on the sources, the compilers and
# the flags; a machine without the cache builds it afresh.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
out=${1:?usage: build-core.sh OUT_DIR}
mkdir -p "$out"
out=$(cd "$out" && pwd)
cache=${TARNX_CACHE_DIR:-${XDG_CACHE_HOME:-$HOME/.cache}/tarnx}
jobs=${JOBS:-$(nproc 2>/dev/null || echo 2)}

FC=x86_64-w64-mingw32-gfortran-posix
CC=x86_64-w64-mingw32-gcc-posix
NM=x86_64-w64-mingw32-nm
# -frecursive: LAPACK's own build uses it with gfortran, so that local arrays
# live on the stack and concurrent calls from several threads are safe.
FFLAGS="-O2 -frecursive"
CFLAGS="-O2 -DADD_"
LDFLAGS="-shared -static -static-libgcc -static-libgfortran -s"
CORE=tarnx_core_140000.dll

# ---- the source package ------------------------------------------------------------
# apt-get source needs the archive's source index; it is added once, for the
# same archive the machine installs from.
source_index() {
  local sudo=""
  [ "$(id -u)" -ne 0 ] && sudo="sudo"
  if ! apt-get source --print-uris -qq lapack >/dev/null 2>&1; then
    echo "adding the Debian source index"
    $sudo tee /etc/apt/sources.list.d/tarnx-src.sources >/dev/null <<'EOF'
Types: deb-src
URIs: http://deb.debian.org/debian
Suites: bookworm
Components: main
Signed-By: /usr/share/keyrings/debian-archive-keyring.gpg
EOF
    $sudo apt-get update -qq
  fi
}

fetch_source() {
  local dir=$cache/src
  if [ ! -d "$dir/lapack/SRC" ]; then
    source_index
    rm -rf "$dir"
    mkdir -p "$dir"
    # apt has checked the files against the archive's signed index; the
    # maintainer's own signature needs a keyring the machine does not have.
    (cd "$dir" && apt-get source -qq --download-only lapack >/dev/null 2>&1 &&
      dpkg-source -x --no-check --skip-debianization lapack_*.dsc lapack >/dev/null)
  fi
  src=$dir/lapack
}

fetch_source

# ---- the export list ------------------------------------------------------------------
# Columns 5 to 8 of every TARNX_CORE line are the core's symbols per element type.
exports() {
  grep '^TARNX_CORE(' "$root/frame/core_routines.def" |
    awk -F', *' '{ for (i = 5; i <= 8; ++i) if ($i != "none") print $i }'
  echo MKL_Thread_Free_Buffers
}

key=$( {
  cat "$cache"/src/lapack_*.dsc
  cat "$root/frame/core_routines.def" "$root/core/core_module.c" "$0"
  $FC --version | head -1
  $CC --version | head -1
  echo "$FFLAGS $CFLAGS $LDFLAGS"
} | sha256sum | cut -c1-16)
cached=$cache/core-$key
if [ -f "$cached/$CORE" ]; then
  cp "$cached/$CORE" "$out/$CORE"
  echo "core: $CORE from the cache ($cached)"
  exit 0
fi

work=$cache/build-$key
rm -rf "$work"
mkdir -p "$work/obj" "$work/mod" "$work/include"
cp "$src/CBLAS/include/cblas_mangling_with_flags.h.in" "$work/include/cblas_mangling.h"

# The source file that defines `symbol`, or nothing for a run-time symbol.
# LAPACK's first, then BLAS, the machine parameters, and CBLAS's Fortran
# helpers; BLAS and CBLAS both carry xerbla and lsame, and BLAS's wins.
source_of() {
  local symbol=$1
  case $symbol in
    cblas_*) [ -f "$src/CBLAS/src/$symbol.c" ] && echo "$src/CBLAS/src/$symbol.c"; return ;;
    RowMajorStrg | CBLAS_CallFromC) echo "$src/CBLAS/src/cblas_globals.c"; return ;;
    *_) ;;
    *) return ;;
  esac
  local name=${symbol%_}
  local dir ext
  for dir in SRC BLAS/SRC INSTALL CBLAS/src; do
    for ext in f f90 F F90; do
      if [ -f "$src/$dir/$name.$ext" ]; then
        echo "$src/$dir/$name.$ext"
        return
      fi
    done
  done
}

compile_one() {
  local file=$1 obj=$2
  case $file in
    *.c) $CC $CFLAGS -I"$work/include" -I"$src/CBLAS/include" -c "$file" -o "$obj" ;;
    *) $FC $FFLAGS -I"$work/mod" -J"$work/mod" -c "$file" -o "$obj" ;;
  esac
}
export -f compile_one
export CC FC CFLAGS FFLAGS work src

# The modules that the Fortran 90 sources use come first.
for m in la_constants.f90 la_xisnan.F90; do
  compile_one "$src/SRC/$m" "$work/obj/${m%.*}.o"
done

declare -A compiled=()
declare -A asked=()
wanted=$(exports)
rounds=0
while [ -n "$wanted" ]; do
  rounds=$((rounds + 1))
  batch=()
  for symbol in $wanted; do
    asked[$symbol]=1
    file=$(source_of "$symbol")
    [ -z "$file" ] && continue
    [ -n "${compiled[$file]:-}" ] && continue
    compiled[$file]=1
    batch+=("$file")
  done
  [ ${#batch[@]} -eq 0 ] && break
  printf '%s\n' "${batch[@]}" |
    xargs -P "$jobs" -I{} bash -c 'f={}; compile_one "$f" "$work/obj/${f//\//_}.o"'
  # What the objects so far still need and nothing so far defines.
  defined=$($NM -g --defined-only "$work"/obj/*.o | awk 'NF == 3 { print $3 }' | sort -u)
  undefined=$($NM -g --undefined-only "$work"/obj/*.o | awk '{ print $NF }' | sort -u)
  wanted=$(comm -23 <(echo "$undefined") <(echo "$defined") |
    while read -r s; do [ -n "$s" ] && [ -z "${asked[$s]:-}" ] && echo "$s"; done || true)
done
echo "core: ${#compiled[@]} sources in $rounds rounds"

# MKL_Thread_Free_Buffers: the library calls it when a thread ends; the
# reference routines keep no per-thread buffers.
$CC -O2 -w -c "$root/core/core_module.c" -o "$work/obj/core_module.o"

{
  echo "LIBRARY $CORE"
  echo "EXPORTS"
  exports | sort -u
} >"$work/core.def"
$FC $LDFLAGS -o "$work/$CORE" "$work/core.def" "$work"/obj/*.o

mkdir -p "$cached"
cp "$work/$CORE" "$cached/$CORE"
cp "$work/$CORE" "$out/$CORE"
rm -rf "$work"
echo "core: built $out/$CORE"
