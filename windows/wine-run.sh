#!/usr/bin/env bash
# Runs a Windows program under Wine in the build's own headless prefix
# (WINEPREFIX, default build-windows/wine next to this script's clone), made
# at the first run.
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
export WINEPREFIX=${WINEPREFIX:-$here/../build-windows/wine}
export WINEARCH=win64 WINEDEBUG=${WINEDEBUG:--all}
# No Mono or Gecko installers: nothing here needs .NET or HTML, and the
# machine has no network to fetch them. No desktop process either: the one a
# message box starts would keep the caller's standard output open, and
# whoever reads it would wait for ever; without it the box returns at once.
export WINEDLLOVERRIDES=${WINEDLLOVERRIDES:-"mscoree,mshtml=;explorer.exe=d"}
if [ ! -f "$WINEPREFIX/system.reg" ]; then
  mkdir -p "$WINEPREFIX"
  # Several tests may start at once; one of them makes the prefix.
  (
    flock 9
    [ -f "$WINEPREFIX/system.reg" ] || { wineboot -i >/dev/null 2>&1; wineserver -w; }
  ) 9>"$WINEPREFIX.lock"
fi
exec wine "$@"
