#!/usr/bin/env bash
# The tarvolin tool's command line: exit statuses 0, 1 and 2, the error place of a file, of
# standard input and of an argument, a missing file, --help, --stats and --sql.
#   cli.sh [EMULATOR] TOOL
set -u
tool=("$@")
dir=$(mktemp -d)
trap 'rm -rf "$dir"' EXIT
failed=0

# expect NAME STATUS WANTED-STDOUT WANTED-STDERR -- ARGS...: runs the tool (standard input
# from $dir/in) and compares; a wanted text of "*" is not compared.
expect() {
  local name=$1 status=$2 want rc=0 stream
  local -A wanted=([out]=$3 [err]=$4)
  shift 5
  "${tool[@]}" "$@" <"$dir/in" >"$dir/out.raw" 2>"$dir/err.raw" || rc=$?
  [ "$rc" = "$status" ] || { echo "$name: exit status $rc, expected $status"; failed=1; }
  for stream in out err; do
    tr -d '\r' <"$dir/$stream.raw" >"$dir/$stream" # Windows programs write CR LF
    want=${wanted[$stream]}
    if [ "$want" != "*" ] && [ "$(cat "$dir/$stream")" != "$want" ]; then
      printf '%s: std%s\n%s\nexpected\n%s\n' "$name" "$stream" "$(cat "$dir/$stream")" "$want"; failed=1
    fi
  done
}

: >"$dir/in"
printf 'select a\nfrom t;\r\n\r\ndrop table x' >"$dir/good.sql"
printf 'drop table x;\nselect a,\n  b c from t' >"$dir/mixed.sql"
cd "$dir"

expect accepted 0 "SELECT a FROM t;
DROP TABLE x;" "" -- --sql -f good.sql
expect rejected_place 1 "*" "*" -- -q -f mixed.sql
grep -q '^mixed.sql:3:5: Parse error$' err || { echo "rejected_place: no mixed.sql:3:5 line"; cat err; failed=1; }
tail -n 2 err >tail
printf '  b c from t\n    ^\n' | cmp -s - tail || { echo "rejected_place: line and caret"; cat tail; failed=1; }
expect argument 1 "" "*" -- "SELECT"
head -n 1 err | grep -qx '1:7: Parse error' || { echo "argument: position"; cat err; failed=1; }
cp mixed.sql in
expect stdin_script 1 "DROP TABLE x;" "*" -- --sql -f -
grep -q '^<stdin>:3:5: ' err || { echo "stdin_script: position"; failed=1; }
: >in
expect missing 2 "" "tarvolin: nothing.sql: No such file or directory" -- --json -f nothing.sql
expect usage 2 "" "*" -- --no-such-option
expect lines_without_file 2 "" "*" -- --lines "SELECT a FROM t"
expect stats 0 "" "*" -- -q --stats -f good.sql
grep -Eq '^tarvolin: 2 statements, 2 accepted, 0 rejected, 32 bytes, [0-9.]+ s$' err || { echo "stats:"; cat err; failed=1; }
expect help 0 "*" "" -- --help
for option in -f --lines --json --sql -q --tree --tokens --stats --help; do
  grep -q -- "^  $option " out || { echo "help: $option not listed"; failed=1; }
done
exit $failed
