#!/usr/bin/env bash
# Runs the tarvolin tool over a file of statements, one a line (--lines), from the file's
# folder so that error places name it without a path, and compares what it prints with the
# expected file: standard output, then "== stderr" and standard error
# when there is any, line ends without carriage returns. The exit status must be 0 when
# every statement is accepted, 1 when every one is rejected (and each non-blank line must
# have been reported as FILE:LINE:COLUMN:) or when some are (mixed).
#   check.sh accepted|rejected|mixed FILE EXPECTED COMMAND...   (COMMAND: the tool and its options)
# A deliberate change of the output is taken over by writing the actual output (shown by
# the diff) to EXPECTED and checking it by eye.
set -u
mode=$1 file=$2 expected=$3
shift 3
dir=$(mktemp -d)
trap 'rm -rf "$dir"' EXIT
tool=("$@")
(cd "$(dirname "$file")" && "${tool[@]}" --lines -f "$(basename "$file")") >"$dir/out" 2>"$dir/err"
rc=$?
{
  tr -d '\r' <"$dir/out"
  if [ -s "$dir/err" ]; then
    echo "== stderr"
    tr -d '\r' <"$dir/err"
  fi
} >"$dir/actual"
failed=0
want=0
[ "$mode" != accepted ] && want=1
if [ "$rc" != "$want" ]; then
  echo "exit status $rc, expected $want"
  failed=1
fi
if [ "$mode" = rejected ]; then
  lines=$(grep -c '[^[:space:]]' "$file")
  reported=$(grep -c "^$(basename "$file"):[0-9][0-9]*:[0-9][0-9]*: " "$dir/err")
  if [ "$lines" != "$reported" ]; then
    echo "$reported of $lines statements reported as rejected"
    failed=1
  fi
fi
diff -u "$expected" "$dir/actual" || failed=1
exit $failed
