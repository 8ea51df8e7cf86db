#!/usr/bin/env bash
# Runs a Windows program of the build under Wine with a display:
#   wine-gui-run.sh PREFIX PROGRAM [ARGS...]
# PREFIX is a prefix of the GUI tests' own (Wine's X11 driver, Windows XP), made
# on first use; the display is a virtual X server of xvfb-run, and the prefix's
# wineserver ends with it, as it is bound to that display. Exit status 77 (the
# tests' "skipped") when xvfb-run is missing.
set -euo pipefail

prefix=$1
shift
if ! command -v xvfb-run >/dev/null 2>&1; then
  echo "skipped: xvfb-run is not installed (apt-get install xvfb)"
  exit 77
fi
export WINEPREFIX=$prefix
export WINEDEBUG=-all
export WINEDLLOVERRIDES="mscoree,mshtml=;winemenubuilder.exe=d"
mkdir -p "$prefix"
# One program at a time in this prefix: its server lives with one display.
exec 9>"$prefix.lock"
flock 9
xvfb-run -a -s "-screen 0 1024x768x24" bash -c '
  if ! [ -f "$WINEPREFIX/.velloran-ready" ]; then
    wine wineboot -i </dev/null >/dev/null 2>&1
    wine reg add "HKCU\\Software\\Wine" /v Version /d winxp /f </dev/null >/dev/null 2>&1
    # No window manager on the virtual display: Wine draws the frames itself.
    wine reg add "HKCU\\Software\\Wine\\X11 Driver" /v Decorated /d N /f </dev/null >/dev/null 2>&1
    wine reg add "HKCU\\Software\\Wine\\X11 Driver" /v Managed /d N /f </dev/null >/dev/null 2>&1
    touch "$WINEPREFIX/.velloran-ready"
  fi
  status=0
  wine "$@" </dev/null || status=$?
  wineserver -k 2>/dev/null || true
  exit $status
' velloran-gui-run "$@"
