#!/usr/bin/env bash
# Cross-builds the Windows x64 version with MinGW-w64 and runs its tests under Wine.
# The Wine prefix lives in build-windows/wineprefix; only that prefix's wineserver is
# started and stopped.
set -euo pipefail
root="$(cd "$(dirname "$0")/.." && pwd)"
cd "$root"
jobs="$(nproc 2>/dev/null || echo 2)"
build="$root/build-windows"

cmake -S . -B "$build" -DCMAKE_TOOLCHAIN_FILE="$root/cmake/mingw-w64-x86_64.cmake" \
      -DCMAKE_BUILD_TYPE=Release -DTARVOLIN_BUILD_BENCH=OFF >/dev/null
cmake --build "$build" -j"$jobs"

export WINEPREFIX="$build/wineprefix"
export TARVOLIN_WINEPREFIX="$WINEPREFIX"
export WINEDEBUG=-all
export WINEDLLOVERRIDES="mscoree,mshtml="
# Wine needs a writable home for its own files; CI may not provide one.
if [ -z "${HOME:-}" ] || [ ! -w "${HOME:-/nonexistent}" ]; then export HOME="$build/home"; mkdir -p "$HOME"; fi
if [ ! -f "$WINEPREFIX/system.reg" ]; then
  wineboot -i </dev/null >/dev/null 2>&1 || true
  wineserver -w || true # let the server that created the prefix exit
fi
# Start this prefix's server first: otherwise every test waits for it to shut down.
wineserver -p || true # already running is fine
wine wineboot </dev/null >/dev/null 2>&1 || true

# A second prefix in which nothing is ever registered, for registration-free use. It is
# made once and kept (nothing registers in it, and its test checks that); its server runs
# beside the first one's for the tests.
fresh_prefix() {
  export TARVOLIN_FRESH_WINEPREFIX="$build/wineprefix-fresh"
  if [ ! -f "$TARVOLIN_FRESH_WINEPREFIX/system.reg" ]; then
    WINEPREFIX="$TARVOLIN_FRESH_WINEPREFIX" wineboot -i </dev/null >/dev/null 2>&1 || true
    WINEPREFIX="$TARVOLIN_FRESH_WINEPREFIX" wineserver -w || true
  fi
  WINEPREFIX="$TARVOLIN_FRESH_WINEPREFIX" wineserver -p || true
  WINEPREFIX="$TARVOLIN_FRESH_WINEPREFIX" wine wineboot </dev/null >/dev/null 2>&1 || true
}
stop_fresh_prefix() { WINEPREFIX="$TARVOLIN_FRESH_WINEPREFIX" wineserver -k || true; }
fresh_prefix

status=0
(cd "$build" && ctest --output-on-failure -j"$jobs") || status=$?
wineserver -k || true
stop_fresh_prefix
exit $status
