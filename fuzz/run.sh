#!/usr/bin/env bash
# Runs the fuzzer of a build tree configured with -DTARVOLIN_FUZZ=ON for a bounded time or
# number of runs, and fails on any finding (a sanitizer report, a broken check, a leak, a
# timeout or running out of memory). New inputs go to BUILD/fuzz/corpus, findings to
# BUILD/fuzz/artifacts; the fuzzer's output goes to BUILD/fuzz/fuzz.log, of which the
# closing statistics are shown (all of it on a finding).
#
#   fuzz/run.sh BUILD SECONDS [LIBFUZZER OPTIONS...]     e.g. fuzz/run.sh build-fuzz 60
#   fuzz/run.sh BUILD 0 -runs=10000000                     a number of runs instead of a time
set -uo pipefail
if [ $# -lt 2 ]; then
  echo "usage: fuzz/run.sh BUILD SECONDS [LIBFUZZER OPTIONS...]" >&2
  exit 2
fi
dir="$1/fuzz"
seconds="$2"
shift 2
mkdir -p "$dir/corpus" "$dir/artifacts"
log="$dir/fuzz.log"
time_limit=()
[ "$seconds" != 0 ] && time_limit=(-max_total_time="$seconds")
ASAN_OPTIONS=detect_leaks=1:abort_on_error=1 UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1 \
  "$dir/fuzz_parse" "${time_limit[@]}" -max_len=8192 -timeout=10 -rss_limit_mb=2048 -print_final_stats=1 \
  -artifact_prefix="$dir/artifacts/" "$@" "$dir/corpus" "$dir/seeds" >"$log" 2>&1
status=$?
if [ $status -ne 0 ]; then
  tail -n 80 "$log"
  echo "fuzz: FAILED (exit status $status); the input is in $dir/artifacts/"
  exit 1
fi
grep -E '^(Done|stat::)' "$log"
echo "fuzz: no finding"
