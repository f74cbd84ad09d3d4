#!/usr/bin/env bash
# Builds and runs every test: the native build, the same tests under AddressSanitizer and
# UndefinedBehaviorSanitizer, and (when scripts/windows-tests.sh exists) the Windows x64
# build under Wine.
set -euo pipefail
root="$(cd "$(dirname "$0")/.." && pwd)"
cd "$root"
jobs="$(nproc 2>/dev/null || echo 2)"

echo "== native build"
cmake -S . -B build -DCMAKE_BUILD_TYPE=Release >/dev/null
cmake --build build -j"$jobs"
ctest --test-dir build --output-on-failure -j"$jobs"

echo "== native build with AddressSanitizer and UndefinedBehaviorSanitizer"
cmake -S . -B build-asan -DCMAKE_BUILD_TYPE=RelWithDebInfo -DTARVOLIN_SANITIZE=ON -DTARVOLIN_BUILD_BENCH=OFF >/dev/null
cmake --build build-asan -j"$jobs"
ASAN_OPTIONS=detect_leaks=1:abort_on_error=1 UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1 \
  ctest --test-dir build-asan --output-on-failure -j"$jobs"

if [ -x scripts/windows-tests.sh ] && [ "${TARVOLIN_NO_WINDOWS:-0}" != 1 ]; then
  echo "== Windows x64 build under Wine"
  scripts/windows-tests.sh
fi
