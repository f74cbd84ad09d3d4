#!/usr/bin/env bash
# Runs a Windows program under Wine with the build tree's own prefix. The prefix is the
# directory in TARVOLIN_WINEPREFIX, or "wineprefix" in the current build directory.
set -e
export WINEPREFIX="${TARVOLIN_WINEPREFIX:-$PWD/wineprefix}"
export WINEDEBUG=-all
export WINEDLLOVERRIDES="${WINEDLLOVERRIDES:-mscoree,mshtml=}"
exec wine "$@"
