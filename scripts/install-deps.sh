#!/usr/bin/env bash
# Installs the Debian packages the build and the tests need (run as root).
# Set TARVOLIN_NO_WINDOWS=1 to skip the MinGW-w64 and Wine packages.
set -euo pipefail
# widl (mingw-w64-tools) and the OLE IDL files (libwine-dev) generate the interfaces for
# both builds.
# clang builds the sanitizer run; its AddressSanitizer and UndefinedBehaviorSanitizer
# runtime (libclang-rt-dev) is only recommended by clang, so it is listed itself.
packages=(flex bison libfl-dev cmake make g++ clang libclang-rt-dev googletest libgtest-dev
          python3 mingw-w64-tools libwine-dev)
if [ "${TARVOLIN_NO_WINDOWS:-0}" != 1 ]; then
  packages+=(wine wine64 g++-mingw-w64-x86-64 binutils-mingw-w64-x86-64 mingw-w64-x86-64-dev)
fi
missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
if [ ${#missing[@]} -eq 0 ]; then exit 0; fi
sudo=""
[ "$(id -u)" -eq 0 ] || sudo="sudo"
export DEBIAN_FRONTEND=noninteractive
$sudo apt-get update -qq
$sudo apt-get install -y -qq "${missing[@]}" >/dev/null
