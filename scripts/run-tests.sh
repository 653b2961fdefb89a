#!/usr/bin/env bash
# Runs the GoogleTest programs listed in a build's test-programs.txt and
# prints one line of counts for them. Adds the counts to a totals file when
# one is named.
#   scripts/run-tests.sh LABEL BUILD_DIR [TOTALS_FILE] [-- RUNNER...]
set -uo pipefail

label=$1
build=$2
shift 2
totals=""
if [ $# -gt 0 ] && [ "$1" != "--" ]; then
  totals=$1
  shift
fi
[ "${1:-}" = "--" ] && shift
runner=("$@")

list="$build/test-programs.txt"
logs="$build/test-logs"
mkdir -p "$logs"
passed=0 failed=0 skipped=0

while IFS= read -r program; do
  [ -n "$program" ] || continue
  name=$(basename "$program")
  log="$logs/$name.log"
  ( cd "$(dirname "$program")" && timeout 1200 "${runner[@]}" "$program" --gtest_brief=1 ) \
    >"$log" 2>&1
  code=$?
  p=$(grep -aoE '^\[  PASSED  \] [0-9]+' "$log" | grep -oE '[0-9]+$' | tail -1)
  f=$(grep -aoE '^\[  FAILED  \] [0-9]+ tests?,' "$log" | grep -oE '[0-9]+' | tail -1)
  s=$(grep -aoE '^\[  SKIPPED \] [0-9]+' "$log" | grep -oE '[0-9]+$' | tail -1)
  p=${p:-0} f=${f:-0} s=${s:-0}
  if [ "$code" -ne 0 ] && [ "$f" -eq 0 ]; then
    # A crash or a sanitizer report after the tests: the program failed.
    f=1
  fi
  if [ "$f" -ne 0 ]; then
    echo "--- $label: $name failed (exit $code); its log, $log, ends:"
    grep -aE '^\[  FAILED  \]|Failure|ERROR|error:' "$log" | head -40
    tail -20 "$log"
  fi
  passed=$((passed + p)) failed=$((failed + f)) skipped=$((skipped + s))
done <"$list"

echo "$label: $passed passed, $failed failed, $skipped skipped"
if [ -n "$totals" ]; then
  echo "$passed $failed $skipped" >>"$totals"
fi
[ "$failed" -eq 0 ]
