#!/usr/bin/env bash
# Runs a Windows program of the build under Wine: wine-run.sh PREFIX PROGRAM [ARGS...].
# PREFIX is the build's own Wine prefix, made on first use (null display driver,
# no Mono or Gecko installers); the user's ~/.wine is never touched.
#
# The wineserver is started first, persistent and with its standard streams on
# /dev/null: a server that Wine starts on demand inherits the caller's output pipe,
# and ctest then waits for it to end.
set -euo pipefail

prefix=$1
shift
export WINEPREFIX=$prefix
export WINEDEBUG=-all
export WINEDLLOVERRIDES="mscoree,mshtml=;winemenubuilder.exe=d"
unset DISPLAY WAYLAND_DISPLAY

if ! [ -f "$prefix/.velloran-ready" ]; then
  mkdir -p "$prefix"
  (
    flock 9
    if ! [ -f "$prefix/.velloran-ready" ]; then
      wineserver -p60 </dev/null >/dev/null 2>&1
      wine wineboot -i </dev/null >/dev/null 2>&1
      wine reg add 'HKCU\Software\Wine\Drivers' /v Graphics /d null /f </dev/null >/dev/null 2>&1
      touch "$prefix/.velloran-ready"
    fi
  ) 9>"$prefix.lock"
fi
wineserver -p60 </dev/null >/dev/null 2>&1 || true
exec wine "$@"
