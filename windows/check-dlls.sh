#!/usr/bin/env bash
# The Windows DLL set as a host sees it, checked from outside with the cross
# binutils:
#   TARNX_LINALG.dll exports exactly the export table and the four host-linkage
#   functions, and imports system DLLs only (the core is loaded at run time);
#   tarnx_core_140000.dll exports exactly the routines of core_routines.def and
#   MKL_Thread_Free_Buffers;
#   every module of the set finds what it imports inside the set or Windows.
#   check-dlls.sh BIN_DIR TARNX_EXE
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
bin=$1
cli=$2
objdump=x86_64-w64-mingw32-objdump
failed=0

exports() { $objdump -p "$1" | sed -n '/\[Ordinal\/Name Pointer\] Table/,/^$/p' | awk '/^\t\[/ { print $NF }' | sort; }
imports() { $objdump -p "$1" | awk '/DLL Name:/ { print $3 }' | sort -u; }
check() {
  if [ "$2" = "$3" ]; then
    echo "ok: $1"
  else
    echo "FAILED: $1"
    diff <(echo "$2") <(echo "$3") || true
    failed=1
  fi
}

table=$("$here/wine-run.sh" "$cli" list | tr -d '\r' | sed 's/(.*//')
expected=$(printf '%s\n' $table SetZWRTModule SetZWRTModuleHook SetZWRTTLSIndex SetZWRTTLSIndexHook | sort)
check "TARNX_LINALG.dll exports the export table and the host linkage ($(echo "$expected" | wc -l) names)" \
  "$expected" "$(exports "$bin/TARNX_LINALG.dll")"

system='ADVAPI32.dll KERNEL32.dll USER32.dll msvcrt.dll'
check "TARNX_LINALG.dll imports system DLLs only" \
  "$(printf '%s\n' $system | sort)" "$(imports "$bin/TARNX_LINALG.dll")"

core_expected=$( {
  grep '^TARNX_CORE(' "$here/../frame/core_routines.def" |
    awk -F', *' '{ for (i = 5; i <= 8; ++i) if ($i != "none") print $i }'
  echo MKL_Thread_Free_Buffers
} | sort -u)
check "tarnx_core_140000.dll exports exactly the core routines ($(echo "$core_expected" | wc -l) names)" \
  "$core_expected" "$(exports "$bin/tarnx_core_140000.dll")"

for dll in tarnx_core_140000.dll libiomp5md.dll zwrt.dll; do
  for dep in $(imports "$bin/$dll"); do
    case ${dep,,} in
      kernel32.dll | msvcrt.dll | user32.dll | advapi32.dll) ;;
      *) [ -f "$bin/$dep" ] || { echo "FAILED: $dll imports $dep, which is not in $bin"; failed=1; } ;;
    esac
  done
done
[ $failed -eq 0 ] && echo "ok: every module finds its imports in the set or in Windows"
exit $failed
