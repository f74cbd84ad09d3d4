#!/usr/bin/env bash
# Builds and runs every test: the native build (the default compiler, g++ on Debian), the
# same tests built with clang under AddressSanitizer and UndefinedBehaviorSanitizer, and
# (when scripts/windows-tests.sh exists) the Windows x64 build under Wine and the x86 build
# under 32-bit Wine (without 32-bit Wine, the x86 DLLs are built and checked as files).
set -euo pipefail
root="$(cd "$(dirname "$0")/.." && pwd)"
cd "$root"
jobs="$(nproc 2>/dev/null || echo 2)"

echo "== native build"
cmake -S . -B build -DCMAKE_BUILD_TYPE=Release >/dev/null
cmake --build build -j"$jobs"
ctest --test-dir build --output-on-failure -j"$jobs"

# What a user of the installed library gets: install, find_package, pkg-config, subproject
# and the Debian packages.
echo "== install and packages"
bash scripts/package-tests.sh

# The sanitizer build is made with clang, so that every run checks the code with both
# compilers; a build tree configured with another compiler is started over.
echo "== native build with clang, AddressSanitizer and UndefinedBehaviorSanitizer"
if [ -f build-asan/CMakeCache.txt ] && ! grep -q '^CMAKE_CXX_COMPILER:[A-Z]*=.*clang++' build-asan/CMakeCache.txt; then
  rm -rf build-asan
fi
CC=clang CXX=clang++ cmake -S . -B build-asan -DCMAKE_BUILD_TYPE=RelWithDebInfo -DTARVOLIN_SANITIZE=ON \
  -DTARVOLIN_BUILD_BENCH=OFF >/dev/null
cmake --build build-asan -j"$jobs"
ASAN_OPTIONS=detect_leaks=1:abort_on_error=1 UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1 \
  ctest --test-dir build-asan --output-on-failure -j"$jobs"

# The thread tests under ThreadSanitizer: a clang build of only the targets they need.
echo "== thread tests with clang and ThreadSanitizer"
if [ -f build-tsan/CMakeCache.txt ] && ! grep -q '^CMAKE_CXX_COMPILER:[A-Z]*=.*clang++' build-tsan/CMakeCache.txt; then
  rm -rf build-tsan
fi
CC=clang CXX=clang++ cmake -S . -B build-tsan -DCMAKE_BUILD_TYPE=RelWithDebInfo -DTARVOLIN_TSAN=ON \
  -DTARVOLIN_BUILD_BENCH=OFF >/dev/null
cmake --build build-tsan -j"$jobs" --target test_threads test_objectmodel
TSAN_OPTIONS=halt_on_error=1:second_deadlock_stack=1 build-tsan/tests/component/test_threads
TSAN_OPTIONS=halt_on_error=1:second_deadlock_stack=1 build-tsan/tests/objectmodel/test_objectmodel \
  --gtest_filter='LiveCount.*:ObjectPoolTest.*'

# The fuzzer over ParseSQL for a bounded time (TARVOLIN_FUZZ_SECONDS, 60 by default), under
# AddressSanitizer and UndefinedBehaviorSanitizer; any finding fails the run.
echo "== fuzzing ParseSQL for ${TARVOLIN_FUZZ_SECONDS:-60} s (clang, libFuzzer, ASan and UBSan)"
if [ -f build-fuzz/CMakeCache.txt ] && ! grep -q '^CMAKE_CXX_COMPILER:[A-Z]*=.*clang++' build-fuzz/CMakeCache.txt; then
  rm -rf build-fuzz
fi
CC=clang CXX=clang++ cmake -S . -B build-fuzz -DCMAKE_BUILD_TYPE=RelWithDebInfo -DTARVOLIN_SANITIZE=ON \
  -DTARVOLIN_FUZZ=ON -DTARVOLIN_BUILD_TESTS=OFF -DTARVOLIN_BUILD_BENCH=OFF >/dev/null
cmake --build build-fuzz -j"$jobs" --target fuzz_parse
fuzz/run.sh build-fuzz "${TARVOLIN_FUZZ_SECONDS:-60}"

if [ -x scripts/windows-tests.sh ] && [ "${TARVOLIN_NO_WINDOWS:-0}" != 1 ]; then
  echo "== Windows x64 build under Wine"
  scripts/windows-tests.sh
  echo "== Windows x86 build under 32-bit Wine"
  scripts/windows-tests.sh x86
  echo "== Windows packages (ZIP, installer) under Wine"
  scripts/windows-tests.sh packages
fi
