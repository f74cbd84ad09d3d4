#!/usr/bin/env bash
# Cross-builds the Windows version with MinGW-w64 and runs its tests under Wine.
#
#   windows-tests.sh [x64]   the x64 build in build-windows/
#   windows-tests.sh x86     the x86 (32-bit) build in build-windows32/, whose programs run
#                            under 32-bit Wine; without 32-bit Wine (or with
#                            TARVOLIN_NO_WINE32=1) only its DLLs are built and checked as files
#   windows-tests.sh packages the packages of the x64 build (ZIP and installer, the installer
#                            with the x86 DLL when build-windows32/ has one), after the two above
#
# The Wine prefix lives in the build directory's wineprefix/; only that prefix's wineserver
# is started and stopped.
set -euo pipefail
root="$(cd "$(dirname "$0")/.." && pwd)"
cd "$root"
jobs="$(nproc 2>/dev/null || echo 2)"
arch="${1:-x64}"
case "$arch" in
x64)
  build="$root/build-windows"
  toolchain="$root/cmake/mingw-w64-x86_64.cmake"
  extra=()
  ;;
packages)
  build="$root/build-windows"
  toolchain="$root/cmake/mingw-w64-x86_64.cmake"
  extra=(-DTARVOLIN_X86_BUILD_DIR=)
  # The installer registers the x86 DLL too, which needs 32-bit Wine.
  if [ -f "$root/build-windows32/component/tarvolin.dll" ] && [ "${TARVOLIN_NO_WINE32:-0}" != 1 ] &&
     [ -x /usr/lib/wine/wine ] && [ -d /usr/lib/i386-linux-gnu/wine/i386-windows ]; then
    extra=(-DTARVOLIN_X86_BUILD_DIR="$root/build-windows32")
  fi
  ;;
x86)
  build="$root/build-windows32"
  toolchain="$root/cmake/mingw-w64-i686.cmake"
  # The side-by-side test registers the x64 DLL of build-windows/ beside this one.
  extra=(-DTARVOLIN_X64_DLL="$root/build-windows/component/tarvolin.dll")
  ;;
*)
  echo "usage: windows-tests.sh [x64|x86|packages]" >&2
  exit 2
  ;;
esac

cmake -S . -B "$build" -DCMAKE_TOOLCHAIN_FILE="$toolchain" \
      -DCMAKE_BUILD_TYPE=Release -DTARVOLIN_BUILD_BENCH=OFF "${extra[@]}" >/dev/null

# 32-bit programs need 32-bit Wine (Debian's wine32:i386). Without it, or with
# TARVOLIN_NO_WINE32=1, the x86 DLL and its satellite are still built and checked as files.
if [ "$arch" = x86 ]; then
  skip=""
  if [ "${TARVOLIN_NO_WINE32:-0}" = 1 ]; then
    skip="TARVOLIN_NO_WINE32=1 is set"
  elif ! [ -x /usr/lib/wine/wine ] || ! [ -d /usr/lib/i386-linux-gnu/wine/i386-windows ]; then
    skip="32-bit Wine (wine32:i386) is not installed; scripts/install-deps.sh says why"
  fi
  if [ -n "$skip" ]; then
    cmake --build "$build" -j"$jobs" --target tarvolin_dll tarvolin_res_de
    (cd "$build" && ctest --output-on-failure -L static)
    echo "x86 runtime tests skipped: $skip"
    exit 0
  fi
fi
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

# The packages' tests run on their own, once both builds exist.
selection=(-LE packages)
[ "$arch" != packages ] || selection=(-L packages)
status=0
(cd "$build" && ctest --output-on-failure -j"$jobs" "${selection[@]}") || status=$?
wineserver -k || true
stop_fresh_prefix
exit $status
